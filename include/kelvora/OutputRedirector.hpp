#pragma once
// Whether one result kind is written straight into memory the caller owns.
#include <ostream>

#include "kelvora/Export.hpp"
#include "kelvora/Field.hpp"
#include "kelvora/ResultType.hpp"

namespace kelvora {

template <ResultType RT>
class KELVORA_API OutputRedirector {
  static_assert(RT < EXPOSURE_PROPOSALS, "only result kinds 0 to 5 can be redirected");

 public:
  using value_type = typename details::result_types<RT>::value_type;

  // No redirection, empty target.
  OutputRedirector() = default;

  // The target must outlive its use by the engine; it is never owned.
  void setRedirection(const ArrayReference<value_type>& target) {
    target_ = target;
    redirect_ = true;
  }
  // Clears only the flag: the stored target stays, but is ignored.
  void clearRedirection() { redirect_ = false; }
  bool hasRedirection() const { return redirect_; }
  ArrayReference<value_type> target() const { return target_; }
  static constexpr ResultType type() { return RT; }

 private:
  ArrayReference<value_type> target_;
  bool redirect_ = false;
};

// "Redirection for RT (hasRedirection: flag[; Target: pointer of size: n])",
// no line end.
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
