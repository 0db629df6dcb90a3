#pragma once
/// \file
/// \brief A keyed, named, typed and optionally bounded processing setting.
#include <cstdint>
#include <iosfwd>

#include "kelvora/Export.hpp"
#include "kelvora/ParameterKey.hpp"
#include "kelvora/ParameterTypes.hpp"

namespace kelvora {

struct ParameterImpl;

/// \brief A keyed, named, typed and optionally bounded processing setting.
///
/// A host gets parameters from an engine's Configuration, changes a copy
/// with setValue(), puts it back with Configuration::setParameter() and
/// hands the configuration to IKelvora::reconfigure(). ParameterKey lists
/// every parameter with its type, default and bounds. Copies are deep.
class KELVORA_API Parameter {
 public:
  /// An invalid parameter: empty strings, empty variants, key 0.
  Parameter();
  /// \brief A parameter with the given implementation.
  /// \param impl the implementation; ownership passes to the parameter, so
  ///   it must come from new.
  explicit Parameter(ParameterImpl* impl) noexcept;
  /// \brief A deep copy.
  /// \param other the parameter to copy.
  Parameter(const Parameter& other);
  /// \brief Takes other's implementation; other must not be used afterwards
  /// except for assignment or destruction.
  /// \param other the parameter to move from.
  Parameter(Parameter&& other) noexcept;
  /// \brief Becomes a deep copy of other.
  /// \param other the parameter to copy.
  /// \return this parameter.
  Parameter& operator=(const Parameter& other);
  /// \brief Takes other's implementation.
  /// \param other the parameter to move from.
  /// \return this parameter.
  Parameter& operator=(Parameter&& other) noexcept;
  /// Releases the implementation.
  ~Parameter();

  /// \brief Short identifier, e.g. "amplitudeThreshold".
  /// \return a NUL-terminated string owned by the parameter.
  const char* name() const;
  /// \brief One-sentence help text.
  /// \return a NUL-terminated string owned by the parameter.
  const char* description() const;
  /// \brief The parameter's identity.
  /// \return the key.
  ParameterKey key() const;
  /// \brief The value's type.
  /// \return the value's alternative index: 0 float, 1 unsigned int, 2 bool,
  ///   3 int, ParameterValue::kEmpty when empty.
  uint32_t type() const;
  /// \brief The current value.
  /// \return a copy of the value.
  ParameterValue getValue() const;
  /// \brief The lower bound.
  /// \return a copy of the bound, empty when the parameter has none.
  ParameterValue lowerBound() const;
  /// \brief The upper bound.
  /// \return a copy of the bound, empty when the parameter has none.
  ParameterValue upperBound() const;
  /// \brief Whether values are checked against bounds.
  /// \return true when the upper bound holds a value; a lone lower bound
  ///   does not count.
  bool hasBounds() const;
  /// \brief Whether this is a real parameter.
  /// \return false for key 0 and for PARAMETER_KEY_COUNT (what a failed
  ///   lookup returns).
  bool isValid() const;

  /// \brief Sets the value if it has the value's type and lies within the
  /// bounds (both ends inclusive).
  ///
  /// A value outside the bounds is not an error: the call answers false and
  /// keeps the old value. NaN never lies within bounds; the terminal bool
  /// alternative is never accepted by a bounded parameter.
  /// \param v the new value, e.g. ParameterValue(0.8f).
  /// \return true when stored.
  bool setValue(const ParameterValue& v);

  /// \brief The implementation, for the library's own use.
  /// \return the implementation; null only after the parameter was moved
  ///   from.
  ParameterImpl* impl() { return impl_; }
  /// \brief The implementation, read-only, for the library's own use.
  /// \return the implementation; null only after the parameter was moved
  ///   from.
  const ParameterImpl* impl() const { return impl_; }

 private:
  const ParameterImpl& view() const;

  ParameterImpl* impl_;
};

/// \brief Prints "Invalid parameter!", or "name: value" followed by
/// " Bounds: [lower, upper]" when bounded; no line end.
/// \param os the stream.
/// \param p the parameter.
/// \return os.
KELVORA_API std::ostream& operator<<(std::ostream& os, const Parameter& p);

}  // namespace kelvora
