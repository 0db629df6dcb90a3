#pragma once
// Distinct sample elements for every element type the containers support,
// so one typed test covers them all.
#include <cstdint>
#include <string>
#include <type_traits>

#include "kelvora/Configuration.hpp"
#include "kelvora/Parameter.hpp"
#include "kelvora/ParameterBuilder.hpp"

namespace kelvora::testing {

using RedirectionVariant = Configuration::RedirectionVariant;

template <class T>
struct ElementSamples {
  static T make(uint32_t i) { return static_cast<T>(i * 7u + 3u); }
  static bool same(const T& a, const T& b) { return a == b; }
};

template <>
struct ElementSamples<Parameter> {
  static Parameter make(uint32_t i) {
    return ParameterBuilder()
        .setKey(static_cast<ParameterKey>(i + 1u))
        .setName("p" + std::to_string(i))
        .setValue(ParameterValue(static_cast<float>(i) + 0.5f))
        .build();
  }
  static bool same(const Parameter& a, const Parameter& b) {
    return a.key() == b.key() && std::string(a.name()) == b.name() &&
           *a.getValue().getIf<0>() == *b.getValue().getIf<0>();
  }
};

template <>
struct ElementSamples<RedirectionVariant> {
  static float* memory() {
    static float buffer[64];
    return buffer;
  }
  static RedirectionVariant make(uint32_t i) {
    OutputRedirector<DISTANCE> r;
    r.setRedirection(ArrayReference<float>(memory() + i, i + 1u));
    RedirectionVariant v;
    v.emplace<Configuration::redirectionIndex(DISTANCE)>(r);
    return v;
  }
  static bool same(const RedirectionVariant& a, const RedirectionVariant& b) {
    constexpr uint32_t i = Configuration::redirectionIndex(DISTANCE);
    if (a.index() != b.index() || a.getIf<i>() == nullptr) return false;
    return a.getIf<i>()->target().data() == b.getIf<i>()->target().data() &&
           a.getIf<i>()->target().size() == b.getIf<i>()->target().size();
  }
};

}  // namespace kelvora::testing
