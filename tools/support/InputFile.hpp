#pragma once
// Input files named on the command line: refused in words when missing, a
// folder or empty, before anything reads them.
#include <cstdint>
#include <string>
#include <vector>

namespace kelvora::tools {

// Throws ToolError naming `what` ("calibration", "recording") when path is
// missing or a folder; for a folder that holds a file of the expected name
// the message suggests it.
void requireInputFile(const std::string& path, const char* what, const char* usualName);

// The whole file after requireInputFile; throws ToolError when it cannot be
// read or is empty.
std::vector<uint8_t> readFileBytes(const std::string& path, const char* what,
                                   const char* usualName);

}  // namespace kelvora::tools
