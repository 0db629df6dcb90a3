#pragma once
// Multipath interference makes the two modulation frequencies disagree. This
// stage measures the disagreement per pixel in amplitude and in distance,
// optionally smooths each measure with a 3x3 median, and flags pixels whose
// disagreement exceeds a noise-scaled threshold with a fixed floor.

namespace kelvora {

struct KelvoraParameter;
struct KelvoraIntermediate;
struct KelvoraOutput;

// Runs only for two-frequency intermediates with at least one of the amplitude
// and distance tests switched on. Writes mpiAmplitudeRatio and
// mpiAmplitudeNoise, may median-filter mpiAmplitudeRatio and
// distanceDifference in place (with filterScratch), and ORs 0x81 (amplitude)
// and 0x41 (distance) into the output flags. Allocates nothing.
void kelvora_flagMultipath(const KelvoraParameter* parameters, KelvoraIntermediate* intermediate,
                           KelvoraOutput* output);

}  // namespace kelvora
