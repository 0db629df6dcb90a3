#include "base/PixelBuffer.hpp"

#include <cstdlib>
#include <cstring>
#include <new>

namespace kelvora {

namespace {
constexpr std::size_t kBufferAlignment = 64;  // one cache line
// Whole groups of four, the narrowest vector the per-pixel kernels use.
constexpr uint32_t kPixelGroup = 4;
}  // namespace

void* allocPixelBytes(std::size_t elementSize, uint32_t count) {
  const std::size_t bytes = elementSize * ((count + kPixelGroup - 1) / kPixelGroup * kPixelGroup);
  void* p = nullptr;
  if (posix_memalign(&p, kBufferAlignment, bytes == 0 ? kBufferAlignment : bytes) != 0) {
    throw std::bad_alloc();
  }
  std::memset(p, 0, bytes);
  return p;
}

void freePixelBuffer(void* buffer) {
  std::free(buffer);
}

}  // namespace kelvora
