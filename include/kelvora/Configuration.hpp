#pragma once
/// \file
/// \brief The complete description of how an engine processes.
#include <cstdint>

#include "kelvora/Export.hpp"
#include "kelvora/Field.hpp"
#include "kelvora/KelvoraStatus.hpp"
#include "kelvora/OutputRedirector.hpp"
#include "kelvora/Parameter.hpp"
#include "kelvora/ParameterKey.hpp"
#include "kelvora/ResultType.hpp"
#include "kelvora/Variant.hpp"

namespace kelvora {

/// \brief The complete description of how an engine processes: every
/// parameter, sorted by key, and one output redirector per redirectable
/// result kind.
///
/// A configuration by itself does nothing; it only records choices. Take
/// the engine's current one with IKelvora::configuration(), change
/// parameters and redirections in the copy and hand it back with
/// IKelvora::reconfigure(). Copies are deep.
class KELVORA_API Configuration {
 public:
  /// The redirector of result kind RT.
  template <ResultType RT>
  using OutputRedirector = kelvora::OutputRedirector<RT>;

  /// \brief One slot of the redirection table. The alternatives are
  /// deliberately not in enumerator order: result kind RT sits at
  /// alternative redirectionIndex(RT), not at RT.
  using RedirectionVariant =
      Variant<OutputRedirector<AMPLITUDE>, OutputRedirector<POINT_CLOUD>, OutputRedirector<NOISE>,
              OutputRedirector<FLAGS>, OutputRedirector<INTENSITY>, OutputRedirector<DISTANCE>>;

  /// Slots in the redirection table: one per result kind 0 to 5 and an
  /// empty one for the exposure proposals.
  static constexpr uint32_t kRedirectionSlots = 7;

  /// \brief The alternative of RedirectionVariant that holds result kind
  /// rt.
  /// \param rt a result kind.
  /// \return the alternative index; RedirectionVariant::kEmpty for kinds
  ///   that cannot be redirected.
  static constexpr uint32_t redirectionIndex(ResultType rt) {
    constexpr uint32_t kIndexOf[] = {1, 0, 3, 2, 4, 5};
    return rt < EXPOSURE_PROPOSALS ? kIndexOf[rt] : RedirectionVariant::kEmpty;
  }

  /// \brief Copies the parameters, sorted by key; every redirector starts
  /// without a redirection.
  /// \param parameters the parameter list.
  explicit Configuration(const AbstractField<Parameter>& parameters);
  /// \brief A deep copy of parameters and redirections.
  /// \param other the configuration to copy.
  Configuration(const Configuration& other);
  /// \brief Becomes a deep copy of other.
  /// \param other the configuration to copy.
  /// \return this configuration.
  Configuration& operator=(const Configuration& other);
  /// Releases parameters and redirectors (never a redirection target).
  virtual ~Configuration();

  /// \brief The parameter list itself, for editing in place; keep it
  /// sorted by key.
  /// \return the list.
  ArrayHolder<Parameter>& getParameters();
  /// \brief A deep copy of the parameter list.
  /// \return the copy.
  ImmutableField<Parameter> getParameters() const;

  /// \brief Looks a parameter up by name.
  /// \param name the exact name (case-sensitive), e.g. "noiseThreshold".
  /// \return a copy of the first parameter, in key order, whose name is
  ///   exactly name; an invalid Parameter when there is none.
  Parameter getParameterByName(const char* name) const;
  /// \brief Looks a parameter up by key.
  /// \param key the key.
  /// \return a copy of the parameter, or an invalid Parameter (also for a
  ///   key the engine hides).
  Parameter getParameterByKey(ParameterKey key) const;

  /// \brief Replaces the stored parameter with p's key by a copy of p,
  /// unvalidated (validation happens in Parameter::setValue()).
  /// \param p the parameter.
  /// \return false when no parameter has that key.
  bool setParameter(const Parameter& p);
  /// \brief setParameter() for each element in order.
  /// \param list the parameters.
  /// \return SUCCESS; or, at the first unknown key, UNKNOWN_PARAMETER with
  ///   that key as detail, the elements before it staying set.
  KelvoraStatus setParameters(const ImmutableField<Parameter>& list);

  /// \brief The redirector of result kind RT.
  ///
  /// Aborts the process when the table no longer holds the redirector of RT
  /// in slot RT (an internal invariant, not a caller error).
  /// \tparam RT a redirectable result kind.
  /// \return a copy of the redirector.
  template <ResultType RT>
  OutputRedirector<RT> getOutputRedirection() const;
  /// \brief Stores a copy of redirector for result kind RT; it takes effect
  /// with IKelvora::reconfigure().
  /// \tparam RT a redirectable result kind.
  /// \param redirector the redirector.
  template <ResultType RT>
  void setOutputRedirection(const OutputRedirector<RT>& redirector);

 protected:
  /// \brief The redirection table, for derived configurations.
  /// \return the table of kRedirectionSlots slots.
  ArrayHolder<RedirectionVariant>& redirectionTable() { return redirections_; }

 private:
  // Position of key in parameters_, or -1.
  int64_t findKey(ParameterKey key) const;

  ArrayHolder<Parameter> parameters_;
  ArrayHolder<RedirectionVariant> redirections_;
};

}  // namespace kelvora
