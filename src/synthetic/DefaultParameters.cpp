#include "synthetic/DefaultParameters.hpp"

#include "interface/ParameterRegistry.hpp"
#include "kelvora/ParameterImpl.hpp"

namespace kelvora::synth {

KelvoraParameter defaultCoreParameters(uint32_t width, uint32_t height) {
  KelvoraParameter p{};
  // Each default goes in through its own setter, as an engine applies it, so
  // tests and benchmarks cannot drift from the registry.
  for (const auto& entry : getAllParameters()) entry.second.impl()->apply(p);
  p.width = width;
  p.height = height;
  return p;
}

}  // namespace kelvora::synth
