#pragma once
// Counts the global allocations of this test program and can make the n-th
// allocation from now fail, so that tests can check that an operation
// neither leaks nor half-finishes when memory runs out at any point.
#include <cstdint>
#include <new>

namespace kelvora::testing {

// Allocations minus releases since the probe was created.
class AllocationProbe {
 public:
  AllocationProbe();
  int64_t allocations() const;
  int64_t outstanding() const;

 private:
  int64_t allocationsAtStart_;
  int64_t outstandingAtStart_;
};

// While alive, allocation number failAt (0 = the next one) throws
// std::bad_alloc; later ones succeed again.
class AllocationFailure {
 public:
  explicit AllocationFailure(int64_t failAt);
  ~AllocationFailure();
  bool triggered() const;
};

// Runs op with allocation k failing for k = 0, 1, ... until op completes
// without an injected failure. Each failing run must throw std::bad_alloc
// and leave no allocation behind; after, if given, checks the state the
// failure left. Returns the number of allocations op needs (or -1 if a
// failing run broke a rule, with the reason in *failure).
template <class Op, class After>
int64_t failEachAllocation(Op op, After after, const char** failure) {
  for (int64_t k = 0; k < 100000; ++k) {
    AllocationProbe probe;
    bool threw = false;
    bool injected = false;
    {
      AllocationFailure fail(k);
      try {
        op();
      } catch (const std::bad_alloc&) {
        threw = true;
      }
      injected = fail.triggered();
    }
    if (!injected) {
      if (threw) {
        *failure = "bad_alloc without an injected failure";
        return -1;
      }
      return k;
    }
    if (!threw) {
      *failure = "an injected failure was swallowed";
      return -1;
    }
    if (probe.outstanding() != 0) {
      *failure = "a failed run left memory behind";
      return -1;
    }
    if (!after()) {
      *failure = "a failed run changed the state";
      return -1;
    }
  }
  *failure = "operation never completed";
  return -1;
}

}  // namespace kelvora::testing
