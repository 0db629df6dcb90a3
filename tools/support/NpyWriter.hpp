#pragma once
// Arrays as NumPy .npy files (format version 1.0, little-endian, C order), so
// results load with numpy.load without any reader of ours.
#include <cstdint>
#include <string>
#include <vector>

namespace kelvora::tools {

// The header text (magic, version, length and the padded dictionary) for an
// array of `descr` ("<f4", "<u4", "<u2") and `shape`.
std::vector<uint8_t> npyHeader(const char* descr, const std::vector<uint32_t>& shape);

// Writes values (count = product of shape). Throws ToolError on failure.
void writeNpy(const std::string& path, const float* values, const std::vector<uint32_t>& shape);
void writeNpy(const std::string& path, const uint32_t* values, const std::vector<uint32_t>& shape);
void writeNpy(const std::string& path, const uint16_t* values, const std::vector<uint32_t>& shape);

}  // namespace kelvora::tools
