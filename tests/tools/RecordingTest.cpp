// Recordings written and read back, and files the reader must refuse.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/Recording.hpp"
#include "support/ToolError.hpp"

namespace kelvora::tools {
namespace {

std::string tempPath(const std::string& name) {
  return (std::filesystem::temp_directory_path() / ("kelvora-tools-" + name)).string();
}

// Every sample distinct per frame set, so a swapped frame or byte shows.
std::vector<RecordedFrameSet> makeFrameSets(const RecordingHeader& h, uint32_t count) {
  std::vector<RecordedFrameSet> sets(count);
  const uint32_t n = h.pixelCount();
  for (uint32_t s = 0; s < count; ++s) {
    sets[s].temperature = 20.5f + static_cast<float>(s);
    for (uint32_t e = 0; e <= h.frequencyCount; ++e) sets[s].exposureTimes[e] = 100 * (s + 1) + e;
    for (uint32_t i = 0; i < n; ++i) sets[s].grey.push_back(static_cast<uint16_t>(i * 7 + s));
    for (uint32_t f = 0; f < h.frequencyCount; ++f) {
      for (uint32_t k = 0; k < 4; ++k) {
        for (uint32_t i = 0; i < n; ++i) {
          sets[s].phase[f][k].push_back(
              static_cast<uint16_t>(0xF000 + i * 13 + 1000 * f + 100 * k + s));
        }
      }
    }
  }
  return sets;
}

RecordingHeader header(uint32_t width, uint32_t height, uint32_t frequencies) {
  RecordingHeader h;
  h.width = width;
  h.height = height;
  h.frequencyCount = frequencies;
  h.frequencies[0] = 80320000;
  h.frequencies[1] = frequencies > 1 ? 60240000 : 0;
  return h;
}

TEST(Recording, ReadsBackWhatWasWrittenInEveryShape) {
  const uint32_t shapes[][4] = {{1, 1, 1, 1}, {7, 5, 2, 3}, {224, 172, 2, 2}, {33, 9, 1, 0}};
  const std::string path = tempPath("roundtrip.kvrec");
  for (const auto& s : shapes) {
    SCOPED_TRACE(::testing::Message() << s[0] << " x " << s[1] << ", " << s[2] << " frequencies");
    const RecordingHeader h = header(s[0], s[1], s[2]);
    const std::vector<RecordedFrameSet> written = makeFrameSets(h, s[3]);
    writeRecording(path, h, written);
    // The documented layout: magic, version, size, frequencies, then per frame
    // set the temperature, exposure times and frames.
    EXPECT_EQ(std::filesystem::file_size(path),
              24 + 4 * s[2] + s[3] * (4 + 4 * (1 + s[2]) + 2 * s[0] * s[1] * (1 + 4 * s[2])));
    RecordingReader reader(path);
    EXPECT_EQ(std::memcmp(&reader.header(), &h, sizeof h), 0);
    ASSERT_EQ(reader.frameSetCount(), s[3]);
    RecordedFrameSet got;
    for (const RecordedFrameSet& want : written) {
      ASSERT_TRUE(reader.next(got));
      EXPECT_EQ(got.temperature, want.temperature);
      EXPECT_EQ(std::memcmp(got.exposureTimes, want.exposureTimes, 4 * (1 + s[2])), 0);
      EXPECT_EQ(got.grey, want.grey);
      for (uint32_t f = 0; f < s[2]; ++f) {
        for (uint32_t k = 0; k < 4; ++k) EXPECT_EQ(got.phase[f][k], want.phase[f][k]);
      }
    }
    EXPECT_FALSE(reader.next(got));
  }
  std::filesystem::remove(path);
}

TEST(Recording, DamagedFilesAndFramesOfAnotherSizeAreRefused) {
  const RecordingHeader h = header(6, 4, 2);
  const std::string good = tempPath("good.kvrec"), bad = tempPath("bad.kvrec");
  writeRecording(good, h, makeFrameSets(h, 2));
  std::ifstream in(good, std::ios::binary);
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), {});
  const struct {
    const char* name;
    size_t size;  // of the good file's bytes kept (then one 0 appended past the end)
    size_t at;    // a byte set to `value`, when below size
    char value;
  } cases[] = {{"truncated by one byte", bytes.size() - 1, SIZE_MAX, 0},
               {"one byte too many", bytes.size() + 1, SIZE_MAX, 0},
               {"header only, cut", 20, SIZE_MAX, 0},
               {"wrong magic", bytes.size(), 0, 'X'},
               {"version 2", bytes.size(), 8, 2},
               {"three frequencies", bytes.size(), 20, 3},
               {"zero width", bytes.size(), 12, 0},  // width 6: one byte clears it
               {"empty", 0, SIZE_MAX, 0}};
  for (const auto& c : cases) {
    std::vector<char> damaged(bytes.begin(), bytes.begin() + std::min(c.size, bytes.size()));
    damaged.resize(c.size, 0);
    if (c.at < damaged.size()) damaged[c.at] = c.value;
    std::ofstream(bad, std::ios::binary).write(damaged.data(), std::streamsize(damaged.size()));
    EXPECT_THROW(RecordingReader{bad}, ToolError) << c.name;
  }
  EXPECT_THROW(RecordingReader{tempPath("does-not-exist.kvrec")}, ToolError);

  std::vector<RecordedFrameSet> sets = makeFrameSets(h, 1);
  sets[0].phase[1][3].pop_back();
  EXPECT_THROW(writeRecording(bad, h, sets), ToolError);
  std::filesystem::remove(good);
  std::filesystem::remove(bad);
}

}  // namespace
}  // namespace kelvora::tools
