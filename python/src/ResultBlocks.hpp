#pragma once
// Memory for result arrays. Each array of a frame set's results is a numpy
// view on a block of its own; when the last view of a block is gone, the
// block goes back to a small pool instead of to the allocator. So a loop over
// frame sets writes its results into memory that is mapped and, where the
// caller let go of earlier results, still in the caches, rather than into
// pages the allocator may have returned to the system (about a megabyte and a
// half per frame set at 224 x 172).
#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace kelvora::python {

namespace py = pybind11;

// Bytes aligned for the widest vector loads, exposed through the buffer
// protocol as an array, so numpy.asarray makes the result array in one step.
class ResultBlock {
 public:
  // The pooled block at `preferred` when it is free.
  ResultBlock(size_t bytes, const uint8_t* preferred);
  ~ResultBlock();
  ResultBlock(const ResultBlock&) = delete;
  ResultBlock& operator=(const ResultBlock&) = delete;

  uint8_t* data() const { return data_; }
  size_t size() const { return size_; }
  // How the buffer protocol presents the memory: 4-byte elements of type
  // `format` ('f' float, 'I' unsigned) in C order with `shape`, which must
  // fit into the block. Unsigned bytes until set.
  void setLayout(char format, std::vector<py::ssize_t> shape);
  py::buffer_info bufferInfo() const;

 private:
  uint8_t* data_ = nullptr;
  size_t size_ = 0;
  std::string format_ = "B";
  std::vector<py::ssize_t> shape_;
};

// The blocks of one frame set's results as Python objects (_ResultBlock), in
// the order distance, amplitude, noise, intensity, flags (4 bytes per pixel
// each) and point cloud (16 bytes per pixel), with their memory.
struct ResultBlocks {
  static constexpr size_t kCount = 6;
  py::object objects[kCount];
  ResultBlock* blocks[kCount] = {};
};
// Takes, where they are free, the blocks at `preferred`: the memory the
// engine last wrote into, so a caller that dropped the previous results gets
// the same memory back, already in the processor's caches, and the engine
// needs no new redirection.
ResultBlocks newResultBlocks(size_t pixels,
                             const uint8_t* const (&preferred)[ResultBlocks::kCount]);

// A block of `count` unsigned 32-bit values, as the exposure proposals.
py::object newUnsignedBlock(const uint32_t* values, size_t count);

}  // namespace kelvora::python
