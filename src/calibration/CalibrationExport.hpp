#pragma once
// Export of a converted calibration as raw binary files, one per field and per
// modulation frequency, into the directory the host application names.
#include <cstdint>
#include <ios>

#include "calibration/CalibrationRecord.hpp"

namespace kelvora {

extern "C" {
// Directory for the exported files, without a trailing separator; set by the
// host before a legacy calibration is loaded. While it is null nothing is
// written. Exported from the shared library so that the host can set it.
extern __attribute__((visibility("default"))) const char* calibrationSaveDir;
}

// Writes count * sizeof(T) raw bytes (host order, no header) to `path`, opened
// with `mode` plus output. True when the file opened and the write succeeded.
template <class T>
bool zyn_saveArrayToFile(const char* path, uint32_t count, const T* values,
                         std::ios_base::openmode mode);

// calibrationSaveDir + "/" + fileName + ".bin", created or truncated.
// Instantiated for uint32_t, char, uint16_t, int16_t, int32_t, uint8_t, float.
template <class T>
bool ovani_saveArray(const char* fileName, uint32_t count, const T* values);

// Prints the directory, creates it if it is missing and writes every file of
// the record; one failed file does not stop the others. True when all writes
// succeeded.
bool ovaniCustomCalibrationSave(const KelvoraCalibration* calibration);

}  // namespace kelvora
