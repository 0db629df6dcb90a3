#pragma once
// The last few processed frame sets, so that stepping back and forth, the
// result images and the pixel read-outs of one frame set process it once.
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>

#include "support/EngineSession.hpp"

namespace kelvora::tools {

// A frame set's results and what the viewer shows about it.
struct ProcessedFrameSet {
  uint32_t index = 0;
  FrameResults results;
  size_t validPixels = 0;  // pixels whose flag word is 0
};

class FrameSetCache {
 public:
  explicit FrameSetCache(size_t capacity) : capacity_(capacity) {}

  // The cached frame set, made the most recently used; null when absent.
  std::shared_ptr<const ProcessedFrameSet> find(uint32_t index);
  // Adds a frame set, dropping the least recently used beyond the capacity.
  void insert(std::shared_ptr<const ProcessedFrameSet> frameSet);
  // Forgets everything: the results of another configuration are stale.
  void clear() { entries_.clear(); }

 private:
  size_t capacity_;
  std::list<std::shared_ptr<const ProcessedFrameSet>> entries_;  // most recent first
};

}  // namespace kelvora::tools
