#pragma once
// Counts the heap allocations of this test program (AllocationProbe.cpp
// replaces the global allocation functions) and can make one of them fail.
#include <cstdint>
#include <functional>
#include <string>

namespace kelvora::testing {

// Allocations made, and allocations not yet released, since construction.
class AllocationProbe {
 public:
  AllocationProbe();
  int64_t allocations() const;
  int64_t outstanding() const;

 private:
  int64_t allocationsAtStart_, outstandingAtStart_;
};

// Runs op with its k-th allocation failing, for k = 0, 1, ... until op
// completes. Each failing run must throw std::bad_alloc, leave no block
// behind and leave unchanged() true. Returns "" or what went wrong.
std::string failEachAllocation(const std::function<void()>& op,
                               const std::function<bool()>& unchanged);

}  // namespace kelvora::testing
