#pragma once
/// @file
/// Conveniences for programs built on the engine interface (command-line
/// tools, language bindings, viewers): status codes and pixel flags in words,
/// the modulation frequencies and point-cloud mode an engine uses, and
/// parameters set by name or from text with the reason for a refusal.
///
/// Nothing here changes how an engine processes; every function only reads
/// an engine or edits a Configuration that the caller then hands to
/// IKelvora::reconfigure. No function throws, except that the standard
/// allocation exception passes through those that build strings or vectors.
#include <cstdint>
#include <string>
#include <vector>

#include "kelvora/Configuration.hpp"
#include "kelvora/Export.hpp"
#include "kelvora/IKelvora.hpp"
#include "kelvora/KelvoraStatus.hpp"
#include "kelvora/ParameterKey.hpp"
#include "kelvora/ParameterTypes.hpp"

namespace kelvora {

/// A status code in words. The strings are static and never null.
struct StatusText {
  /// Upper-case identifier, e.g. "CALIBRATION_ERROR" or "STREAM_TOO_SHORT";
  /// "UNKNOWN" for a code the library does not define.
  const char* name;
  /// What happened, as a lower-case sentence without a final full stop.
  const char* meaning;
  /// What the user can do about it, in the same style; empty when nothing is
  /// to be done.
  const char* remedy;
};

/// The front-end status code (KelvoraStatus::Code) in words, including what
/// its `detail` holds.
/// @param code a front-end status code
/// @return its name, meaning and remedy
KELVORA_API StatusText describeStatusCode(KelvoraStatus::Code code);

/// A core status code in words: the `detail` of CALIBRATION_ERROR, and the
/// codes of the calibration readers (0 for success, else 0x80000000 plus a
/// number, e.g. 0x80000004 STREAM_TOO_SHORT).
/// @param code a core status code
/// @return its name, meaning and remedy
KELVORA_API StatusText describeCoreStatus(uint32_t code);

/// A whole status as one line for a user: the code's meaning, its detail
/// interpreted (the core status by name, the parameter by name, the frame by
/// position) and what to do, e.g. "calibration error: the calibration data
/// ends before the record it announces is complete (STREAM_TOO_SHORT,
/// 0x80000004); the file is truncated: copy it again". "success" for
/// SUCCESS. No line end.
/// @param status what a front-end call returned
/// @return one line of text for a user
KELVORA_API std::string describeStatus(const KelvoraStatus& status);

/// Flag values that the processing stages OR into a pixel's flag word. Each
/// cause sets bit 0 (invalid) together with its own bit; image validation
/// (`useValidateImage`) replaces every non-zero word by exactly
/// PIXEL_INVALID. A pixel is valid exactly when its word is 0.
enum PixelFlag : uint32_t {
  PIXEL_INVALID = 0x01,              ///< invalid; alone only after image validation
  PIXEL_SATURATED = 0x03,            ///< a raw sample outside the saturation thresholds
  PIXEL_INCONSISTENT = 0x05,         ///< the four phase frames disagree (asymmetry)
  PIXEL_LOW_SIGNAL = 0x09,           ///< amplitude too low or distance noise too high
  PIXEL_FLYING = 0x11,               ///< depth differs from both neighbours on a line
  PIXEL_MASKED = 0x21,               ///< masked out by the calibration
  PIXEL_MULTIPATH_DISTANCE = 0x41,   ///< the two frequencies' distances disagree
  PIXEL_MULTIPATH_AMPLITUDE = 0x81,  ///< the two frequencies' amplitudes disagree
};

/// One cause of an invalid pixel in words.
struct FlagText {
  uint32_t value;       ///< the PixelFlag value, bit 0 included
  const char* name;     ///< upper-case identifier, e.g. "FLYING_PIXEL"
  const char* meaning;  ///< lower-case words, e.g. "flying pixel"
};

/// The seven causes, from PIXEL_SATURATED to PIXEL_MULTIPATH_AMPLITUDE in
/// bit order.
/// @return the causes in bit order
KELVORA_API std::vector<FlagText> flagCauses();

/// A flag word in words: "valid" for 0, "invalid" for exactly 1 (the cause
/// was cleared by image validation), otherwise the meanings of the cause
/// bits joined by ", " in bit order, followed by "unknown bits 0x..." for
/// bits no stage sets.
/// @param flags a pixel's flag word
/// @return the word in words
KELVORA_API std::string describeFlags(uint32_t flags);

/// The modulation frequencies (Hz) the engine processes, in the order of
/// the frame set's frequencies: `freq1`, then `freq2` when `numFreqs` is 2.
/// An engine whose calibration holds one frequency hides `numFreqs`; it then
/// processes `freq1` alone. Empty when `numFreqs` was set to 0 (only the grey
/// frame is processed).
/// @param engine the engine to ask
/// @return the frequencies in hertz, zero, one or two of them
KELVORA_API std::vector<uint32_t> modulationFrequencies(const IKelvora& engine);

/// True when the engine packs only the valid points into the point cloud
/// (`useSparsePointCloud`).
/// @param engine the engine to ask
/// @return true for a sparse cloud, false for a dense one
KELVORA_API bool isPointCloudSparse(const IKelvora& engine);

/// The number of points (four floats each) in the point cloud of the last
/// frame set, as the engine counted them: the number of valid pixels when
/// the cloud is sparse, width x height when it is dense, 0 before the first
/// frame set and for an engine not made by getKelvora.
/// @param engine the engine to ask
/// @return the number of points of the last frame set
KELVORA_API uint32_t pointCloudPointCount(const IKelvora& engine);

/// Why a parameter was not set.
enum class ParameterRefusal : uint32_t {
  NONE = 0,              ///< the value was set
  UNKNOWN_NAME,          ///< no parameter of the library has this name
  FIXED_BY_CALIBRATION,  ///< the engine's calibration decides it (the engine hides it)
  WRONG_TYPE,            ///< the value is not of the parameter's type (or the text not one)
  OUT_OF_BOUNDS,         ///< the value lies outside the parameter's bounds
};

/// The outcome of setting one parameter.
struct ParameterSetResult {
  ParameterRefusal refusal = ParameterRefusal::NONE;  ///< NONE when the value was set
  /// Why it was refused, one lower-case line naming the parameter and, for
  /// OUT_OF_BOUNDS, the bounds; empty when the value was set.
  std::string message;
  /// @return true when the value was set
  bool accepted() const { return refusal == ParameterRefusal::NONE; }
};

/// Sets the parameter called `name` in `configuration` to `value` when it is
/// of the parameter's type and within its bounds (both ends inclusive). On
/// refusal the configuration is unchanged. `freq2` counts as fixed by the
/// calibration when the configuration has no `numFreqs` (a calibration of
/// one frequency never uses it). The engine sees the change only through
/// IKelvora::reconfigure.
/// @param configuration the configuration to edit
/// @param name the parameter's name, e.g. "amplitudeThreshold"
/// @param value the new value, of the parameter's type
/// @return whether the value was set and, if not, why
KELVORA_API ParameterSetResult setParameterValue(Configuration& configuration,
                                                 const std::string& name,
                                                 const ParameterValue& value);

/// setParameterValue with the value parsed from text as the parameter's own
/// type: a decimal number for float parameters (a '.' as decimal point,
/// whatever the locale), a decimal integer for unsigned and int parameters,
/// and true/false, 1/0 or on/off for bool parameters. Text that is not a
/// value of that type is refused with WRONG_TYPE.
/// @param configuration the configuration to edit
/// @param name the parameter's name
/// @param text the new value as text
/// @return whether the value was set and, if not, why
KELVORA_API ParameterSetResult setParameterText(Configuration& configuration,
                                                const std::string& name, const std::string& text);

/// One parameter a configuration accepts, for listings and help texts.
struct ParameterInfo {
  std::string name;                          ///< e.g. "amplitudeThreshold"
  ParameterKey key = INVALID_PARAMETER_KEY;  ///< its identity
  std::string type;                          ///< "float", "unsigned", "bool" or "int"
  std::string value;                         ///< the current value as text
  std::string defaultValue;                  ///< the library's default as text
  bool hasBounds = false;                    ///< false: any value of the type is accepted
  std::string lowerBound;                    ///< inclusive; empty without bounds
  std::string upperBound;                    ///< inclusive; empty without bounds
  std::string description;                   ///< one sentence
};

/// Exactly the parameters that setParameterValue accepts for this
/// configuration, in key order. Pass IKelvora::configuration() for what an
/// engine accepts; a new engine's values are its defaults for its
/// calibration, which sets `freq1`, `freq2` and `numFreqs` itself.
/// @param configuration the configuration to list
/// @return one entry per accepted parameter, in key order
KELVORA_API std::vector<ParameterInfo> listParameters(const Configuration& configuration);

/// A parameter value as text, in the form setParameterText reads: "0.5",
/// "400", "true"; empty for an empty value.
/// @param value a parameter value
/// @return the value as text
KELVORA_API std::string parameterValueText(const ParameterValue& value);

}  // namespace kelvora
