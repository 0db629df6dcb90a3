#pragma once
// GoogleTest type lists over every vector backend compiled into this build.
#include <gtest/gtest.h>

#include <tuple>

#include "simd/Simd.hpp"

namespace kelvora::testing {

template <class Tuple>
struct ToTestTypes;
template <class... Ts>
struct ToTestTypes<std::tuple<Ts...>> {
  using type = ::testing::Types<Ts...>;
};

using AllSimdTags = ToTestTypes<simd::AllTags>::type;

// Names typed-test instances after the backend ("scalar", "sse2", "neon").
struct SimdTagName {
  template <class T>
  static std::string GetName(int) {
    return T::kName;
  }
};

}  // namespace kelvora::testing
