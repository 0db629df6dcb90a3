// Reconfiguration: all or nothing from the caller's view. Parameters are
// applied, result proxies rebound, the scratch rebuilt when the modulation
// set-up changed; any failure re-applies the previous configuration.
#include <algorithm>
#include <array>
#include <cstdlib>

#include "engine/Kelvora.hpp"
#include "interface/PrintMessage.hpp"
#include "kelvora/ParameterImpl.hpp"

namespace kelvora {

namespace {

// Keys 24 to 26 must hold unsigned values; anything else is a broken
// registry, which ends the process without a message.
uint32_t unsignedValueOf(const Parameter& p) {
  const ParameterValue v = p.getValue();
  const unsigned int* u = v.getIf<1>();
  if (u == nullptr) {
    printMessage();
    std::abort();
  }
  return *u;
}

}  // namespace

bool Kelvora::needsReInit(const Configuration& c) const {
  const Parameter numFreqs = c.getParameterByKey(NUM_FREQS);
  const bool listsNumFreqs = numFreqs.isValid();
  const uint32_t freq1 = unsignedValueOf(c.getParameterByKey(FREQUENCY_1));
  const uint8_t currentFreqs = parameters_.numFreqs;
  if (listsNumFreqs) {
    const uint32_t freq2 = unsignedValueOf(c.getParameterByKey(FREQUENCY_2));
    const uint32_t wanted = unsignedValueOf(numFreqs);
    return freq1 != parameters_.freq1 || freq2 != parameters_.freq2 || wanted != currentFreqs;
  }
  return freq1 != parameters_.freq1 || currentFreqs != 1;
}

template <ResultType RT, class T>
bool Kelvora::updateResultProxy(const Configuration& c, ResultProxy<T>& proxy) {
  const Configuration::OutputRedirector<RT> r = c.getOutputRedirection<RT>();
  const uint32_t n = requiredElements(RT);
  if (r.hasRedirection()) {
    const ArrayReference<T> target = r.target();
    if (target.size() < n) return false;
    proxy.replaceTarget(details::callCopyCtor(target));
  } else if (proxy.redirected && !proxy.restoreRetired()) {
    proxy.replaceTarget(new ArrayHolder<T>(n));
  }
  proxy.redirected = r.hasRedirection();
  proxy.bind(output_, proxy.target->data());
  return true;
}

void Kelvora::releaseRetiredBuffers() {
  amplitude_.releaseRetired();
  pointCloud_.releaseRetired();
  noise_.releaseRetired();
  flags_.releaseRetired();
  intensity_.releaseRetired();
  distance_.releaseRetired();
}

KelvoraStatus Kelvora::reconfigure(const Configuration& c) {
  const KelvoraStatus s = reconfigureImpl(c, false);
  // Settled either way: buffers a rollback did not take back are not needed.
  releaseRetiredBuffers();
  return s;
}

KelvoraStatus Kelvora::reconfigureImpl(const Configuration& c, bool isRollback) {
  const bool reinit = isRollback ? false : needsReInit(c);

  const ImmutableField<Parameter> list = c.getParameters();
  for (const Parameter& p : list) p.impl()->apply(parameters_);

  const bool bound = updateResultProxy<AMPLITUDE>(c, amplitude_) &&
                     updateResultProxy<POINT_CLOUD>(c, pointCloud_) &&
                     updateResultProxy<NOISE>(c, noise_) && updateResultProxy<FLAGS>(c, flags_) &&
                     updateResultProxy<INTENSITY>(c, intensity_) &&
                     updateResultProxy<DISTANCE>(c, distance_);
  if (!bound) {
    if (isRollback) {
      abortWithMessage(
          "Could not update output targets, and rollback failed afterwards. No valid "
          "configuration could be recovered!\n");
    }
    reconfigureImpl(configuration_, true);
    return KelvoraStatus{KelvoraStatus::OUTPUT_TARGET_TOO_SMALL, 0};
  }

  if (reinit) {
    // The core puts the calibration's frequency records in the new order as
    // it searches, before it knows whether every frequency is there. The old
    // scratch, which stays in use after a refusal, reads them in the old
    // order, so a refusal must put them back.
    KelvoraCalibrationFrequency* records = calibration_->frequencies;
    std::array<KelvoraCalibrationFrequency, kCalibrationFrequencyCapacity> order;
    std::copy(records, records + order.size(), order.begin());
    KelvoraIntermediate* fresh = nullptr;
    const int32_t result = kelvoraTavelInit(&parameters_, calibration_.get(), &fresh);
    if (result != 0) {
      std::copy(order.begin(), order.end(), records);
      kelvoraTavelFree(fresh);
      reconfigureImpl(configuration_, true);
      return KelvoraStatus{KelvoraStatus::INITIALIZATION_FAILED, static_cast<uint32_t>(result)};
    }
    intermediate_.reset(fresh);
  }

  if (&c != &configuration_) configuration_ = c;
  return KelvoraStatus{};
}

}  // namespace kelvora
