#pragma once
// A keyed, named, typed and optionally bounded processing setting.
#include <cstdint>
#include <iosfwd>

#include "kelvora/Export.hpp"
#include "kelvora/ParameterKey.hpp"
#include "kelvora/ParameterTypes.hpp"

namespace kelvora {

struct ParameterImpl;

class KELVORA_API Parameter {
 public:
  // An invalid parameter: empty strings, empty variants, key 0.
  Parameter();
  // Takes ownership of impl, which must come from new.
  explicit Parameter(ParameterImpl* impl) noexcept;
  Parameter(const Parameter& other);
  Parameter(Parameter&& other) noexcept;
  Parameter& operator=(const Parameter& other);
  Parameter& operator=(Parameter&& other) noexcept;
  ~Parameter();

  const char* name() const;
  const char* description() const;
  ParameterKey key() const;
  // Index of the value's alternative; ParameterValue::kEmpty when empty.
  uint32_t type() const;
  ParameterValue getValue() const;
  ParameterValue lowerBound() const;
  ParameterValue upperBound() const;
  // True when the upper bound holds a value; a lone lower bound does not count.
  bool hasBounds() const;
  // False for key 0 and for PARAMETER_KEY_COUNT.
  bool isValid() const;

  // Stores v and returns true when it has the value's type and lies within
  // the bounds (both ends inclusive); otherwise returns false and keeps the
  // old value. NaN never lies within bounds; the terminal bool alternative is
  // never accepted by a bounded parameter.
  bool setValue(const ParameterValue& v);

  // The implementation, for the library's own use; null only after the
  // parameter was moved from.
  ParameterImpl* impl() { return impl_; }
  const ParameterImpl* impl() const { return impl_; }

 private:
  const ParameterImpl& view() const;

  ParameterImpl* impl_;
};

// "Invalid parameter!", or "name: value" followed by " Bounds: [lower, upper]"
// when bounded; no line end.
KELVORA_API std::ostream& operator<<(std::ostream& os, const Parameter& p);

}  // namespace kelvora
