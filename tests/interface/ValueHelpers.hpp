#pragma once
// Short spellings of parameter values for tables of test cases.
#include <cstring>
#include <ostream>

#include "kelvora/ParameterTypes.hpp"

namespace kelvora::testing {

inline ParameterValue F(float v) {
  return ParameterValue(v);
}
inline ParameterValue U(unsigned int v) {
  return ParameterValue(v);
}
inline ParameterValue B(bool v) {
  return ParameterValue(v);
}
inline ParameterValue I(int v) {
  return ParameterValue(v);
}
inline ParameterValue E() {
  return ParameterValue();
}
// The second, terminal bool alternative.
inline ParameterValue T(bool v) {
  ParameterValue value;
  value.emplace<4>(v);
  return value;
}

// Same alternative and same value; floats compare by their bits so that a
// NaN equals itself.
inline bool sameValue(const ParameterValue& a, const ParameterValue& b) {
  if (a.index() != b.index()) return false;
  switch (a.index()) {
    case 0:
      return std::memcmp(a.getIf<0>(), b.getIf<0>(), sizeof(float)) == 0;
    case 1:
      return *a.getIf<1>() == *b.getIf<1>();
    case 2:
      return *a.getIf<2>() == *b.getIf<2>();
    case 3:
      return *a.getIf<3>() == *b.getIf<3>();
    case 4:
      return *a.getIf<4>() == *b.getIf<4>();
    default:
      return true;
  }
}

}  // namespace kelvora::testing
