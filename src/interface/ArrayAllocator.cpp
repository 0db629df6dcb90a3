#include "kelvora/ArrayAllocator.hpp"

#include <cstddef>
#include <limits>
#include <new>

#include "interface/ElementTypes.hpp"
#include "kelvora/Parameter.hpp"

namespace kelvora {

template <class T>
T* allocArray(uint32_t count) {
  // On 32-bit targets count * sizeof(T) can exceed size_t; such a request can
  // never be met, so it fails like any other out-of-memory request.
  if (count > std::numeric_limits<std::size_t>::max() / sizeof(T))
    throw std::bad_array_new_length();
  // The array new-expression builds class elements in ascending order and,
  // should one constructor throw, destroys the finished ones in reverse order
  // and releases the block before the exception passes on.
  return new T[count];
}

template <class T>
void freeArray(T* array) {
  delete[] array;
}

#define KELVORA_INSTANTIATE_ALLOCATOR(T)           \
  template KELVORA_API T* allocArray<T>(uint32_t); \
  template KELVORA_API void freeArray<T>(T*);
KELVORA_FOR_EACH_ELEMENT_TYPE(KELVORA_INSTANTIATE_ALLOCATOR)
#undef KELVORA_INSTANTIATE_ALLOCATOR

}  // namespace kelvora
