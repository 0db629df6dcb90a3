// Everything ends in malloc/free, so AddressSanitizer's leak checker still
// sees every block.
#include "AllocationProbe.hpp"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<int64_t> gAllocations{0};
std::atomic<int64_t> gReleases{0};
std::atomic<int64_t> gFailAt{-1};  // absolute number of the allocation that fails
std::atomic<bool> gFailed{false};

void* allocate(std::size_t size) {
  const int64_t n = gAllocations.fetch_add(1);
  if (n == gFailAt.load()) gFailed = true;
  void* p = n == gFailAt.load() ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (p == nullptr) {
    gAllocations.fetch_sub(1);
    throw std::bad_alloc();
  }
  return p;
}

void release(void* p) noexcept {
  if (p != nullptr) gReleases.fetch_add(1);
  std::free(p);
}

}  // namespace

// Every form, so that no block comes from another allocator (the sanitizers
// bring their own and report a mismatched pair).
void* operator new(std::size_t size) {
  return allocate(size);
}
void* operator new[](std::size_t size) {
  return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
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

std::string failEachAllocation(const std::function<void()>& op,
                               const std::function<bool()>& unchanged) {
  for (int64_t k = 0; k < 100000; ++k) {
    const AllocationProbe probe;
    gFailed = false;
    gFailAt = gAllocations.load() + k;
    bool threw = false;
    try {
      op();
    } catch (const std::bad_alloc&) {
      threw = true;
    }
    gFailAt = -1;
    if (!gFailed) {
      if (threw) return "bad_alloc without a failed allocation";
      return k == 0 ? "the operation allocates nothing" : "";
    }
    if (!threw) return "a failed allocation was swallowed";
    if (probe.outstanding() != 0) return "a failed run left memory behind";
    if (!unchanged()) return "a failed run changed the state";
  }
  return "the operation never completed";
}

}  // namespace kelvora::testing
