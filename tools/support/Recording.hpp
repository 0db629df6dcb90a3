#pragma once
// Recordings of raw frame sets as the sensor delivers them (docs/RECORDING.md):
// a header naming the frame size and the modulation frequencies, then frame
// sets of equal size, each a temperature, the exposure times, the grey frame
// and four phase frames per frequency. Little-endian throughout.
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "kelvora/Input.hpp"

namespace kelvora::tools {

constexpr char kRecordingMagic[8] = {'K', 'V', 'R', 'A', 'W', 'R', 'E', 'C'};
constexpr uint32_t kRecordingVersion = 1;
constexpr uint32_t kMaxRecordingFrequencies = 2;

struct RecordingHeader {
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t frequencyCount = 0;                              // 1 or 2
  uint32_t frequencies[kMaxRecordingFrequencies] = {0, 0};  // Hz

  uint32_t pixelCount() const { return width * height; }
  // Bytes of the header as written, and of one frame set.
  uint64_t headerBytes() const;
  uint64_t frameSetBytes() const;
};

struct RecordedFrameSet {
  float temperature = 0.0f;
  uint32_t exposureTimes[1 + kMaxRecordingFrequencies] = {0, 0, 0};  // grey, then per frequency
  std::vector<uint16_t> grey;
  std::vector<uint16_t> phase[kMaxRecordingFrequencies][4];

  // A view for the engine, whose frequency f is the recorded frequency
  // recorded[f]; the frame set must outlive it.
  Input<ArrayReference, 2> input(const std::vector<uint32_t>& recorded);
};

// Writes a whole recording. Throws ToolError when a frame set does not match
// the header or the file cannot be written.
void writeRecording(const std::string& path, const RecordingHeader& header,
                    const std::vector<RecordedFrameSet>& frameSets);

// Reads frame sets one by one. The constructor checks the header and that the
// file holds a whole number of frame sets, so a truncated or mismatched file
// is refused before anything is processed.
class RecordingReader {
 public:
  explicit RecordingReader(const std::string& path);
  const RecordingHeader& header() const { return header_; }
  uint32_t frameSetCount() const { return frameSetCount_; }
  // Reads the next frame set into `out`; false after the last one.
  bool next(RecordedFrameSet& out);
  // Reads frame set `index` into `out`, reading only its bytes; the next
  // call of next() reads the one after it. Throws ToolError for an index
  // past the last frame set.
  void readAt(uint32_t index, RecordedFrameSet& out);

 private:
  std::string path_;
  std::ifstream in_;
  RecordingHeader header_;
  uint32_t frameSetCount_ = 0;
  uint32_t read_ = 0;
};

}  // namespace kelvora::tools
