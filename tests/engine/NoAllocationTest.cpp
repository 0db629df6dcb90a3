// Processing a frame set must not touch the heap: every buffer is made when
// the core is initialised. This program counts every heap allocation while a
// flag is up. In a plain build it replaces malloc and its relatives (forwarding
// to the C library's own entry points; the C++ allocation operators of this
// runtime allocate through malloc, so they are seen too); under
// AddressSanitizer, which owns malloc, it installs the sanitizer's allocation
// hook instead.
#include <gtest/gtest.h>
#include <malloc.h>

#include <atomic>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "common/EngineHarness.hpp"
#include "common/PipelineHarness.hpp"
#include "core/FrameDrivers.hpp"

#if defined(__SANITIZE_ADDRESS__)
#define KELVORA_TEST_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KELVORA_TEST_ASAN 1
#endif
#endif

namespace {

std::atomic<bool> gCounting{false};
std::atomic<long> gAllocations{0};

void noteAllocation() {
  if (gCounting.load(std::memory_order_relaxed)) {
    gAllocations.fetch_add(1, std::memory_order_relaxed);
  }
}

}  // namespace

#if defined(KELVORA_TEST_ASAN)
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*mallocHook)(const volatile void*,
                                                                            std::size_t),
                                                         void (*freeHook)(const volatile void*));

namespace {
void onMalloc(const volatile void*, std::size_t) {
  noteAllocation();
}
void onFree(const volatile void*) {}
[[maybe_unused]] const int gHooksInstalled =
    __sanitizer_install_malloc_and_free_hooks(onMalloc, onFree);
}  // namespace
#else
// The replacements must be exported to take the place of the C library's for
// the C++ runtime's own calls; the project builds with hidden visibility,
// which Clang (unlike GCC) applies to them too.
#pragma GCC visibility push(default)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* p, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* p);

void* malloc(std::size_t size) {
  noteAllocation();
  return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
  noteAllocation();
  return __libc_calloc(count, size);
}
void* realloc(void* p, std::size_t size) {
  noteAllocation();
  return __libc_realloc(p, size);
}
void* memalign(std::size_t alignment, std::size_t size) {
  noteAllocation();
  return __libc_memalign(alignment, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  noteAllocation();
  return __libc_memalign(alignment, size);
}
int posix_memalign(void** out, std::size_t alignment, std::size_t size) {
  noteAllocation();
  void* p = __libc_memalign(alignment, size);
  if (p == nullptr) return ENOMEM;
  *out = p;
  return 0;
}
void free(void* p) {
  __libc_free(p);
}
}
#pragma GCC visibility pop
#endif

namespace kelvora::testing {
namespace {

// Counts the allocations made while it lives.
class AllocationCounter {
 public:
  AllocationCounter() {
    gAllocations.store(0);
    gCounting.store(true);
  }
  ~AllocationCounter() { gCounting.store(false); }
  AllocationCounter(const AllocationCounter&) = delete;
  AllocationCounter& operator=(const AllocationCounter&) = delete;
  long count() const { return gAllocations.load(); }
};

// A zero below means something only if the counter sees the library's
// allocations (under valgrind, which replaces malloc itself, it does not).
TEST(NoAllocation, CounterSeesTheLibrarysAllocations) {
  EnginePtr engine = makeEngine(containerBlobFor(smallCalibration()));
  AllocationCounter counter;
  const Configuration copy = engine->configuration();
  EXPECT_GT(counter.count(), 0);
}

// The three drivers on a second frame set: the first one runs before the
// counter starts, so a stage that lazily makes a buffer once would still pass,
// but one that allocates per call would not. Stray light needs a calibration
// with a point-spread function, which only the core can be handed directly;
// one frequency with the sparse point cloud covers the paths the engine case
// below does not.
TEST(NoAllocation, CoreFrameSetAllocatesNothing) {
  synth::SyntheticCalibrationOptions options;
  options.frequencies = {60240000u};
  options.strayLight = true;
  PipelineHarness harness(options);
  ASSERT_TRUE(harness.parameters().useRemoveStrayLight);
  harness.parameters().useSparsePointCloud = true;
  ASSERT_EQ(harness.initialise(), 0);
  harness.process(harness.render(0));
  const synth::RenderedFrameSet second = harness.render(1);
  long allocations = 0;
  {
    AllocationCounter counter;
    harness.process(second);
    allocations = counter.count();
  }
  EXPECT_EQ(allocations, 0);
  // The frame set really ran: most pixels have a positive distance.
  uint32_t measured = 0;
  for (uint32_t i = 0; i < harness.pixelCount(); ++i) {
    measured += harness.flags[i] == 0 && harness.distance[i] > 0.0f;
  }
  EXPECT_GT(measured, harness.pixelCount() / 2);
}

// The public call as a host makes it, including the front end's own work.
// (The pipeline's accuracy is the core tests' and the tool's.)
TEST(NoAllocation, ProcessWholeThroughTheEngineAllocatesNothing) {
  synth::SyntheticCalibrationOptions options;  // 224 x 172, two frequencies
  EnginePtr engine = makeEngine(containerBlobFor(options));
  ASSERT_NE(engine, nullptr);
  const SceneForEngine scene(options);
  synth::RenderedFrameSet first = scene.render(0), second = scene.render(1);
  ASSERT_EQ(engine->processWhole(inputFor(first)).code, KelvoraStatus::SUCCESS);
  const Input<ArrayReference, 2> secondInput = inputFor(second);
  long allocations = 0;
  {
    AllocationCounter counter;
    engine->processWhole(secondInput);
    allocations = counter.count();
  }
  EXPECT_EQ(allocations, 0);

  const ArrayReference<unsigned int> proposals = engine->results<EXPOSURE_PROPOSALS>();
  ASSERT_EQ(proposals.size(), 3u);
  // The registry's limits (1 and 2) bound every proposal.
  EXPECT_GE(proposals[1], 1u);
  EXPECT_LE(proposals[1], 2u);
}

}  // namespace
}  // namespace kelvora::testing
