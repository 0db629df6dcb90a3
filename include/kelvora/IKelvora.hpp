#pragma once
/// \file
/// \brief The engine interface IKelvora, its factory getKelvora() and the
/// version functions.
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

/// \brief The engine: made from a calibration blob by getKelvora(), it turns
/// frame sets into depth results.
///
/// Per frame set call processWhole(), or the steps one by one:
/// processIntensity(), processModFrames<FREQUENCY_1>() (and
/// processModFrames<FREQUENCY_2>() with two frequencies), combineResults().
/// Then read the results with results(), or find them already written into
/// the arrays a redirection named (Configuration::setOutputRedirection()).
/// Processing allocates nothing.
///
/// Threads: the engine starts none and takes no locks. One engine must be
/// used by one thread at a time; separate engines may run on separate
/// threads, except that the first getKelvora() of the process must not
/// overlap another one (docs/CONVENTIONS.md).
///
/// The caller owns the engine and deletes it through the virtual
/// destructor.
class KELVORA_API IKelvora {
 public:
  /// \brief The current configuration.
  /// \return a deep copy; changing it changes nothing until reconfigure().
  virtual Configuration configuration() const = 0;
  /// \brief Makes c the engine's configuration, all or nothing.
  ///
  /// Changing the number of frequencies or a modulation frequency rebuilds
  /// the processing buffers; other changes only take the new values. Must
  /// not overlap a processing call on the same engine: result buffers may
  /// be replaced, so views from results() are invalid afterwards.
  /// \param c the configuration, usually an edited copy of configuration().
  /// \return SUCCESS; OUTPUT_TARGET_TOO_SMALL or INITIALIZATION_FAILED with
  ///   the previous configuration in force again.
  virtual KelvoraStatus reconfigure(const Configuration& c) = 0;
  /// \brief First step of a frame set: resets the flags from the
  /// calibration mask and turns the grey frame into INTENSITY.
  ///
  /// A grey frame that is null or holds fewer than getWidth() x getHeight()
  /// samples is refused before anything is read, and the previous results
  /// stay as they were.
  /// \param input the frame set; only the grey frame and its exposure are
  ///   read.
  /// \return SUCCESS, or INVALID_INPUT with detail 0.
  virtual KelvoraStatus processIntensity(const Input<ArrayHolder, 2>& input) = 0;
  /// \brief Last step of a frame set: combines the frequencies into
  /// DISTANCE and NOISE, runs the filters and validity tests, and fills the
  /// point cloud, flags, amplitude and exposure proposals.
  /// \return SUCCESS.
  virtual KelvoraStatus combineResults() = 0;
  /// \brief A whole frame set: processIntensity(), processModFrames() for
  /// each configured frequency, combineResults().
  ///
  /// Every frame the configuration needs (the grey frame and four phase
  /// frames per configured frequency) must hold getWidth() x getHeight()
  /// samples; otherwise the frame set is refused before anything is read,
  /// and the previous results stay as they were.
  /// \param input the frame set.
  /// \return SUCCESS, or INVALID_INPUT naming the first missing or short
  ///   frame (detail 0 grey frame, 1 + 4 x f + k phase frame k of
  ///   frequency f).
  virtual KelvoraStatus processWhole(const Input<ArrayHolder, 2>& input) = 0;
  /// \brief processIntensity() on frames the caller owns (no copy).
  /// \param input the frame set; only the grey frame and its exposure are
  ///   read.
  /// \return SUCCESS, or INVALID_INPUT with detail 0.
  virtual KelvoraStatus processIntensity(const Input<ArrayReference, 2>& input) = 0;
  /// \brief processWhole() on frames the caller owns (no copy).
  /// \param input the frame set.
  /// \return SUCCESS, or INVALID_INPUT as for the owning form.
  virtual KelvoraStatus processWhole(const Input<ArrayReference, 2>& input) = 0;
  /// \brief State to carry into the next run; this engine has none.
  /// \return an empty array.
  virtual ArrayHolder<unsigned char> persistentInitialization() const = 0;
  /// \brief Whether persistentInitialization() changed; never for this
  /// engine.
  /// \return false.
  virtual bool hasPersistentDataChanged() const = 0;
  /// \brief Image width.
  /// \return columns of the calibration's region of interest.
  virtual uint32_t getWidth() const = 0;
  /// \brief Image height.
  /// \return rows of the calibration's region of interest.
  virtual uint32_t getHeight() const = 0;
  /// Releases everything the engine owns; redirection targets stay the
  /// caller's.
  virtual ~IKelvora();

  /// \brief Copies a calibration field out of the engine.
  /// \tparam CF the field; its element type fixes the holder's.
  /// \param out receives the field's elements; unchanged when the field is
  ///   absent or empty.
  /// \param customId the field identifier when CF is CUSTOM; ignored
  ///   otherwise.
  /// \return SUCCESS, or CALIBRATION_ERROR with the core's field code.
  template <CalibrationField CF>
  KelvoraStatus copyCalibrationField(
      ArrayHolder<typename details::field_types<CF>::value_type>& out, int customId = 0) const {
    return copyCalibrationFieldImpl(CF, out, customId);
  }

  /// \brief Second step of a frame set, for one modulation frequency: turns
  /// its four phase frames into phase, amplitude, noise and distance.
  ///
  /// Call it after processIntensity() and before combineResults(). Phase
  /// frames that are null or hold fewer than getWidth() x getHeight()
  /// samples are refused before anything is read, and the previous results
  /// stay as they were. A frequency the engine is not configured for (the
  /// second one of a one-frequency engine) is not read or processed.
  /// \tparam K FREQUENCY_1 or FREQUENCY_2 (other keys do not compile).
  /// \param input the frame set; only that frequency's frames, exposure
  ///   and the temperature are read.
  /// \return SUCCESS, or INVALID_INPUT naming the first missing or short
  ///   frame (1 + 4 x f + k for phase frame k of frequency f).
  template <ParameterKey K>
  KelvoraStatus processModFrames(const Input<ArrayHolder, 2>& input) {
    static_assert(K == FREQUENCY_1 || K == FREQUENCY_2, "only FREQUENCY_1 or FREQUENCY_2");
    return processModFramesImpl(input, K);
  }
  /// \brief processModFrames() on frames the caller owns (no copy).
  /// \tparam K FREQUENCY_1 or FREQUENCY_2 (other keys do not compile).
  /// \param input the frame set; only that frequency's frames, exposure
  ///   and the temperature are read.
  /// \return SUCCESS, or INVALID_INPUT as for the owning form.
  template <ParameterKey K>
  KelvoraStatus processModFrames(const Input<ArrayReference, 2>& input) {
    static_assert(K == FREQUENCY_1 || K == FREQUENCY_2, "only FREQUENCY_1 or FREQUENCY_2");
    return processModFramesImpl(input, K);
  }

  /// \brief A result the caller may keep.
  /// \tparam RT the result kind.
  /// \return an independent copy of an engine-owned result; another
  ///   reference (no copy) when the result is redirected into caller memory;
  ///   for EXPOSURE_PROPOSALS always a reference into the engine, valid
  ///   while the engine lives.
  template <ResultType RT>
  ImmutableField<typename details::result_types<RT>::value_type> results() const {
    ImmutableField<typename details::result_types<RT>::value_type> field;
    resultsImpl(RT, field);
    return field;
  }
  /// \brief A view of the result's current memory, no copy.
  /// \tparam RT the result kind.
  /// \return the engine's buffer or the redirection target, with the
  ///   result's element count; its contents change with the next frame set
  ///   and it is invalid after reconfigure() or the engine's deletion.
  template <ResultType RT>
  ArrayReference<typename details::result_types<RT>::value_type> results() {
    ArrayReference<typename details::result_types<RT>::value_type> reference;
    resultsImpl(RT, reference);
    return reference;
  }

  /// \brief What copyCalibrationField() forwards to, for unsigned int
  /// fields.
  /// \param field the field; CUSTOM takes its identifier from customId.
  /// \param out receives the field's elements.
  /// \param customId the field identifier for CUSTOM.
  /// \return SUCCESS, or CALIBRATION_ERROR with the core's field code.
  virtual KelvoraStatus copyCalibrationFieldImpl(CalibrationField field,
                                                 ArrayHolder<unsigned int>& out,
                                                 int customId) const = 0;
  /// \brief What copyCalibrationField() forwards to, for unsigned short
  /// fields.
  /// \param field the field; CUSTOM takes its identifier from customId.
  /// \param out receives the field's elements.
  /// \param customId the field identifier for CUSTOM.
  /// \return SUCCESS, or CALIBRATION_ERROR with the core's field code.
  virtual KelvoraStatus copyCalibrationFieldImpl(CalibrationField field,
                                                 ArrayHolder<unsigned short>& out,
                                                 int customId) const = 0;
  /// \brief What copyCalibrationField() forwards to, for byte fields.
  /// \param field the field; CUSTOM takes its identifier from customId.
  /// \param out receives the field's elements.
  /// \param customId the field identifier for CUSTOM.
  /// \return SUCCESS, or CALIBRATION_ERROR with the core's field code.
  virtual KelvoraStatus copyCalibrationFieldImpl(CalibrationField field,
                                                 ArrayHolder<unsigned char>& out,
                                                 int customId) const = 0;
  /// \brief What copyCalibrationField() forwards to, for float fields.
  /// \param field the field; CUSTOM takes its identifier from customId.
  /// \param out receives the field's elements.
  /// \param customId the field identifier for CUSTOM.
  /// \return SUCCESS, or CALIBRATION_ERROR with the core's field code.
  virtual KelvoraStatus copyCalibrationFieldImpl(CalibrationField field, ArrayHolder<float>& out,
                                                 int customId) const = 0;
  /// \brief What copyCalibrationField() forwards to, for text fields.
  /// \param field the field; CUSTOM takes its identifier from customId.
  /// \param out receives the field's characters.
  /// \param customId the field identifier for CUSTOM.
  /// \return SUCCESS, or CALIBRATION_ERROR with the core's field code.
  virtual KelvoraStatus copyCalibrationFieldImpl(CalibrationField field, ArrayHolder<char>& out,
                                                 int customId) const = 0;
  /// \brief What results() forwards to for FLAGS and EXPOSURE_PROPOSALS;
  /// any other kind aborts the process.
  /// \param type the result kind.
  /// \param out set to a view of the result.
  virtual void resultsImpl(ResultType type, ArrayReference<unsigned int>& out) = 0;
  /// \brief What results() forwards to for the float kinds; any other kind
  /// aborts the process.
  /// \param type the result kind.
  /// \param out set to a view of the result.
  virtual void resultsImpl(ResultType type, ArrayReference<float>& out) = 0;
  /// \brief What results() const forwards to for FLAGS and
  /// EXPOSURE_PROPOSALS; any other kind aborts the process.
  /// \param type the result kind.
  /// \param out set to a copy or reference as results() const describes.
  virtual void resultsImpl(ResultType type, ImmutableField<unsigned int>& out) const = 0;
  /// \brief What results() const forwards to for the float kinds; any other
  /// kind aborts the process.
  /// \param type the result kind.
  /// \param out set to a copy or reference as results() const describes.
  virtual void resultsImpl(ResultType type, ImmutableField<float>& out) const = 0;
  /// \brief What processModFrames() forwards to; a key other than
  /// FREQUENCY_1 or FREQUENCY_2 aborts the process.
  /// \param input the frame set.
  /// \param frequency FREQUENCY_1 or FREQUENCY_2.
  /// \return SUCCESS, or INVALID_INPUT as processModFrames() describes.
  virtual KelvoraStatus processModFramesImpl(const Input<ArrayReference, 2>& input,
                                             ParameterKey frequency) = 0;
  /// \brief What processModFrames() forwards to; a key other than
  /// FREQUENCY_1 or FREQUENCY_2 aborts the process.
  /// \param input the frame set.
  /// \param frequency FREQUENCY_1 or FREQUENCY_2.
  /// \return SUCCESS, or INVALID_INPUT as processModFrames() describes.
  virtual KelvoraStatus processModFramesImpl(const Input<ArrayHolder, 2>& input,
                                             ParameterKey frequency) = 0;
};

/// \brief Builds an engine from calibration bytes in any supported format
/// (the container format, magic "ZYNSCL", or the legacy 224 x 172 layout).
///
/// The configuration starts from every parameter's default, fitted to the
/// calibration (its frequencies; parameters it rules out are off and
/// hidden). Reading a calibration prints progress lines on standard output;
/// a legacy calibration is also written out as raw files into
/// calibrationSaveDir (CalibrationSaveDir.hpp) when that is set. The first
/// call of the process sets up the format readers and must not overlap
/// another call.
/// \param calibration the calibration blob; copied, so it may be released
///   after the call.
/// \param engine receives the new engine on success, the caller's to
///   delete; null on failure.
/// \return SUCCESS; CALIBRATION_ERROR with the reader's code as detail; or
///   INITIALIZATION_FAILED with the core's code.
KELVORA_API KelvoraStatus getKelvora(const AbstractField<unsigned char>& calibration,
                                     IKelvora** engine);

/// \brief The library's version.
/// \return "3.0.0.0", a static string.
KELVORA_API const char* getVersion();
/// \brief The source revision the library was built from.
/// \return a static string, "no-git-description-available" when unknown.
KELVORA_API const char* getGitDescription();

}  // namespace kelvora

extern "C" {
/// \brief getVersion() for C callers and symbol lookup.
/// \return "3.0.0.0", a static string.
KELVORA_API const char* kelvora_getVersion();
/// \brief getGitDescription() for C callers and symbol lookup.
/// \return a static string, "no-git-description-available" when unknown.
KELVORA_API const char* kelvora_getGitDescription();
}
