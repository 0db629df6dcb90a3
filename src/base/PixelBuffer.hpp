#pragma once
// Per-pixel scratch buffers: zero-filled, 64-byte aligned and padded to whole
// vectors, so every 4-lane kernel may touch the last group of a row set without
// a bounds test.
#include <cstddef>
#include <cstdint>

namespace kelvora {

void* allocPixelBytes(std::size_t elementSize, uint32_t count);
void freePixelBuffer(void* buffer);

template <class T>
T* allocPixels(uint32_t count) {
  return static_cast<T*>(allocPixelBytes(sizeof(T), count));
}

}  // namespace kelvora
