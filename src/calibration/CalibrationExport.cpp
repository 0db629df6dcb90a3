#include "calibration/CalibrationExport.hpp"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>

#include "base/SaturatingConvert.hpp"

namespace kelvora {

extern "C" {
__attribute__((visibility("default"))) const char* calibrationSaveDir = nullptr;
}

namespace {

// Fixed-point scales of the exported integer files.
constexpr float kDirectionScale = 32767.0f;        // unit vector components to Q15
constexpr float kLensParameterScale = 1000000.0f;  // micro-units
constexpr float kFpnScale = 16.0f;                 // 1/16 units

constexpr uint32_t kDateLength = 19;
constexpr uint32_t kSerialLength = 9;
constexpr uint32_t kSensorSerialLength = 19;

// float -> int32 truncating toward zero as the ARM conversion does: NaN gives 0
// and values beyond the range give the nearest end.
int32_t saturatingToSigned(float v) {
  if (!(v == v)) return 0;
  if (v >= 2147483648.0f) return 0x7FFFFFFF;
  if (v < -2147483648.0f) return static_cast<int32_t>(0x80000000u);
  return static_cast<int32_t>(v);
}

// Converted copies live only until their file is written.
template <class To, class Convert>
bool saveConverted(const char* fileName, uint32_t count, const float* values, Convert convert) {
  if (values == nullptr && count != 0) return false;
  auto* converted = static_cast<To*>(std::malloc(sizeof(To) * (count == 0 ? 1u : count)));
  for (uint32_t i = 0; i < count; ++i) converted[i] = convert(values[i]);
  const bool ok = ovani_saveArray(fileName, count, converted);
  std::free(converted);
  return ok;
}

bool saveFrequency(const KelvoraCalibrationFrequency& f, uint32_t pixels, bool withAmplitudeModel) {
  std::ostringstream suffix;
  suffix << f.modulationFrequency << "Hz";
  const std::string s = suffix.str();
  auto name = [&s](const char* stem) { return std::string(stem) + s; };
  bool ok = true;
  auto keep = [&ok](bool result) { ok = ok && result; };
  const KelvoraWiggling& phase = f.phaseWiggling;
  keep(ovani_saveArray(name("calib_fppn_").c_str(), pixels, f.fppn));
  keep(ovani_saveArray(name("calib_TempCompensation_").c_str(), f.tempCompensationCount,
                       f.tempCompensation));
  keep(ovani_saveArray(name("calib_NoiseParameter_").c_str(), f.noiseParameterCount,
                       f.noiseParameters));
  keep(ovani_saveArray(name("calib_WigglingAmplitude_").c_str(), phase.count, phase.amplitude));
  keep(ovani_saveArray(name("calib_WigglingHarmonic_").c_str(), phase.count, phase.harmonic));
  keep(ovani_saveArray(name("calib_WigglingPhase_").c_str(), phase.count, phase.phase));
  if (withAmplitudeModel) {
    // Only the amplitude model's offset is exported; the phase model has none
    // that the consumers of these files use.
    const KelvoraWiggling& amplitude = f.amplitudeWiggling;
    keep(ovani_saveArray(name("calib_AmplitudeWigglingAmplitude_").c_str(), amplitude.count,
                         amplitude.amplitude));
    keep(ovani_saveArray(name("calib_AmplitudeWigglingHarmonic_").c_str(), amplitude.count,
                         amplitude.harmonic));
    keep(ovani_saveArray(name("calib_AmplitudeWigglingOffset_").c_str(), 1u, &amplitude.offset));
    keep(ovani_saveArray(name("calib_AmplitudeWigglingPhase_").c_str(), amplitude.count,
                         amplitude.phase));
  }
  return ok;
}

}  // namespace

template <class T>
bool zyn_saveArrayToFile(const char* path, uint32_t count, const T* values,
                         std::ios_base::openmode mode) {
  if (values == nullptr && count != 0) return false;
  std::ofstream file(path, mode | std::ios_base::out);
  bool ok = false;
  if (file.good()) {
    file.write(reinterpret_cast<const char*>(values),
               static_cast<std::streamsize>(sizeof(T)) * static_cast<std::streamsize>(count));
    ok = file.good();
  }
  file.close();
  return ok && !file.fail();
}

template <class T>
bool ovani_saveArray(const char* fileName, uint32_t count, const T* values) {
  if (calibrationSaveDir == nullptr) return false;
  const std::string path = std::string(calibrationSaveDir) + "/" + fileName + ".bin";
  return zyn_saveArrayToFile(path.c_str(), count, values,
                             std::ios_base::binary | std::ios_base::out | std::ios_base::trunc);
}

#define KELVORA_INSTANTIATE_SAVE(T)                                                               \
  template bool zyn_saveArrayToFile<T>(const char*, uint32_t, const T*, std::ios_base::openmode); \
  template bool ovani_saveArray<T>(const char*, uint32_t, const T*);
KELVORA_INSTANTIATE_SAVE(uint32_t)
KELVORA_INSTANTIATE_SAVE(char)
KELVORA_INSTANTIATE_SAVE(uint16_t)
KELVORA_INSTANTIATE_SAVE(int16_t)
KELVORA_INSTANTIATE_SAVE(int32_t)
KELVORA_INSTANTIATE_SAVE(uint8_t)
KELVORA_INSTANTIATE_SAVE(float)
#undef KELVORA_INSTANTIATE_SAVE

bool ovaniCustomCalibrationSave(const KelvoraCalibration* calibration) {
  const char* dir = calibrationSaveDir;
  std::printf("calibrationSaveDir = %s\n", dir != nullptr ? dir : "(null)");
  if (dir == nullptr) return false;
  // The host names the directory; it need not exist yet. A failure here shows
  // up as failed writes below.
  std::error_code ignored;
  std::filesystem::create_directories(dir, ignored);

  const KelvoraCalibration* c = calibration;
  const uint32_t pixels = c->calibrationROI[2] * c->calibrationROI[3];
  bool ok = true;
  auto keep = [&ok](bool result) { ok = ok && result; };
  keep(ovani_saveArray("calib_CalibrationROI", 4u, c->calibrationROI));
  keep(ovani_saveArray("calib_date", kDateLength, c->date));
  keep(ovani_saveArray("calib_serial", kSerialLength, c->serial));
  keep(ovani_saveArray("calib_SensorSerial", kSensorSerialLength, c->sensorSerial));
  keep(ovani_saveArray("calib_version", 1u, &c->version));
  keep(ovani_saveArray("calib_type", 1u, &c->type));
  keep(saveConverted<int16_t>("calib_directions", pixels * 3u, c->directions, [](float v) {
    return static_cast<int16_t>(saturatingToSigned(v * kDirectionScale));
  }));
  keep(saveConverted<int32_t>("calib_lensparam", c->lensParameterCount, c->lensParameters,
                              [](float v) { return saturatingToSigned(v * kLensParameterScale); }));
  keep(ovani_saveArray("calib_mask", pixels, c->mask));
  keep(saveConverted<uint16_t>("calib_fpn", pixels, c->fpn, [](float v) {
    return static_cast<uint16_t>(saturatingToUnsigned(v * kFpnScale));
  }));

  const uint32_t frequencies = c->frequencyCount < kCalibrationFrequencyCapacity
                                   ? c->frequencyCount
                                   : kCalibrationFrequencyCapacity;
  for (uint32_t f = 0; f < frequencies; ++f) {
    keep(saveFrequency(c->frequencies[f], pixels, c->frequencyCount > 1));
  }
  return ok;
}

}  // namespace kelvora
