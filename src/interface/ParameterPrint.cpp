#include <ostream>

#include "kelvora/Parameter.hpp"
#include "kelvora/ParameterImpl.hpp"

namespace kelvora {

std::ostream& operator<<(std::ostream& os, const Parameter& p) {
  if (!p.isValid()) return os << "Invalid parameter!";
  const ParameterImpl& impl = *p.impl();
  os << impl.name << ": " << impl.value;
  if (p.hasBounds()) os << " Bounds: [" << impl.lowerBound << ", " << impl.upperBound << "]";
  return os;
}

}  // namespace kelvora
