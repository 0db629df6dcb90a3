#pragma once
// The complete description of how an engine processes: every parameter,
// sorted by key, and one output redirector per redirectable result kind.
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

class KELVORA_API Configuration {
 public:
  template <ResultType RT>
  using OutputRedirector = kelvora::OutputRedirector<RT>;

  // The alternatives are deliberately not in enumerator order: result kind
  // RT sits at alternative redirectionIndex(RT), not at RT.
  using RedirectionVariant =
      Variant<OutputRedirector<AMPLITUDE>, OutputRedirector<POINT_CLOUD>, OutputRedirector<NOISE>,
              OutputRedirector<FLAGS>, OutputRedirector<INTENSITY>, OutputRedirector<DISTANCE>>;

  // Slots in the redirection table: one per result kind 0 to 5 and an empty
  // one for the exposure proposals.
  static constexpr uint32_t kRedirectionSlots = 7;

  static constexpr uint32_t redirectionIndex(ResultType rt) {
    constexpr uint32_t kIndexOf[] = {1, 0, 3, 2, 4, 5};
    return rt < EXPOSURE_PROPOSALS ? kIndexOf[rt] : RedirectionVariant::kEmpty;
  }

  // Copies the parameters sorted by key; every redirector starts without a
  // redirection.
  explicit Configuration(const AbstractField<Parameter>& parameters);
  Configuration(const Configuration& other);
  Configuration& operator=(const Configuration& other);
  virtual ~Configuration();

  // The list itself, for editing in place; keep it sorted by key.
  ArrayHolder<Parameter>& getParameters();
  // A deep copy of the list.
  ImmutableField<Parameter> getParameters() const;

  // The first parameter, in key order, whose name is exactly name; an invalid
  // Parameter when there is none.
  Parameter getParameterByName(const char* name) const;
  // The parameter with that key, or an invalid Parameter.
  Parameter getParameterByKey(ParameterKey key) const;

  // Replaces the stored parameter with p's key by a copy of p, unvalidated;
  // false when no parameter has that key.
  bool setParameter(const Parameter& p);
  // setParameter for each element in order. Stops at the first unknown key
  // with UNKNOWN_PARAMETER and that key as detail; earlier elements stay set.
  KelvoraStatus setParameters(const ImmutableField<Parameter>& list);

  // Aborts the process when the table no longer holds the redirector of RT
  // in slot RT.
  template <ResultType RT>
  OutputRedirector<RT> getOutputRedirection() const;
  template <ResultType RT>
  void setOutputRedirection(const OutputRedirector<RT>& redirector);

 protected:
  ArrayHolder<RedirectionVariant>& redirectionTable() { return redirections_; }

 private:
  // Position of key in parameters_, or -1.
  int64_t findKey(ParameterKey key) const;

  ArrayHolder<Parameter> parameters_;
  ArrayHolder<RedirectionVariant> redirections_;
};

}  // namespace kelvora
