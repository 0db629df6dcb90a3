// Replaces the global allocation functions of this test program. Everything
// ends in malloc/free, so AddressSanitizer's leak checker still sees every
// block.
#include "AllocationProbe.hpp"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<int64_t> gAllocations{0};
std::atomic<int64_t> gReleases{0};
std::atomic<int64_t> gFailAt{-1};  // absolute allocation number that fails
std::atomic<bool> gTriggered{false};

void* allocate(std::size_t size) {
  const int64_t n = gAllocations.fetch_add(1);
  if (n == gFailAt.load()) {
    gTriggered = true;
    gAllocations.fetch_sub(1);
    throw std::bad_alloc();
  }
  void* p = std::malloc(size == 0 ? 1 : size);
  if (p == nullptr) {
    gAllocations.fetch_sub(1);
    throw std::bad_alloc();
  }
  return p;
}

void release(void* p) noexcept {
  if (p == nullptr) return;
  gReleases.fetch_add(1);
  std::free(p);
}

}  // namespace

void* operator new(std::size_t size) {
  return allocate(size);
}
void* operator new[](std::size_t size) {
  return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return allocate(size);
  } catch (...) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return allocate(size);
  } catch (...) {
    return nullptr;
  }
}
void operator delete(void* p) noexcept {
  release(p);
}
void operator delete[](void* p) noexcept {
  release(p);
}
void operator delete(void* p, std::size_t) noexcept {
  release(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  release(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
  release(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
  release(p);
}

namespace kelvora::testing {

AllocationProbe::AllocationProbe()
    : allocationsAtStart_(gAllocations.load()),
      outstandingAtStart_(gAllocations.load() - gReleases.load()) {}

int64_t AllocationProbe::allocations() const {
  return gAllocations.load() - allocationsAtStart_;
}

int64_t AllocationProbe::outstanding() const {
  return gAllocations.load() - gReleases.load() - outstandingAtStart_;
}

AllocationFailure::AllocationFailure(int64_t failAt) {
  gTriggered = false;
  gFailAt = gAllocations.load() + failAt;
}

AllocationFailure::~AllocationFailure() {
  gFailAt = -1;
}

bool AllocationFailure::triggered() const {
  return gTriggered.load();
}

}  // namespace kelvora::testing
