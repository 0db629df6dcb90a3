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
#include <ostream>
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
void* volatile gSink = nullptr;

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

// The counter must see each way the library could allocate, or a zero below
// would prove nothing.
TEST(NoAllocation, CounterSeesEveryAllocationRoute) {
  long seen = 0;
  {
    AllocationCounter counter;
    // Each block escapes through gSink, so none of these can be elided.
    auto* v = new std::vector<int>(100, 1);
    gSink = v;
    auto* q = new double[8];
    gSink = q;
    void* aligned = nullptr;
    ASSERT_EQ(posix_memalign(&aligned, 64, 256), 0);
    gSink = aligned;
    void* zeroed = std::calloc(4, 16);
    gSink = zeroed;
    void* plain = std::malloc(32);
    gSink = plain;
    seen = counter.count();
    std::free(plain);
    std::free(zeroed);
    std::free(aligned);
    delete[] q;
    delete v;
  }
  // The vector object and its elements, the array, and the three C blocks.
  EXPECT_GE(seen, 6);
}

struct CoreCase {
  const char* name;
  std::vector<uint32_t> frequencies;
  bool strayLight;
  bool allSwitchesOff;
  bool sparsePointCloud;
};

// By name: the default printer would dump the record's padding bytes.
void PrintTo(const CoreCase& c, std::ostream* os) {
  *os << c.name;
}

class NoAllocationInDrivers : public ::testing::TestWithParam<CoreCase> {};

// The three drivers on a second frame set: the first one runs before the
// counter starts, so a stage that lazily makes a buffer once would still pass,
// but one that allocates per call would not.
TEST_P(NoAllocationInDrivers, FrameSetAllocatesNothing) {
  const CoreCase& c = GetParam();
  synth::SyntheticCalibrationOptions options;
  options.frequencies = c.frequencies;
  options.strayLight = c.strayLight;
  PipelineHarness harness(options);
  KelvoraParameter& p = harness.parameters();
  ASSERT_EQ(p.useRemoveStrayLight, c.strayLight);
  p.useSparsePointCloud = c.sparsePointCloud;
  if (c.allSwitchesOff) {
    p.useAdaptiveNoiseFilter = p.useAutoExposure = p.useRemoveFlyingPixel = false;
    p.useMPIFlagAverage = p.useMPIFlagAmplitude = p.useMPIFlagDistance = false;
    p.useValidateImage = false;
  }
  ASSERT_EQ(harness.initialise(), 0);
  const synth::RenderedFrameSet first = harness.render(0);
  const synth::RenderedFrameSet second = harness.render(1);
  harness.process(first);
  long allocations = 0;
  {
    AllocationCounter counter;
    harness.process(second);
    allocations = counter.count();
  }
  EXPECT_EQ(allocations, 0);
  // The frame set really ran: some pixels have a finite positive distance.
  uint32_t measured = 0;
  for (uint32_t i = 0; i < harness.pixelCount(); ++i) {
    if (harness.flags[i] == 0 && harness.distance[i] > 0.0f) ++measured;
  }
  EXPECT_GT(measured, harness.pixelCount() / 2);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, NoAllocationInDrivers,
    ::testing::Values(CoreCase{"TwoFrequencies", {80320000u, 60240000u}, false, false, false},
                      CoreCase{
                          "TwoFrequenciesStrayLight", {80320000u, 60240000u}, true, false, false},
                      CoreCase{"OneFrequencyStrayLight", {60240000u}, true, false, false},
                      CoreCase{"SwitchesOff", {80320000u, 60240000u}, false, true, false},
                      CoreCase{"SparsePointCloud", {80320000u, 60240000u}, false, false, true}),
    [](const ::testing::TestParamInfo<CoreCase>& param) { return param.param.name; });

// The public call as a host makes it, including the front end's own work;
// its results are checked against the scene, through the public interface.
TEST(NoAllocation, ProcessWholeThroughTheEngineAllocatesNothing) {
  synth::SyntheticCalibrationOptions options;  // 224 x 172, two frequencies
  EnginePtr engine = makeEngine(containerBlobFor(options));
  ASSERT_NE(engine, nullptr);
  SceneForEngine scene(options);
  synth::RenderedFrameSet first = scene.render(0);
  synth::RenderedFrameSet second = scene.render(1);
  ASSERT_EQ(engine->processWhole(inputFor(first)).code, KelvoraStatus::SUCCESS);
  const Input<ArrayReference, 2> secondInput = inputFor(second);
  long allocations = 0;
  {
    AllocationCounter counter;
    engine->processWhole(secondInput);
    allocations = counter.count();
  }
  EXPECT_EQ(allocations, 0);

  const ArrayReference<float> distance = engine->results<DISTANCE>();
  const ArrayReference<float> noise = engine->results<NOISE>();
  const ArrayReference<unsigned int> flags = engine->results<FLAGS>();
  ASSERT_EQ(distance.size(), options.width * options.height);
  uint32_t valid = 0, within = 0;
  for (uint32_t i = 0; i < distance.size(); ++i) {
    if (flags[i] != 0) continue;
    ++valid;
    if (std::fabs(distance[i] - scene.geometry().trueDistance[i]) <= 3.0f * noise[i]) ++within;
  }
  EXPECT_GT(valid, distance.size() * 9 / 10);
  EXPECT_GE(within, valid * 99 / 100) << within << " of " << valid;
  const ArrayReference<unsigned int> proposals = engine->results<EXPOSURE_PROPOSALS>();
  ASSERT_EQ(proposals.size(), 3u);
  // The registry's limits (1 and 2) bound every proposal.
  EXPECT_GE(proposals[1], 1u);
  EXPECT_LE(proposals[1], 2u);
}

}  // namespace
}  // namespace kelvora::testing
