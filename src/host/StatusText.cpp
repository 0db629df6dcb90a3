// Status codes in words for the people who meet them: a host program's user
// sees only the line describeStatus makes, so each entry says what to do.
#include <cstdio>
#include <string>

#include "base/StatusCodes.hpp"
#include "interface/ParameterRegistry.hpp"
#include "kelvora/HostSupport.hpp"

namespace kelvora {

namespace {

// Reading a calibration fails for the same few reasons whatever the format:
// the file is damaged, cut short or not a calibration of this kind.
constexpr const char* kDamagedCalibration =
    "the calibration file is damaged or was written by an incompatible tool: obtain it again "
    "from the camera module";

struct CoreStatusEntry {
  uint32_t code;
  StatusText text;
};

constexpr CoreStatusEntry kCoreStatuses[] = {
    {status::kSuccess, {"SUCCESS", "success", ""}},
    {status::kUnknownField,
     {"UNKNOWN_FIELD", "no calibration field has this identifier",
      "ask for fields 0 to 5 or for a custom field the calibration holds"}},
    {status::kNoData,
     {"NO_DATA", "the custom calibration field holds no data",
      "this calibration does not carry that field"}},
    {status::kUnsupported,
     {"UNKNOWN_FORMAT",
      "the data is not a calibration this library reads (wrong magic, version or format code, or "
      "counts that contradict each other)",
      "give the camera module's calibration file in the container or legacy format"}},
    {status::kStreamTooShort,
     {"STREAM_TOO_SHORT", "the calibration data ends before the record it announces is complete",
      "the file is truncated: copy it again from the camera module"}},
    {status::kInvalidRecord,
     {"INVALID_RECORD",
      "the calibration record is missing or of another version, or a model it needs is absent",
      kDamagedCalibration}},
    {status::kUnsetValue,
     {"UNSET_VALUE", "the calibration holds a block whose values were never set",
      kDamagedCalibration}},
    {status::kCapacityExceeded,
     {"CAPACITY_EXCEEDED", "the calibration holds more values than the record has room for",
      kDamagedCalibration}},
    {status::kTooFewValues,
     {"TOO_FEW_VALUES", "a calibration block holds fewer values than it must",
      kDamagedCalibration}},
    {status::kInvalidValue,
     {"INVALID_VALUE",
      "the calibration holds an invalid value (a value range, data type, block order or block "
      "size)",
      kDamagedCalibration}},
    {status::kEmpty,
     {"MISSING_FIELD", "a calibration field or block that is needed is missing or empty",
      kDamagedCalibration}},
    {status::kSizeMismatch,
     {"SIZE_MISMATCH",
      "the calibration's region of interest does not fit its image size, or its stray-light "
      "kernel was computed already",
      kDamagedCalibration}},
    {status::kWarning,
     {"WARNING", "the calibration was read with a warning; the record is usable", ""}},
};

constexpr StatusText kUnknownStatus = {"UNKNOWN", "a status code this library does not define",
                                       "report it together with the calibration file"};

constexpr StatusText kFrontStatuses[] = {
    {"SUCCESS", "success", ""},
    {"OUTPUT_TARGET_TOO_SMALL",
     "an output array handed to the engine holds fewer elements than the result needs; the "
     "previous configuration is in force again",
     "give arrays of width x height elements, 4 x width x height for the point cloud"},
    {"CALIBRATION_ERROR",
     "the calibration cannot be read, or the calibration field asked for is absent; detail holds "
     "the core status code or the field's non-positive size",
     kDamagedCalibration},
    {"UNKNOWN_PARAMETER",
     "a parameter key is not part of the engine's configuration; detail holds the key",
     "list the engine's parameters: the calibration fixes some and hides them"},
    {"INITIALIZATION_FAILED",
     "the engine could not be set up for the new configuration; the previous configuration is in "
     "force again; detail 1: the calibration record is of another version, detail 2: a "
     "modulation frequency has no calibration",
     "set freq1 (and freq2) to frequencies the calibration holds"},
    {"INVALID_INPUT",
     "a frame of the frame set is missing or holds fewer than width x height samples; nothing was "
     "processed and the previous results stand; detail: 0 for the grey frame, 1 + 4 x frequency + "
     "k for phase frame k",
     "hand the grey frame and four phase frames per modulation frequency, each of width x height "
     "samples"},
};

std::string hex(uint32_t v) {
  char b[16];
  std::snprintf(b, sizeof(b), "0x%08X", v);
  return b;
}

std::string withRemedy(std::string line, const char* remedy) {
  if (remedy[0] != '\0') line += std::string("; ") + remedy;
  return line;
}

std::string parameterName(uint32_t key) {
  const auto all = getAllParameters();
  const auto it = all.find(static_cast<ParameterKey>(key));
  return it != all.end() ? std::string(it->second.name()) : std::string("no parameter's key");
}

std::string frameName(uint32_t frame) {
  if (frame == 0) return "the grey frame";
  const uint32_t frequency = (frame - 1) / 4 + 1, k = (frame - 1) % 4;
  return "phase frame " + std::to_string(k) + " of frequency " + std::to_string(frequency);
}

}  // namespace

StatusText describeStatusCode(KelvoraStatus::Code code) {
  const uint32_t i = static_cast<uint32_t>(code);
  return i < sizeof(kFrontStatuses) / sizeof(kFrontStatuses[0]) ? kFrontStatuses[i]
                                                                : kUnknownStatus;
}

StatusText describeCoreStatus(uint32_t code) {
  for (const CoreStatusEntry& e : kCoreStatuses) {
    if (e.code == code) return e.text;
  }
  return kUnknownStatus;
}

std::string describeStatus(const KelvoraStatus& s) {
  const uint32_t d = s.detail;
  switch (s.code) {
    case KelvoraStatus::SUCCESS:
      return "success";
    case KelvoraStatus::OUTPUT_TARGET_TOO_SMALL:
      return withRemedy(
          "output target too small: an output array holds fewer elements than the result needs; "
          "the previous configuration is in force again",
          kFrontStatuses[s.code].remedy);
    case KelvoraStatus::CALIBRATION_ERROR: {
      if (!status::isError(d)) {
        return "calibration error: the calibration field asked for is empty (size " +
               std::to_string(static_cast<int32_t>(d)) + ")";
      }
      const StatusText t = describeCoreStatus(d);
      return withRemedy(
          std::string("calibration error: ") + t.meaning + " (" + t.name + ", " + hex(d) + ")",
          t.remedy);
    }
    case KelvoraStatus::UNKNOWN_PARAMETER:
      return withRemedy("unknown parameter: key " + std::to_string(d) + " (" + parameterName(d) +
                            ") is not part of the engine's configuration",
                        kFrontStatuses[s.code].remedy);
    case KelvoraStatus::INITIALIZATION_FAILED: {
      const char* why = d == static_cast<uint32_t>(status::kInitBadCalibrationVersion)
                            ? "the calibration record is of another version"
                        : d == static_cast<uint32_t>(status::kInitFrequencyNotCalibrated)
                            ? "a modulation frequency it was set to has no calibration"
                            : "the core refused the configuration";
      return withRemedy(std::string("initialization failed: ") + why + " (detail " +
                            std::to_string(d) + "); the previous configuration is in force again",
                        kFrontStatuses[s.code].remedy);
    }
    case KelvoraStatus::INVALID_INPUT:
      return withRemedy("invalid input: " + frameName(d) +
                            " is missing or holds fewer than width x height samples; nothing was "
                            "processed",
                        kFrontStatuses[s.code].remedy);
  }
  return std::string("unknown status ") + std::to_string(static_cast<uint32_t>(s.code)) +
         ", detail " + hex(d);
}

}  // namespace kelvora
