// Construction, creation from calibration bytes and the fitting of the
// default configuration to the calibration.
#include "engine/Kelvora.hpp"

#include <cstring>
#include <map>
#include <new>
#include <utility>

#include "base/StatusCodes.hpp"
#include "calibration/CalibrationHandlerRegistry.hpp"
#include "interface/ParameterRegistry.hpp"

namespace kelvora {

namespace {

ArrayHolder<Parameter> registryInKeyOrder() {
  const std::map<ParameterKey, Parameter> all = getAllParameters();
  ArrayHolder<Parameter> list(static_cast<uint32_t>(all.size()));
  uint32_t i = 0;
  for (const auto& entry : all) list[i++] = entry.second;
  return list;
}

// Looks the parameter up, sets the value on the copy (a rejected value is
// ignored) and stores the copy back.
template <class T>
void setIn(Configuration& c, ParameterKey key, T value) {
  Parameter p = c.getParameterByKey(key);
  p.setValue(ParameterValue(value));
  c.setParameter(p);
}

}  // namespace

Kelvora::Kelvora(const std::vector<unsigned char>& calibration,
                 const std::vector<unsigned char>& persistent)
    : calibration_(nullptr, kelvora_freeCalibration),
      intermediate_(nullptr, kelvoraTavelFree),
      configuration_(registryInKeyOrder()),
      calibrationData_(calibration),
      persistentData_(persistent),
      flags_([](KelvoraOutput& o, unsigned int* p) { o.flags = p; }),
      pointCloud_([](KelvoraOutput& o, float* p) { o.pointCloud = p; }),
      noise_([](KelvoraOutput& o, float* p) { o.noise = p; }),
      amplitude_([](KelvoraOutput& o, float* p) { o.amplitude = p; }),
      intensity_([](KelvoraOutput& o, float* p) { o.intensity = p; }),
      distance_([](KelvoraOutput& o, float* p) { o.distance = p; }) {
  parameters_.numFreqs = 0;
  parameters_.freq1 = 0;
  parameters_.freq2 = 0;
}

Kelvora::~Kelvora() = default;

std::pair<KelvoraStatus, Kelvora*> Kelvora::createKelvora(
    const std::vector<unsigned char>& calibration, const std::vector<unsigned char>& persistent) {
  std::unique_ptr<Kelvora> engine(new Kelvora(calibration, persistent));

  KelvoraCalibration* parsed = nullptr;
  const uint32_t read =
      kelvora_readCalibration(engine->calibrationData_.data(),
                              static_cast<uint32_t>(engine->calibrationData_.size()), &parsed);
  // The warning code hands over a usable record.
  if (read != status::kSuccess && read != status::kWarning) {
    return {KelvoraStatus{KelvoraStatus::CALIBRATION_ERROR, read}, nullptr};
  }
  engine->calibration_.reset(parsed);
  engine->parameters_.width = parsed->calibrationROI[2];
  engine->parameters_.height = parsed->calibrationROI[3];

  const KelvoraStatus configured = engine->initConfiguration();
  if (configured.code != KelvoraStatus::SUCCESS) return {configured, nullptr};
  return {configured, engine.release()};
}

KelvoraStatus Kelvora::initConfiguration() {
  std::set<ParameterKey> hidden;
  Configuration c = configuration_;
  const KelvoraCalibration& cal = *calibration_;
  if (cal.frequencyCount == 1) {
    setIn(c, NUM_FREQS, 1u);
    hidden.insert(NUM_FREQS);
    setAndAddToFilter(c, USE_MPI_FLAG_AMPLITUDE, hidden);
    setAndAddToFilter(c, USE_MPI_FLAG_DISTANCE, hidden);
    setAndAddToFilter(c, USE_MPI_FLAG_AVERAGE, hidden);
  }
  if (cal.psf == nullptr) setAndAddToFilter(c, USE_REMOVE_STRAY_LIGHT, hidden);
  setIn(c, FREQUENCY_1, static_cast<unsigned int>(cal.frequencies[0].modulationFrequency));
  if (cal.frequencyCount > 1) {
    setIn(c, FREQUENCY_2, static_cast<unsigned int>(cal.frequencies[1].modulationFrequency));
    setIn(c, NUM_FREQS, 2u);
  }

  const KelvoraStatus s = reconfigure(c);
  if (s.code != KelvoraStatus::SUCCESS) return s;

  const ImmutableField<Parameter> all = std::as_const(configuration_).getParameters();
  std::vector<const Parameter*> shown;
  for (const Parameter& p : all) {
    if (hidden.count(p.key()) == 0) shown.push_back(&p);
  }
  ArrayHolder<Parameter> list(static_cast<uint32_t>(shown.size()));
  for (uint32_t i = 0; i < list.size(); ++i) list[i] = *shown[i];
  configuration_ = Configuration(list);
  return KelvoraStatus{};
}

void Kelvora::setAndAddToFilter(Configuration& c, ParameterKey key,
                                std::set<ParameterKey>& hidden) {
  setIn(c, key, false);
  hidden.insert(key);
}

Configuration Kelvora::configuration() const {
  return configuration_;
}

ArrayHolder<unsigned char> Kelvora::persistentInitialization() const {
  return ArrayHolder<unsigned char>();
}

bool Kelvora::hasPersistentDataChanged() const {
  return false;
}

uint32_t Kelvora::getWidth() const {
  return parameters_.width;
}

uint32_t Kelvora::getHeight() const {
  return parameters_.height;
}

uint32_t Kelvora::pixelCount() const {
  return calibration_->calibrationROI[2] * calibration_->calibrationROI[3];
}

uint32_t Kelvora::requiredElements(ResultType type) const {
  return type == POINT_CLOUD ? 4 * pixelCount() : pixelCount();
}

IKelvora::~IKelvora() = default;

KelvoraStatus getKelvora(const AbstractField<unsigned char>& calibration, IKelvora** engine) {
  const std::vector<unsigned char> bytes(calibration.begin(), calibration.end());
  const std::pair<KelvoraStatus, Kelvora*> made = Kelvora::createKelvora(bytes, {});
  *engine = made.second;
  return made.first;
}

}  // namespace kelvora
