#pragma once
// The engine behind IKelvora: owns the parsed calibration, the core's
// records and scratch, the current configuration and one result proxy per
// redirectable result kind.
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "base/KelvoraInput.hpp"
#include "base/KelvoraIntermediate.hpp"
#include "base/KelvoraOutput.hpp"
#include "base/KelvoraParameter.hpp"
#include "calibration/CalibrationRecord.hpp"
#include "engine/ResultProxy.hpp"
#include "kelvora/IKelvora.hpp"

namespace kelvora {

class Kelvora : public IKelvora {
 public:
  Kelvora(const std::vector<unsigned char>& calibration,
          const std::vector<unsigned char>& persistent);
  ~Kelvora() override;

  // The status and, on success, the new engine (null on failure).
  static std::pair<KelvoraStatus, Kelvora*> createKelvora(
      const std::vector<unsigned char>& calibration, const std::vector<unsigned char>& persistent);

  Configuration configuration() const override;
  KelvoraStatus reconfigure(const Configuration& c) override;
  KelvoraStatus processIntensity(const Input<ArrayHolder, 2>& input) override;
  KelvoraStatus combineResults() override;
  KelvoraStatus processWhole(const Input<ArrayHolder, 2>& input) override;
  KelvoraStatus processIntensity(const Input<ArrayReference, 2>& input) override;
  KelvoraStatus processWhole(const Input<ArrayReference, 2>& input) override;
  ArrayHolder<unsigned char> persistentInitialization() const override;
  bool hasPersistentDataChanged() const override;
  uint32_t getWidth() const override;
  uint32_t getHeight() const override;

  KelvoraStatus copyCalibrationFieldImpl(CalibrationField field, ArrayHolder<unsigned int>& out,
                                         int customId) const override;
  KelvoraStatus copyCalibrationFieldImpl(CalibrationField field, ArrayHolder<unsigned short>& out,
                                         int customId) const override;
  KelvoraStatus copyCalibrationFieldImpl(CalibrationField field, ArrayHolder<unsigned char>& out,
                                         int customId) const override;
  KelvoraStatus copyCalibrationFieldImpl(CalibrationField field, ArrayHolder<float>& out,
                                         int customId) const override;
  KelvoraStatus copyCalibrationFieldImpl(CalibrationField field, ArrayHolder<char>& out,
                                         int customId) const override;
  void resultsImpl(ResultType type, ArrayReference<unsigned int>& out) override;
  void resultsImpl(ResultType type, ArrayReference<float>& out) override;
  void resultsImpl(ResultType type, ImmutableField<unsigned int>& out) const override;
  void resultsImpl(ResultType type, ImmutableField<float>& out) const override;
  KelvoraStatus processModFramesImpl(const Input<ArrayReference, 2>& input,
                                     ParameterKey frequency) override;
  KelvoraStatus processModFramesImpl(const Input<ArrayHolder, 2>& input,
                                     ParameterKey frequency) override;

  // Fits the default configuration to the calibration, applies it and hides
  // the parameters the calibration decides.
  KelvoraStatus initConfiguration();
  KelvoraStatus reconfigureImpl(const Configuration& c, bool isRollback);
  bool needsReInit(const Configuration& c) const;
  template <ResultType RT, class T>
  bool updateResultProxy(const Configuration& c, ResultProxy<T>& proxy);
  static void setAndAddToFilter(Configuration& c, ParameterKey key, std::set<ParameterKey>& hidden);

  // The core's records, for the library's own tools and tests.
  const KelvoraCalibration* calibration() const { return calibration_.get(); }
  const KelvoraParameter& coreParameters() const { return parameters_; }
  const KelvoraIntermediate* intermediate() const { return intermediate_.get(); }
  // Floats the point-cloud stage wrote for the last frame set, four per point.
  uint32_t pointCloudSize() const { return output_.pointCloudSize; }

 private:
  // True when frequency `index` reaches the core (the scratch has its probe).
  bool processesFrequency(uint32_t index) const;
  // The grey frame and the phase frames of every frequency processWhole hands
  // to the core: the first one missing or short, or SUCCESS.
  template <template <class> class Container>
  KelvoraStatus checkFrameSet(const Input<Container, 2>& input) const;
  template <template <class> class Container>
  KelvoraStatus processIntensityFrom(const Input<Container, 2>& input);
  template <template <class> class Container>
  KelvoraStatus processWholeFrom(const Input<Container, 2>& input);
  template <template <class> class Container>
  KelvoraStatus processModFramesFrom(const Input<Container, 2>& input, ParameterKey frequency);
  template <class T>
  KelvoraStatus copyCalibrationFieldAs(CalibrationField field, ArrayHolder<T>& out,
                                       int customId) const;
  uint32_t pixelCount() const;
  // Frees the engine buffers that redirections replaced during a
  // reconfiguration, once it has succeeded or been rolled back.
  void releaseRetiredBuffers();
  // The proxy of a float result kind; aborts for any other kind.
  const ResultProxy<float>* floatProxy(ResultType type) const;
  uint32_t requiredElements(ResultType type) const;

  using CalibrationOwner = std::unique_ptr<KelvoraCalibration, void (*)(KelvoraCalibration*)>;
  using IntermediateOwner = std::unique_ptr<KelvoraIntermediate, void (*)(KelvoraIntermediate*)>;

  KelvoraInput input_{};
  CalibrationOwner calibration_;
  IntermediateOwner intermediate_;
  KelvoraParameter parameters_{};
  KelvoraOutput output_{};
  Configuration configuration_;
  std::vector<unsigned char> calibrationData_;
  std::vector<unsigned char> persistentData_;
  ResultProxy<unsigned int> flags_;
  ResultProxy<float> pointCloud_;
  ResultProxy<float> noise_;
  ResultProxy<float> amplitude_;
  ResultProxy<float> intensity_;
  ResultProxy<float> distance_;
};

}  // namespace kelvora
