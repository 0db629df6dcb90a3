#include "support/NpyWriter.hpp"

#include <cstring>
#include <fstream>

#include "support/ToolError.hpp"

namespace kelvora::tools {

namespace {

// The whole header is padded so that the data starts on this boundary, as
// the format asks.
constexpr size_t kNpyAlignment = 64;

template <class T>
void writeArray(const std::string& path, const char* descr, const T* values,
                const std::vector<uint32_t>& shape) {
  static_assert(sizeof(T) <= 4, "little-endian byte order written below");
  const std::vector<uint8_t> header = npyHeader(descr, shape);
  uint64_t count = 1;
  for (uint32_t d : shape) count *= d;
  std::vector<uint8_t> data(count * sizeof(T));
  for (uint64_t i = 0; i < count; ++i) {
    uint32_t bits = 0;
    std::memcpy(&bits, &values[i], sizeof(T));
    for (size_t b = 0; b < sizeof(T); ++b)
      data[i * sizeof(T) + b] = static_cast<uint8_t>(bits >> (8 * b));
  }
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(header.data()),
            static_cast<std::streamsize>(header.size()));
  out.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
  out.flush();
  if (!out) throw ToolError("cannot write " + path);
}

}  // namespace

std::vector<uint8_t> npyHeader(const char* descr, const std::vector<uint32_t>& shape) {
  std::string tuple;
  for (size_t i = 0; i < shape.size(); ++i) {
    tuple += (i ? ", " : "") + std::to_string(shape[i]);
  }
  if (shape.size() == 1) tuple += ",";  // a one-element tuple
  std::string dict =
      std::string("{'descr': '") + descr + "', 'fortran_order': False, 'shape': (" + tuple + "), }";
  const size_t fixed = 10;  // magic, version, 16-bit header length
  size_t total = fixed + dict.size() + 1;
  total = (total + kNpyAlignment - 1) / kNpyAlignment * kNpyAlignment;
  dict.append(total - fixed - dict.size() - 1, ' ');
  dict += '\n';
  std::vector<uint8_t> out = {0x93, 'N', 'U', 'M', 'P', 'Y', 1, 0};
  out.push_back(static_cast<uint8_t>(dict.size()));
  out.push_back(static_cast<uint8_t>(dict.size() >> 8));
  out.insert(out.end(), dict.begin(), dict.end());
  return out;
}

void writeNpy(const std::string& path, const float* values, const std::vector<uint32_t>& shape) {
  writeArray(path, "<f4", values, shape);
}
void writeNpy(const std::string& path, const uint32_t* values, const std::vector<uint32_t>& shape) {
  writeArray(path, "<u4", values, shape);
}
void writeNpy(const std::string& path, const uint16_t* values, const std::vector<uint32_t>& shape) {
  writeArray(path, "<u2", values, shape);
}

}  // namespace kelvora::tools
