#include "support/PlyWriter.hpp"

#include <cstring>
#include <fstream>

#include "support/ToolError.hpp"

namespace kelvora::tools {

void writePly(const std::string& path, const std::vector<PlyPoint>& points) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << "ply\nformat binary_little_endian 1.0\ncomment kelvora point cloud, metres\n"
      << "element vertex " << points.size() << "\n"
      << "property float x\nproperty float y\nproperty float z\nproperty float confidence\n"
      << "end_header\n";
  std::vector<uint8_t> bytes(points.size() * 16);
  for (size_t i = 0; i < points.size(); ++i) {
    const float v[4] = {points[i].x, points[i].y, points[i].z, points[i].confidence};
    for (int k = 0; k < 4; ++k) {
      uint32_t bits;
      std::memcpy(&bits, &v[k], 4);
      for (int b = 0; b < 4; ++b) bytes[i * 16 + 4 * k + b] = static_cast<uint8_t>(bits >> (8 * b));
    }
  }
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  out.flush();
  if (!out) throw ToolError("cannot write " + path);
}

}  // namespace kelvora::tools
