#pragma once
// Wiggling: the periodic deviation of measured phase and amplitude from the
// ideal, modelled per frequency as a short sum of sine harmonics. These build
// a 16384-entry table over one closed phase period [0, 2*pi] once, so the
// per-pixel stage looks corrections up instead of evaluating sines.
#include <cstdint>

namespace kelvora {

// 2*pi / 16383 in single precision: entries 0 and 16383 both stand for the
// same phase.
constexpr float kWigglingTableStep = 0.0003835186f;

// table[i] = sum_k amplitude[k] * sin(i*step*harmonic[k] + phase[k]).
void initCorrectPhaseWiggling_cross(uint32_t count, const uint32_t* harmonic, const float* phase,
                                    const float* amplitude, float* table);

// table[i] = 1 / (offset + the same sum): the per-pixel stage multiplies.
void initCorrectAmplitudeWiggling_cross(uint32_t count, const uint32_t* harmonic,
                                        const float* phase, const float* amplitude, float offset,
                                        float* table);

}  // namespace kelvora
