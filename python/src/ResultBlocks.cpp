#include "ResultBlocks.hpp"

#include <algorithm>
#include <mutex>
#include <new>
#include <stdexcept>
#include <vector>

#include "Bindings.hpp"

namespace kelvora::python {

namespace {

constexpr std::align_val_t kAlignment{64};
// Enough for a few frame sets of a large sensor; beyond it blocks are freed.
constexpr size_t kMaxPooledBytes = size_t{16} << 20;

// Free blocks, most recently released last. Never destroyed: blocks may be
// released while the interpreter shuts down, after static destructors would
// have run. It holds a few blocks, so a scan is as fast as an index.
class BlockPool {
 public:
  // The free block at `preferred` if there is one of this size, else the
  // most recently released one of this size, else a new one.
  uint8_t* take(size_t bytes, const uint8_t* preferred) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      auto chosen = free_.end();
      for (auto it = free_.begin(); it != free_.end(); ++it) {
        if (it->bytes != bytes) continue;
        chosen = it;
        if (it->data == preferred) break;
      }
      if (chosen != free_.end()) {
        uint8_t* block = chosen->data;
        pooledBytes_ -= bytes;
        free_.erase(chosen);
        return block;
      }
    }
    return static_cast<uint8_t*>(::operator new(bytes, kAlignment));
  }

  void give(uint8_t* block, size_t bytes) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (pooledBytes_ + bytes <= kMaxPooledBytes) {
        free_.push_back({block, bytes});
        pooledBytes_ += bytes;
        return;
      }
    }
    ::operator delete(block, kAlignment);
  }

 private:
  struct Block {
    uint8_t* data;
    size_t bytes;
  };
  std::mutex mutex_;
  std::vector<Block> free_;
  size_t pooledBytes_ = 0;
};

BlockPool& pool() {
  static BlockPool* const instance = new BlockPool;
  return *instance;
}

}  // namespace

ResultBlock::ResultBlock(size_t bytes, const uint8_t* preferred)
    : data_(pool().take(bytes, preferred)), size_(bytes) {}

ResultBlock::~ResultBlock() {
  pool().give(data_, size_);
}

void ResultBlock::setLayout(char format, std::vector<py::ssize_t> shape) {
  py::ssize_t elements = 1;
  for (py::ssize_t extent : shape) elements *= extent;
  if (static_cast<size_t>(elements) * 4 > size_) throw std::logic_error("layout past the block");
  format_ = std::string(1, format);
  shape_ = std::move(shape);
}

py::buffer_info ResultBlock::bufferInfo() const {
  if (shape_.empty()) {
    return py::buffer_info(data_, 1, format_, 1, {static_cast<py::ssize_t>(size_)},
                           {py::ssize_t{1}}, false);
  }
  std::vector<py::ssize_t> strides(shape_.size());
  py::ssize_t stride = 4;
  for (size_t i = shape_.size(); i-- > 0;) {
    strides[i] = stride;
    stride *= shape_[i];
  }
  return py::buffer_info(data_, 4, format_, static_cast<py::ssize_t>(shape_.size()), shape_,
                         strides, false);
}

ResultBlocks newResultBlocks(size_t pixels,
                             const uint8_t* const (&preferred)[ResultBlocks::kCount]) {
  ResultBlocks blocks;
  for (size_t i = 0; i < ResultBlocks::kCount; ++i) {
    const size_t bytes = i + 1 < ResultBlocks::kCount ? 4 * pixels : 16 * pixels;
    blocks.blocks[i] = new ResultBlock(bytes, preferred[i]);
    blocks.objects[i] = py::cast(blocks.blocks[i], py::return_value_policy::take_ownership);
  }
  return blocks;
}

py::object newUnsignedBlock(const uint32_t* values, size_t count) {
  auto* block = new ResultBlock(4 * count, nullptr);
  py::object object = py::cast(block, py::return_value_policy::take_ownership);
  std::copy_n(values, count, reinterpret_cast<uint32_t*>(block->data()));
  block->setLayout('I', {static_cast<py::ssize_t>(count)});
  return object;
}

void bindResultBlocks(py::module_& m) {
  py::class_<ResultBlock>(m, "_ResultBlock", py::buffer_protocol(), "Memory of one result array.")
      .def_buffer([](const ResultBlock& b) { return b.bufferInfo(); });
}

}  // namespace kelvora::python
