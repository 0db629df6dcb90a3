#pragma once
// Short spellings of parameter values for tables of test cases.
#include <cstdint>
#include <cstring>

#include "kelvora/ParameterTypes.hpp"

namespace kelvora::testing {

inline const auto F = [](float v) { return ParameterValue(v); };
inline const auto U = [](unsigned int v) { return ParameterValue(v); };
inline const auto B = [](bool v) { return ParameterValue(v); };
inline const auto I = [](int v) { return ParameterValue(v); };
inline const auto E = [] { return ParameterValue(); };
// The second, terminal bool alternative.
inline const auto T = [](bool v) {
  ParameterValue value;
  value.emplace<4>(v);
  return value;
};

// The alternative and its bytes in one word: equal words are equal values,
// and a NaN equals itself.
inline uint64_t valueWord(const ParameterValue& v) {
  uint32_t w = 0;
  if (const float* f = v.getIf<0>()) std::memcpy(&w, f, sizeof w);
  if (const unsigned int* u = v.getIf<1>()) w = *u;
  if (const bool* b = v.getIf<2>()) w = *b;
  if (const int* i = v.getIf<3>()) w = static_cast<uint32_t>(*i);
  if (const bool* t = v.getIf<4>()) w = *t;
  return uint64_t{v.index()} << 32 | w;
}

inline bool sameValue(const ParameterValue& a, const ParameterValue& b) {
  return valueWord(a) == valueWord(b);
}

}  // namespace kelvora::testing
