#include "view/FrameSetCache.hpp"

#include <utility>

namespace kelvora::tools {

std::shared_ptr<const ProcessedFrameSet> FrameSetCache::find(uint32_t index) {
  for (auto it = entries_.begin(); it != entries_.end(); ++it) {
    if ((*it)->index == index) {
      entries_.splice(entries_.begin(), entries_, it);
      return entries_.front();
    }
  }
  return nullptr;
}

void FrameSetCache::insert(std::shared_ptr<const ProcessedFrameSet> frameSet) {
  entries_.push_front(std::move(frameSet));
  while (entries_.size() > capacity_) entries_.pop_back();
}

}  // namespace kelvora::tools
