#pragma once
/// \file
/// \brief Whether one result kind is written straight into memory the caller
/// owns.
#include <ostream>

#include "kelvora/Export.hpp"
#include "kelvora/Field.hpp"
#include "kelvora/ResultType.hpp"

namespace kelvora {

/// \brief Says whether result kind RT is written straight into caller memory.
///
/// Set it in a Configuration (Configuration::setOutputRedirection()) and
/// hand that to IKelvora::reconfigure(): from then on the engine writes the
/// result into the target on every frame set, with no copy afterwards. The
/// target must hold at least the result's element count (4 x width x height
/// floats for POINT_CLOUD, width x height elements for the others), else
/// the reconfiguration is refused with
/// KelvoraStatus::OUTPUT_TARGET_TOO_SMALL; only that many elements are
/// written.
/// \tparam RT a redirectable result kind, POINT_CLOUD to DISTANCE.
template <ResultType RT>
class KELVORA_API OutputRedirector {
  static_assert(RT < EXPOSURE_PROPOSALS, "only result kinds 0 to 5 can be redirected");

 public:
  /// Element type of the result kind.
  using value_type = typename details::result_types<RT>::value_type;

  /// No redirection, empty target.
  OutputRedirector() = default;

  /// \brief Redirects the result into target.
  /// \param target caller memory; never owned, and it must stay valid while
  ///   an engine configured with this redirector processes frame sets.
  void setRedirection(const ArrayReference<value_type>& target) {
    target_ = target;
    redirect_ = true;
  }
  /// Clears only the flag: the stored target stays, but is ignored; after
  /// the next reconfiguration the engine writes into its own buffer again.
  void clearRedirection() { redirect_ = false; }
  /// \brief Whether the result is redirected.
  /// \return the flag.
  bool hasRedirection() const { return redirect_; }
  /// \brief The stored target, also after clearRedirection().
  /// \return a view on the target memory.
  ArrayReference<value_type> target() const { return target_; }
  /// \brief The result kind.
  /// \return RT.
  static constexpr ResultType type() { return RT; }

 private:
  ArrayReference<value_type> target_;
  bool redirect_ = false;
};

/// \brief Prints "Redirection for RT (hasRedirection: flag" and, when
/// redirected, "; Target: pointer of size: n", then ")"; no line end.
/// \tparam RT the result kind.
/// \param os the stream.
/// \param r the redirector.
/// \return os.
template <ResultType RT>
std::ostream& operator<<(std::ostream& os, const OutputRedirector<RT>& r) {
  os << "Redirection for " << static_cast<uint32_t>(RT) << " ("
     << "hasRedirection: " << r.hasRedirection();
  if (r.hasRedirection()) {
    const ArrayReference<typename OutputRedirector<RT>::value_type> target = r.target();
    os << "; Target: " << static_cast<const void*>(target.data()) << " of size: " << target.size();
  }
  return os << ")";
}

}  // namespace kelvora
