#pragma once
// The engine: made from a calibration blob by getKelvora, it turns frame sets
// into depth results. One engine must be used by one thread at a time;
// separate engines are independent.
#include <cstdint>

#include "kelvora/CalibrationField.hpp"
#include "kelvora/Configuration.hpp"
#include "kelvora/Export.hpp"
#include "kelvora/Field.hpp"
#include "kelvora/Input.hpp"
#include "kelvora/KelvoraStatus.hpp"
#include "kelvora/ParameterKey.hpp"
#include "kelvora/ResultType.hpp"

namespace kelvora {

class KELVORA_API IKelvora {
 public:
  // A deep copy of the current configuration.
  virtual Configuration configuration() const = 0;
  // Makes c current, all or nothing: on failure the previous configuration
  // is in force again.
  virtual KelvoraStatus reconfigure(const Configuration& c) = 0;
  // Per frame set: processIntensity, processModFrames<FREQUENCY_1> (and
  // <FREQUENCY_2> with two frequencies), combineResults; or processWhole.
  virtual KelvoraStatus processIntensity(const Input<ArrayHolder, 2>& input) = 0;
  virtual KelvoraStatus combineResults() = 0;
  virtual KelvoraStatus processWhole(const Input<ArrayHolder, 2>& input) = 0;
  virtual KelvoraStatus processIntensity(const Input<ArrayReference, 2>& input) = 0;
  virtual KelvoraStatus processWhole(const Input<ArrayReference, 2>& input) = 0;
  // Fixed answers of this engine (empty, false), kept for engines that carry
  // state from one run to the next.
  virtual ArrayHolder<unsigned char> persistentInitialization() const = 0;
  virtual bool hasPersistentDataChanged() const = 0;
  // Columns and rows of the calibration's region of interest.
  virtual uint32_t getWidth() const = 0;
  virtual uint32_t getHeight() const = 0;
  virtual ~IKelvora();

  // Copies a calibration field; CUSTOM takes its identifier in customId.
  template <CalibrationField CF>
  KelvoraStatus copyCalibrationField(
      ArrayHolder<typename details::field_types<CF>::value_type>& out, int customId = 0) const {
    return copyCalibrationFieldImpl(CF, out, customId);
  }

  template <ParameterKey K>
  KelvoraStatus processModFrames(const Input<ArrayHolder, 2>& input) {
    static_assert(K == FREQUENCY_1 || K == FREQUENCY_2, "only FREQUENCY_1 or FREQUENCY_2");
    return processModFramesImpl(input, K);
  }
  template <ParameterKey K>
  KelvoraStatus processModFrames(const Input<ArrayReference, 2>& input) {
    static_assert(K == FREQUENCY_1 || K == FREQUENCY_2, "only FREQUENCY_1 or FREQUENCY_2");
    return processModFramesImpl(input, K);
  }

  // An independent copy of an engine-owned result, or another reference when
  // the result is redirected into caller memory; the exposure proposals are
  // always a reference.
  template <ResultType RT>
  ImmutableField<typename details::result_types<RT>::value_type> results() const {
    ImmutableField<typename details::result_types<RT>::value_type> field;
    resultsImpl(RT, field);
    return field;
  }
  // A view of the result's current memory, valid until the next processing
  // call or reconfiguration.
  template <ResultType RT>
  ArrayReference<typename details::result_types<RT>::value_type> results() {
    ArrayReference<typename details::result_types<RT>::value_type> reference;
    resultsImpl(RT, reference);
    return reference;
  }

  // The operations the templates above forward to.
  virtual KelvoraStatus copyCalibrationFieldImpl(CalibrationField field,
                                                 ArrayHolder<unsigned int>& out,
                                                 int customId) const = 0;
  virtual KelvoraStatus copyCalibrationFieldImpl(CalibrationField field,
                                                 ArrayHolder<unsigned short>& out,
                                                 int customId) const = 0;
  virtual KelvoraStatus copyCalibrationFieldImpl(CalibrationField field,
                                                 ArrayHolder<unsigned char>& out,
                                                 int customId) const = 0;
  virtual KelvoraStatus copyCalibrationFieldImpl(CalibrationField field, ArrayHolder<float>& out,
                                                 int customId) const = 0;
  virtual KelvoraStatus copyCalibrationFieldImpl(CalibrationField field, ArrayHolder<char>& out,
                                                 int customId) const = 0;
  virtual void resultsImpl(ResultType type, ArrayReference<unsigned int>& out) = 0;
  virtual void resultsImpl(ResultType type, ArrayReference<float>& out) = 0;
  virtual void resultsImpl(ResultType type, ImmutableField<unsigned int>& out) const = 0;
  virtual void resultsImpl(ResultType type, ImmutableField<float>& out) const = 0;
  virtual KelvoraStatus processModFramesImpl(const Input<ArrayReference, 2>& input,
                                             ParameterKey frequency) = 0;
  virtual KelvoraStatus processModFramesImpl(const Input<ArrayHolder, 2>& input,
                                             ParameterKey frequency) = 0;
};

// Builds an engine from calibration bytes (any supported format). On success
// *engine is the caller's, to be deleted; on failure it is null and the
// status says why (CALIBRATION_ERROR with the reader's code, or
// INITIALIZATION_FAILED).
KELVORA_API KelvoraStatus getKelvora(const AbstractField<unsigned char>& calibration,
                                     IKelvora** engine);

// "3.0.0.0" and "no-git-description-available".
KELVORA_API const char* getVersion();
KELVORA_API const char* getGitDescription();

}  // namespace kelvora

extern "C" {
KELVORA_API const char* kelvora_getVersion();
KELVORA_API const char* kelvora_getGitDescription();
}
