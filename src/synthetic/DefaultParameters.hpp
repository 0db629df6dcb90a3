#pragma once
// The parameter registry's processing defaults as a core parameter record,
// for code that drives the core without the front end (tests, benchmarks).
#include <cstdint>

#include "base/KelvoraParameter.hpp"

namespace kelvora::synth {

// Every registry parameter applied through its setter onto a zeroed record,
// then the image size, which no parameter names.
KelvoraParameter defaultCoreParameters(uint32_t width, uint32_t height);

}  // namespace kelvora::synth
