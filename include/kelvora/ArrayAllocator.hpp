#pragma once
/// \file
/// \brief The library's own array allocator.
///
/// Every array an owning container holds is obtained here and released
/// here, so memory allocated inside the library is always released by the
/// library, whatever allocator the caller links.
///
/// Instantiated inside the library for char, unsigned char, unsigned short,
/// int, unsigned int, float, Parameter and the configuration's redirection
/// variant; other element types do not link.
#include <cstdint>

#include "kelvora/Export.hpp"

namespace kelvora {

/// \brief Allocates count elements.
///
/// Arithmetic elements are left uninitialised; class elements are
/// default-constructed in ascending order, and a throwing constructor undoes
/// the ones already built.
/// \tparam T one of the element types listed for this file.
/// \param count element count.
/// \return the first element; release it with freeArray().
/// \throws std::bad_alloc when out of memory, also for a count whose byte
/// size cannot be represented.
template <class T>
KELVORA_API T* allocArray(uint32_t count);

/// \brief Releases an array from allocArray(); class elements are destroyed
/// in reverse order.
/// \tparam T the element type it was allocated with.
/// \param array the array, or null (then nothing happens).
template <class T>
KELVORA_API void freeArray(T* array);

}  // namespace kelvora
