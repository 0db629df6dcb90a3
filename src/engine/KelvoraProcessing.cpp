// Per-frame calls, result access and calibration fields.
#include <cstring>
#include <vector>

#include "base/StatusCodes.hpp"
#include "core/FrameDrivers.hpp"
#include "engine/FrameCheck.hpp"
#include "engine/Kelvora.hpp"
#include "interface/PrintMessage.hpp"

namespace kelvora {

namespace {

constexpr const char* kInvalidFrequencyKey =
    "Invalid ParameterKey encountered. Only FREQUENCY_i values are valid here.";
constexpr const char* kUnhandledResultType = "ResultType enumeration not handled completely.";

}  // namespace

const ResultProxy<float>* Kelvora::floatProxy(ResultType type) const {
  switch (type) {
    case POINT_CLOUD:
      return &pointCloud_;
    case AMPLITUDE:
      return &amplitude_;
    case NOISE:
      return &noise_;
    case INTENSITY:
      return &intensity_;
    case DISTANCE:
      return &distance_;
    default:
      abortWithMessage(kUnhandledResultType);
  }
}

bool Kelvora::processesFrequency(uint32_t index) const {
  return intermediate_ && index < intermediate_->numFreqs;
}

template <template <class> class Container>
KelvoraStatus Kelvora::checkFrameSet(const Input<Container, 2>& in) const {
  const uint32_t pixels = pixelCountOf(parameters_);
  KelvoraStatus s = checkGreyFrame(in, pixels);
  const uint32_t frequencies = parameters_.numFreqs < 2 ? parameters_.numFreqs : 2u;
  for (uint32_t f = 0; s.code == KelvoraStatus::SUCCESS && f < frequencies; ++f) {
    if (processesFrequency(f)) s = checkPhaseFrames(in, f, pixels);
  }
  return s;
}

template <template <class> class Container>
KelvoraStatus Kelvora::processIntensityFrom(const Input<Container, 2>& in) {
  const KelvoraStatus checked = checkGreyFrame(in, pixelCountOf(parameters_));
  if (checked.code != KelvoraStatus::SUCCESS) return checked;
  input_.exposureTimes[0] = in.intensityExposureTime;
  input_.intensityFrame = in.intensityFrame.data();
  if (intermediate_) {
    kelvora_processIntensity(&input_, calibration_.get(), &parameters_, intermediate_.get(),
                             &output_);
  }
  return KelvoraStatus{};
}

template <template <class> class Container>
KelvoraStatus Kelvora::processModFramesFrom(const Input<Container, 2>& in, ParameterKey key) {
  if (key != FREQUENCY_1 && key != FREQUENCY_2) abortWithMessage(kInvalidFrequencyKey);
  const uint32_t index = key == FREQUENCY_1 ? 0u : 1u;
  // A frequency the scratch was not built for has no probe record to fill,
  // and its frames are never read.
  const bool processed = processesFrequency(index);
  if (processed) {
    const KelvoraStatus checked = checkPhaseFrames(in, index, pixelCountOf(parameters_));
    if (checked.code != KelvoraStatus::SUCCESS) return checked;
  }
  const ModulationFrames<Container>& frames = in.frequencies[index];
  input_.exposureTimes[1 + index] = frames.exposureTime;
  for (uint32_t k = 0; k < 4; ++k) input_.modFrames[index][k] = frames.phaseFrames[k].data();
  input_.temperature = in.temperature;
  if (processed) {
    kelvora_processModFrames(&input_, calibration_.get(), &parameters_, intermediate_.get(),
                             &output_, index);
  }
  return KelvoraStatus{};
}

KelvoraStatus Kelvora::processIntensity(const Input<ArrayHolder, 2>& in) {
  return processIntensityFrom(in);
}
KelvoraStatus Kelvora::processIntensity(const Input<ArrayReference, 2>& in) {
  return processIntensityFrom(in);
}
KelvoraStatus Kelvora::processModFramesImpl(const Input<ArrayHolder, 2>& in, ParameterKey key) {
  return processModFramesFrom(in, key);
}
KelvoraStatus Kelvora::processModFramesImpl(const Input<ArrayReference, 2>& in, ParameterKey key) {
  return processModFramesFrom(in, key);
}

KelvoraStatus Kelvora::combineResults() {
  if (intermediate_) {
    kelvora_combineResults(&input_, calibration_.get(), &parameters_, intermediate_.get(),
                           &output_);
  }
  return KelvoraStatus{};
}

// Every step goes through the virtual slots, so a derived engine's override
// of one step is used by the whole frame set. All frames are checked before
// the first step, so a refused frame set leaves every result as it was.
template <template <class> class Container>
KelvoraStatus Kelvora::processWholeFrom(const Input<Container, 2>& in) {
  const KelvoraStatus checked = checkFrameSet(in);
  if (checked.code != KelvoraStatus::SUCCESS) return checked;
  processIntensity(in);
  if (parameters_.numFreqs >= 1) {
    processModFramesImpl(in, FREQUENCY_1);
    if (parameters_.numFreqs >= 2) processModFramesImpl(in, FREQUENCY_2);
    combineResults();
  }
  return KelvoraStatus{};
}

KelvoraStatus Kelvora::processWhole(const Input<ArrayHolder, 2>& in) {
  return processWholeFrom(in);
}

KelvoraStatus Kelvora::processWhole(const Input<ArrayReference, 2>& in) {
  return processWholeFrom(in);
}

void Kelvora::resultsImpl(ResultType type, ArrayReference<float>& out) {
  const ResultProxy<float>* proxy = floatProxy(type);
  out = ArrayReference<float>(proxy->target->data(), proxy->target->size());
}

void Kelvora::resultsImpl(ResultType type, ArrayReference<unsigned int>& out) {
  if (type == FLAGS) {
    out = ArrayReference<unsigned int>(flags_.target->data(), flags_.target->size());
  } else if (type == EXPOSURE_PROPOSALS) {
    out = ArrayReference<unsigned int>(output_.exposureProposal, parameters_.numFreqs + 1u);
  } else {
    abortWithMessage(kUnhandledResultType);
  }
}

void Kelvora::resultsImpl(ResultType type, ImmutableField<float>& out) const {
  const ResultProxy<float>* proxy = floatProxy(type);
  out.reset(*proxy->target);
}

void Kelvora::resultsImpl(ResultType type, ImmutableField<unsigned int>& out) const {
  if (type == FLAGS) {
    out.reset(*flags_.target);
  } else if (type == EXPOSURE_PROPOSALS) {
    // Always a reference to the engine's proposals, never a copy.
    const ArrayReference<unsigned int> proposals(
        const_cast<unsigned int*>(output_.exposureProposal), parameters_.numFreqs + 1u);
    out.reset(proposals);
  } else {
    abortWithMessage(kUnhandledResultType);
  }
}

template <class T>
KelvoraStatus Kelvora::copyCalibrationFieldAs(CalibrationField field, ArrayHolder<T>& out,
                                              int customId) const {
  const int32_t id = field == CUSTOM ? customId : static_cast<int32_t>(field);
  const int32_t size = static_cast<int32_t>(kelvora_getFieldSize(id, calibration_.get()));
  if (size < 1) return KelvoraStatus{KelvoraStatus::CALIBRATION_ERROR, static_cast<uint32_t>(size)};
  const uint32_t count = static_cast<uint32_t>(size) / sizeof(T);
  out.reset(count);
  // The field may not fill whole elements; read it whole, hand out what fits.
  std::vector<unsigned char> bytes(static_cast<size_t>(size));
  const uint32_t read = kelvora_getField(id, calibration_.get(), bytes.data());
  if (read != status::kSuccess) return KelvoraStatus{KelvoraStatus::CALIBRATION_ERROR, read};
  if (count != 0) std::memcpy(out.data(), bytes.data(), count * sizeof(T));
  return KelvoraStatus{};
}

KelvoraStatus Kelvora::copyCalibrationFieldImpl(CalibrationField f, ArrayHolder<unsigned int>& out,
                                                int id) const {
  return copyCalibrationFieldAs(f, out, id);
}
KelvoraStatus Kelvora::copyCalibrationFieldImpl(CalibrationField f,
                                                ArrayHolder<unsigned short>& out, int id) const {
  return copyCalibrationFieldAs(f, out, id);
}
KelvoraStatus Kelvora::copyCalibrationFieldImpl(CalibrationField f, ArrayHolder<unsigned char>& out,
                                                int id) const {
  return copyCalibrationFieldAs(f, out, id);
}
KelvoraStatus Kelvora::copyCalibrationFieldImpl(CalibrationField f, ArrayHolder<float>& out,
                                                int id) const {
  return copyCalibrationFieldAs(f, out, id);
}
KelvoraStatus Kelvora::copyCalibrationFieldImpl(CalibrationField f, ArrayHolder<char>& out,
                                                int id) const {
  return copyCalibrationFieldAs(f, out, id);
}

}  // namespace kelvora
