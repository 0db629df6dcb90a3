#include "support/CalibrationFile.hpp"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "base/StatusCodes.hpp"
#include "calibration/CalibrationHandlerRegistry.hpp"
#include "kelvora/HostSupport.hpp"
#include "support/QuietStdout.hpp"
#include "support/ToolError.hpp"

namespace kelvora::tools {

namespace {

bool startsWith(const std::vector<uint8_t>& blob, const char* magic) {
  const size_t n = std::strlen(magic);
  return blob.size() >= n && std::memcmp(blob.data(), magic, n) == 0;
}

std::string text(const char* s) {
  if (s == nullptr || s[0] == '\0') return "(none)";
  return std::string(s, strnlen(s, kCalibrationTextCapacity));
}

std::string hex(uint32_t v) {
  char b[16];
  std::snprintf(b, sizeof(b), "0x%08X", v);
  return b;
}

bool anyNonZero(const float* v, size_t n) {
  if (v == nullptr) return false;
  for (size_t i = 0; i < n; ++i) {
    if (v[i] != 0.0f && !std::isnan(v[i])) return true;
  }
  return false;
}

}  // namespace

CalibrationFormat detectCalibrationFormat(const std::vector<uint8_t>& blob) {
  if (startsWith(blob, "ZYNSCL")) return CalibrationFormat::kContainer;
  if (startsWith(blob, "ZYNQVF")) return CalibrationFormat::kBlock;
  return CalibrationFormat::kLegacy;
}

const char* formatName(CalibrationFormat format) {
  switch (format) {
    case CalibrationFormat::kContainer:
      return "container";
    case CalibrationFormat::kBlock:
      return "block";
    case CalibrationFormat::kLegacy:
      break;
  }
  return "legacy";
}

CalibrationFormat parseFormatName(const std::string& name) {
  for (CalibrationFormat f :
       {CalibrationFormat::kContainer, CalibrationFormat::kLegacy, CalibrationFormat::kBlock}) {
    if (name == formatName(f)) return f;
  }
  throw ToolError("unknown calibration format '" + name + "' (container, legacy or block)");
}

CalibrationPtr readCalibration(const std::vector<uint8_t>& blob, const std::string& source) {
  KelvoraCalibrationHandler h{};
  switch (detectCalibrationFormat(blob)) {
    case CalibrationFormat::kContainer:
      kelvora_getTavelCalibrationHandler(&h);
      break;
    case CalibrationFormat::kBlock:
      kelvora_getQVCalibrationHandler(&h);
      break;
    case CalibrationFormat::kLegacy:
      kelvora_getLegacyCalibrationHandler(&h);
      break;
  }
  const uint32_t size = static_cast<uint32_t>(blob.size());
  uint32_t result = status::kUnsupported;
  const int32_t pixels =
      h.supports(blob.data(), size) != 0 ? h.getNumPixels(blob.data(), size) : -1;
  if (pixels > 0) {
    const QuietStdout quiet;  // the readers report their progress there
    CalibrationPtr record(allocateCalibration(static_cast<uint32_t>(pixels)));
    result = h.read(blob.data(), size, record.get());
    if (result == status::kSuccess && h.readCustomFields != nullptr) {
      result = h.readCustomFields(blob.data(), size, record.get());
    }
    if (result == status::kSuccess && h.calcPsfAndDirections != nullptr) {
      result = h.calcPsfAndDirections(record.get(), static_cast<uint32_t>(pixels));
    }
    if (result == status::kSuccess || result == status::kWarning) return record;
  } else if (pixels < 0 && pixels != -1) {
    result = static_cast<uint32_t>(pixels);
  }
  const StatusText why = describeCoreStatus(result);
  throw ToolError("calibration " + source + " (" + formatName(detectCalibrationFormat(blob)) +
                  " format) cannot be read: " + why.meaning + " (" + why.name + ", " + hex(result) +
                  ")" + (why.remedy[0] != '\0' ? "; " : "") + why.remedy);
}

std::string describeCalibration(const KelvoraCalibration& c, CalibrationFormat format) {
  std::ostringstream os;
  const uint32_t* roi = c.calibrationROI;
  const uint32_t pixels = roi != nullptr ? roi[2] * roi[3] : 0;
  os << "format:          " << formatName(format) << " (handler type " << c.type << ", version "
     << c.version << ")\n";
  if (roi != nullptr) {
    os << "ROI:             x " << roi[0] << ", y " << roi[1] << ", " << roi[2] << " x " << roi[3]
       << " pixels\n";
  }
  os << "frequencies:     " << static_cast<int>(c.frequencyCount) << " (";
  for (uint32_t f = 0; f < c.frequencyCount && f < kCalibrationFrequencyCapacity; ++f) {
    os << (f ? ", " : "") << c.frequencies[f].modulationFrequency / 1.0e6 << " MHz";
  }
  os << ")\n";
  os << "serial:          " << text(c.serial) << "\n";
  os << "sensor serial:   " << text(c.sensorSerial) << "\n";
  os << "date:            " << text(c.date) << "\n";
  static const char* const kLens[] = {"fx", "fy", "cx", "cy", "k1", "k2", "p1", "p2", "k3"};
  os << "lens:           ";
  for (uint32_t i = 0; i < c.lensParameterCount && c.lensParameters != nullptr; ++i) {
    os << " " << (i < 9 ? kLens[i] : "?") << "=" << c.lensParameters[i];
  }
  os << "\n";
  uint32_t masked = 0;
  for (uint32_t i = 0; c.mask != nullptr && i < pixels; ++i) masked += c.mask[i] & 1u;
  os << "corrections:\n";
  os << "  pixel mask:            " << masked << " pixels masked\n";
  os << "  fixed-pattern noise:   " << (anyNonZero(c.fpn, pixels) ? "yes" : "no") << "\n";
  os << "  stray light:           "
     << (kelvora_validFloatField(c.psfScale) ? "yes (" + std::to_string(c.psfWidth) + " x " +
                                                   std::to_string(c.psfHeight) + " kernel)"
                                             : std::string("no"))
     << "\n";
  for (uint32_t f = 0; f < c.frequencyCount && f < kCalibrationFrequencyCapacity; ++f) {
    const KelvoraCalibrationFrequency& q = c.frequencies[f];
    os << "  frequency " << f << ": phase noise " << (anyNonZero(q.fppn, pixels) ? "yes" : "no")
       << ", temperature terms " << static_cast<int>(q.tempCompensationCount)
       << ", noise model terms " << static_cast<int>(q.noiseParameterCount)
       << ", phase wiggling terms " << static_cast<int>(q.phaseWiggling.count)
       << ", amplitude wiggling terms " << static_cast<int>(q.amplitudeWiggling.count) << "\n";
  }
  os << "  custom fields:         " << static_cast<int>(c.customFieldCount) << "\n";
  return os.str();
}

}  // namespace kelvora::tools
