#include "support/Recording.hpp"

#include <cstring>
#include <limits>

#include "support/InputFile.hpp"
#include "support/ToolError.hpp"

namespace kelvora::tools {

namespace {

// Frames larger than this are not camera frames; the limit keeps the size
// arithmetic far from overflow for any header a file can hold.
constexpr uint32_t kMaxDimension = 8192;

void putU32(std::vector<uint8_t>& out, uint32_t v) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

uint32_t getU32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
         static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

void putFrame(std::vector<uint8_t>& out, const std::vector<uint16_t>& frame) {
  for (uint16_t v : frame) {
    out.push_back(static_cast<uint8_t>(v));
    out.push_back(static_cast<uint8_t>(v >> 8));
  }
}

void getFrame(const uint8_t*& p, std::vector<uint16_t>& frame, uint32_t n) {
  frame.resize(n);
  for (uint32_t i = 0; i < n; ++i, p += 2) {
    frame[i] = static_cast<uint16_t>(p[0] | p[1] << 8);
  }
}

}  // namespace

uint64_t RecordingHeader::headerBytes() const {
  return sizeof(kRecordingMagic) + 4 * 4 + 4ull * frequencyCount;
}

uint64_t RecordingHeader::frameSetBytes() const {
  return 4 + 4ull * (1 + frequencyCount) + 2ull * pixelCount() * (1 + 4ull * frequencyCount);
}

Input<ArrayReference, 2> RecordedFrameSet::input(const std::vector<uint32_t>& recorded) {
  Input<ArrayReference, 2> in;
  in.temperature = temperature;
  in.intensityExposureTime = exposureTimes[0];
  in.intensityFrame =
      ArrayReference<unsigned short>(grey.data(), static_cast<uint32_t>(grey.size()));
  for (uint32_t f = 0; f < recorded.size() && f < kMaxRecordingFrequencies; ++f) {
    const uint32_t r = recorded[f];
    for (uint32_t k = 0; k < 4; ++k) {
      in.frequencies[f].phaseFrames[k] = ArrayReference<unsigned short>(
          phase[r][k].data(), static_cast<uint32_t>(phase[r][k].size()));
    }
    in.frequencies[f].exposureTime = exposureTimes[1 + r];
  }
  return in;
}

void writeRecording(const std::string& path, const RecordingHeader& header,
                    const std::vector<RecordedFrameSet>& frameSets) {
  if (header.frequencyCount < 1 || header.frequencyCount > kMaxRecordingFrequencies ||
      header.width == 0 || header.height == 0 || header.width > kMaxDimension ||
      header.height > kMaxDimension) {
    throw ToolError("recording header out of range");
  }
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) throw ToolError("cannot write " + path);
  std::vector<uint8_t> bytes(kRecordingMagic, kRecordingMagic + sizeof(kRecordingMagic));
  putU32(bytes, kRecordingVersion);
  putU32(bytes, header.width);
  putU32(bytes, header.height);
  putU32(bytes, header.frequencyCount);
  for (uint32_t f = 0; f < header.frequencyCount; ++f) putU32(bytes, header.frequencies[f]);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  const uint32_t n = header.pixelCount();
  for (const RecordedFrameSet& fs : frameSets) {
    bool sizesMatch = fs.grey.size() == n;
    for (uint32_t f = 0; f < header.frequencyCount; ++f) {
      for (uint32_t k = 0; k < 4; ++k) sizesMatch = sizesMatch && fs.phase[f][k].size() == n;
    }
    if (!sizesMatch) throw ToolError("frame set does not match the recording's frame size");
    bytes.clear();
    uint32_t temperatureBits;
    std::memcpy(&temperatureBits, &fs.temperature, 4);
    putU32(bytes, temperatureBits);
    for (uint32_t e = 0; e <= header.frequencyCount; ++e) putU32(bytes, fs.exposureTimes[e]);
    putFrame(bytes, fs.grey);
    for (uint32_t f = 0; f < header.frequencyCount; ++f) {
      for (uint32_t k = 0; k < 4; ++k) putFrame(bytes, fs.phase[f][k]);
    }
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
  }
  out.flush();
  if (!out) throw ToolError("cannot write " + path);
}

RecordingReader::RecordingReader(const std::string& path) : path_(path) {
  requireInputFile(path, "recording", "recording.kvrec");
  in_.open(path, std::ios::binary);
  if (!in_) throw ToolError("cannot open recording " + path);
  in_.seekg(0, std::ios::end);
  const uint64_t fileBytes = static_cast<uint64_t>(in_.tellg());
  in_.seekg(0);
  uint8_t fixed[sizeof(kRecordingMagic) + 16];
  if (fileBytes < sizeof(fixed) || !in_.read(reinterpret_cast<char*>(fixed), sizeof(fixed))) {
    throw ToolError("recording " + path + " is too short for its header");
  }
  if (std::memcmp(fixed, kRecordingMagic, sizeof(kRecordingMagic)) != 0) {
    throw ToolError("recording " + path + " does not start with \"KVRAWREC\"");
  }
  const uint8_t* p = fixed + sizeof(kRecordingMagic);
  const uint32_t version = getU32(p);
  if (version != kRecordingVersion) {
    throw ToolError("recording " + path + " has version " + std::to_string(version) +
                    ", this tool reads version 1");
  }
  header_.width = getU32(p + 4);
  header_.height = getU32(p + 8);
  header_.frequencyCount = getU32(p + 12);
  if (header_.width == 0 || header_.height == 0 || header_.width > kMaxDimension ||
      header_.height > kMaxDimension || header_.frequencyCount < 1 ||
      header_.frequencyCount > kMaxRecordingFrequencies) {
    throw ToolError("recording " + path + " has an invalid header");
  }
  uint8_t frequencies[4 * kMaxRecordingFrequencies];
  if (!in_.read(reinterpret_cast<char*>(frequencies), 4 * header_.frequencyCount)) {
    throw ToolError("recording " + path + " is too short for its header");
  }
  for (uint32_t f = 0; f < header_.frequencyCount; ++f) {
    header_.frequencies[f] = getU32(frequencies + 4 * f);
  }
  const uint64_t body = fileBytes - header_.headerBytes();
  const uint64_t frameSetBytes = header_.frameSetBytes();
  if (fileBytes < header_.headerBytes() || body % frameSetBytes != 0) {
    throw ToolError("recording " + path + " is truncated: " + std::to_string(body) +
                    " bytes after the header are not a whole number of " +
                    std::to_string(frameSetBytes) + "-byte frame sets");
  }
  if (body / frameSetBytes > std::numeric_limits<uint32_t>::max()) {
    throw ToolError("recording " + path + " holds too many frame sets");
  }
  frameSetCount_ = static_cast<uint32_t>(body / frameSetBytes);
}

void RecordingReader::readAt(uint32_t index, RecordedFrameSet& out) {
  if (index >= frameSetCount_) {
    throw ToolError("recording " + path_ + " has no frame set " + std::to_string(index) +
                    ", only " + std::to_string(frameSetCount_));
  }
  in_.clear();
  in_.seekg(static_cast<std::streamoff>(header_.headerBytes() + index * header_.frameSetBytes()));
  read_ = index;
  next(out);
}

bool RecordingReader::next(RecordedFrameSet& out) {
  if (read_ >= frameSetCount_) return false;
  std::vector<uint8_t> bytes(header_.frameSetBytes());
  if (!in_.read(reinterpret_cast<char*>(bytes.data()),
                static_cast<std::streamsize>(bytes.size()))) {
    throw ToolError("cannot read frame set " + std::to_string(read_) + " of " + path_);
  }
  const uint8_t* p = bytes.data();
  const uint32_t temperatureBits = getU32(p);
  std::memcpy(&out.temperature, &temperatureBits, 4);
  p += 4;
  for (uint32_t e = 0; e < 1 + kMaxRecordingFrequencies; ++e) {
    out.exposureTimes[e] = e <= header_.frequencyCount ? getU32(p + 4 * e) : 0;
  }
  p += 4 * (1 + header_.frequencyCount);
  const uint32_t n = header_.pixelCount();
  getFrame(p, out.grey, n);
  for (uint32_t f = 0; f < kMaxRecordingFrequencies; ++f) {
    for (uint32_t k = 0; k < 4; ++k) {
      if (f < header_.frequencyCount) {
        getFrame(p, out.phase[f][k], n);
      } else {
        out.phase[f][k].clear();
      }
    }
  }
  ++read_;
  return true;
}

}  // namespace kelvora::tools
