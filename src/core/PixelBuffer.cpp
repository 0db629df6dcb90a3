#include "core/PixelBuffer.hpp"

#include <cstdlib>
#include <cstring>
#include <new>

#include "simd/Simd.hpp"

namespace kelvora {

namespace {
constexpr std::size_t kBufferAlignment = 64;  // one cache line
}

void* allocPixelBytes(std::size_t elementSize, uint32_t count) {
  const std::size_t bytes = elementSize * simd::roundUpToLanes(count);
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
