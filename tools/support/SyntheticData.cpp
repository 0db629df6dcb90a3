#include "support/SyntheticData.hpp"

#include "support/ToolError.hpp"
#include "synthetic/BlockCalibrationWriter.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"
#include "synthetic/LegacyCalibrationWriter.hpp"

namespace kelvora::tools {

namespace {

// The legacy layout quantises phase noise to 8 bits over this range (radians);
// the synthetic calibration's phase noise lies well inside it.
constexpr float kLegacyPhaseNoiseRange = 0.05f;

std::vector<uint8_t> writeBlob(const KelvoraCalibration& c, CalibrationFormat format) {
  switch (format) {
    case CalibrationFormat::kContainer:
      return synth::writeContainerCalibration(c, {});
    case CalibrationFormat::kBlock:
      return synth::writeBlockCalibration(c, {});
    case CalibrationFormat::kLegacy:
      break;
  }
  synth::LegacyWriterOptions o;
  for (auto& f : o.frequency) {
    f.minimum = -kLegacyPhaseNoiseRange;
    f.maximum = kLegacyPhaseNoiseRange;
  }
  return synth::writeLegacyCalibration(c, o);
}

RecordedFrameSet toRecorded(synth::RenderedFrameSet&& r) {
  RecordedFrameSet out;
  out.temperature = r.temperature;
  for (uint32_t e = 0; e < 3; ++e) out.exposureTimes[e] = r.exposureTimes[e];
  out.grey = std::move(r.grey);
  for (uint32_t f = 0; f < r.frequencyCount; ++f) {
    for (uint32_t k = 0; k < 4; ++k) out.phase[f][k] = std::move(r.phase[f][k]);
  }
  return out;
}

}  // namespace

SyntheticData makeSyntheticData(const SyntheticDataOptions& options) {
  const synth::SyntheticCalibrationOptions& co = options.calibration;
  if (co.width < 8 || co.height < 8 || co.width > 1024 || co.height > 1024) {
    throw ToolError("frame size " + std::to_string(co.width) + " x " + std::to_string(co.height) +
                    " is outside 8..1024");
  }
  if (co.frequencies.empty() || co.frequencies.size() > kMaxRecordingFrequencies) {
    throw ToolError("give one or two modulation frequencies");
  }
  for (uint32_t f : co.frequencies) {
    if (f < 1000000u || f > 400000000u) {
      throw ToolError("modulation frequency " + std::to_string(f) + " Hz is outside 1..400 MHz");
    }
  }
  if (options.format == CalibrationFormat::kLegacy &&
      (co.width != 224 || co.height != 172 || co.frequencies.size() != 2)) {
    throw ToolError(
        "the legacy calibration layout holds only 224 x 172 pixels and two frequencies");
  }
  if (options.frameSets == 0 || options.frameSets > 10000) {
    throw ToolError("number of frame sets must be 1..10000");
  }
  SyntheticData data;
  const CalibrationPtr source(synth::makeSyntheticCalibration(co));
  data.calibration = writeBlob(*source, options.format);
  const CalibrationPtr record = readCalibration(data.calibration, "(synthetic)");
  // The legacy layout stores no amplitude-wiggling offset, so its record reads
  // back 0 there; the sensor itself still has the source's, and a recording
  // rendered with 0 would show almost no modulation. The other formats keep
  // the offset, and this changes nothing for them.
  for (uint32_t f = 0; f < co.frequencies.size(); ++f) {
    record->frequencies[f].amplitudeWiggling.offset =
        source->frequencies[f].amplitudeWiggling.offset;
  }
  data.geometry = synth::castScene(record->directions, co.width, co.height, options.scene);
  data.header.width = co.width;
  data.header.height = co.height;
  data.header.frequencyCount = static_cast<uint32_t>(co.frequencies.size());
  for (uint32_t f = 0; f < data.header.frequencyCount; ++f) {
    data.header.frequencies[f] = record->frequencies[f].modulationFrequency;
  }
  for (uint32_t i = 0; i < options.frameSets; ++i) {
    data.frameSets.push_back(
        toRecorded(synth::renderFrameSet(*record, data.geometry, options.scene, i)));
  }
  return data;
}

}  // namespace kelvora::tools
