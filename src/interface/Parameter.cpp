#include "kelvora/Parameter.hpp"

#include <utility>

#include "kelvora/ParameterImpl.hpp"

namespace kelvora {
namespace {

// Inclusive range test in the alternative's own arithmetic; a NaN fails both
// comparisons and so is never within bounds.
template <uint32_t I>
bool within(const ParameterValue& lower, const ParameterValue& v, const ParameterValue& upper) {
  const auto& lo = *lower.getIf<I>();
  const auto& x = *v.getIf<I>();
  const auto& hi = *upper.getIf<I>();
  return lo <= x && x <= hi;
}

}  // namespace

Parameter::Parameter() : impl_(new ParameterImpl()) {}

Parameter::Parameter(ParameterImpl* impl) noexcept : impl_(impl) {}

Parameter::Parameter(const Parameter& other) : impl_(new ParameterImpl(other.view())) {}

Parameter::Parameter(Parameter&& other) noexcept : impl_(other.impl_) {
  other.impl_ = nullptr;
}

Parameter& Parameter::operator=(const Parameter& other) {
  if (this != &other) {
    ParameterImpl* copy = new ParameterImpl(other.view());
    delete impl_;
    impl_ = copy;
  }
  return *this;
}

Parameter& Parameter::operator=(Parameter&& other) noexcept {
  std::swap(impl_, other.impl_);
  return *this;
}

Parameter::~Parameter() {
  delete impl_;
}

const ParameterImpl& Parameter::view() const {
  // A moved-from handle reads like a default-constructed one.
  static const ParameterImpl kInvalid;
  return impl_ ? *impl_ : kInvalid;
}

const char* Parameter::name() const {
  return view().name.c_str();
}
const char* Parameter::description() const {
  return view().description.c_str();
}
ParameterKey Parameter::key() const {
  return view().key;
}
uint32_t Parameter::type() const {
  return view().value.index();
}
ParameterValue Parameter::getValue() const {
  return view().value;
}
ParameterValue Parameter::lowerBound() const {
  return view().lowerBound;
}
ParameterValue Parameter::upperBound() const {
  return view().upperBound;
}
bool Parameter::hasBounds() const {
  return !view().upperBound.isEmpty();
}

bool Parameter::isValid() const {
  const ParameterKey k = key();
  return k != INVALID_PARAMETER_KEY && k != PARAMETER_KEY_COUNT;
}

bool Parameter::setValue(const ParameterValue& v) {
  const ParameterImpl& current = view();
  if (v.index() != current.value.index()) return false;
  bool accepted = false;
  if (!hasBounds()) {
    accepted = true;
  } else if (current.lowerBound.index() == v.index() && current.upperBound.index() == v.index()) {
    switch (v.index()) {
      case 0:
        accepted = within<0>(current.lowerBound, v, current.upperBound);
        break;
      case 1:
        accepted = within<1>(current.lowerBound, v, current.upperBound);
        break;
      case 2:
        accepted = within<2>(current.lowerBound, v, current.upperBound);
        break;
      case 3:
        accepted = within<3>(current.lowerBound, v, current.upperBound);
        break;
      default:
        break;  // the terminal bool is never accepted within bounds
    }
  }
  if (!accepted) return false;
  if (impl_ == nullptr) impl_ = new ParameterImpl();
  impl_->value = v;
  return true;
}

}  // namespace kelvora
