#pragma once
// The library's own array allocator. Every array an owning container holds is
// obtained here and released here, so memory allocated inside the library is
// always released by the library, whatever allocator the caller links.
//
// Instantiated inside the library for char, unsigned char, unsigned short,
// int, unsigned int, float, Parameter and the configuration's redirection
// variant; other element types do not link.
#include <cstdint>

#include "kelvora/Export.hpp"

namespace kelvora {

// Arithmetic elements are left uninitialised; class elements are
// default-constructed in ascending order, and a throwing constructor undoes
// the ones already built. Out of memory (also a count whose byte size cannot be
// represented) throws std::bad_alloc.
template <class T>
KELVORA_API T* allocArray(uint32_t count);

// Accepts null. Class elements are destroyed in reverse order.
template <class T>
KELVORA_API void freeArray(T* array);

}  // namespace kelvora
