#pragma once
// Every vector backend compiled into this build, as GoogleTest type lists.
#include <gtest/gtest.h>

#include <tuple>

#include "simd/Simd.hpp"

namespace kelvora::testing {

template <class Tuple>
struct TypesOf;
template <class... Ts>
struct TypesOf<std::tuple<Ts...>> {
  using type = ::testing::Types<Ts...>;
};

using AllBackends = TypesOf<simd::AllTags>::type;

struct BackendName {
  template <class D>
  static std::string GetName(int) {
    return D::kName;
  }
};

}  // namespace kelvora::testing
