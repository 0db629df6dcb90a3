#pragma once
// Calibration blobs as files: which format a blob is in, reading it into a
// record, and a readable summary of the record.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "calibration/CalibrationRecord.hpp"

namespace kelvora::tools {

enum class CalibrationFormat { kContainer, kLegacy, kBlock };

// By magic: "ZYNSCL" container, "ZYNQVF" block, anything else legacy (the
// legacy layout has no magic).
CalibrationFormat detectCalibrationFormat(const std::vector<uint8_t>& blob);
const char* formatName(CalibrationFormat format);
// "container", "legacy" or "block"; throws ToolError for anything else.
CalibrationFormat parseFormatName(const std::string& name);

struct CalibrationDeleter {
  void operator()(KelvoraCalibration* c) const { kelvora_freeCalibration(c); }
};
using CalibrationPtr = std::unique_ptr<KelvoraCalibration, CalibrationDeleter>;

// Reads the blob with the handler of its detected format, with directions
// and point-spread function derived as the library does. (The library's own
// dispatch hands every magic-less blob, and so also block blobs, to the legacy
// handler; naming the handler here lets the tool show block files as they
// are.) Throws ToolError naming `source` and the status on failure.
CalibrationPtr readCalibration(const std::vector<uint8_t>& blob, const std::string& source);

// Several lines: format, region of interest, frequencies, serials, date,
// lens parameters and the corrections the record holds.
std::string describeCalibration(const KelvoraCalibration& c, CalibrationFormat format);

}  // namespace kelvora::tools
