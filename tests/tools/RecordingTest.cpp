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
    RecordedFrameSet& fs = sets[s];
    fs.temperature = 20.5f + static_cast<float>(s);
    for (uint32_t e = 0; e <= h.frequencyCount; ++e) fs.exposureTimes[e] = 100 * (s + 1) + e;
    fs.grey.resize(n);
    for (uint32_t i = 0; i < n; ++i) fs.grey[i] = static_cast<uint16_t>(i * 7 + s);
    for (uint32_t f = 0; f < h.frequencyCount; ++f) {
      for (uint32_t k = 0; k < 4; ++k) {
        fs.phase[f][k].resize(n);
        for (uint32_t i = 0; i < n; ++i) {
          fs.phase[f][k][i] = static_cast<uint16_t>(0xF000 + i * 13 + 1000 * f + 100 * k + s);
        }
      }
    }
  }
  return sets;
}

struct Shape {
  uint32_t width, height, frequencies, frameSets;
};
class RecordingRoundTrip : public ::testing::TestWithParam<Shape> {};

TEST_P(RecordingRoundTrip, ReadsBackWhatWasWritten) {
  const Shape s = GetParam();
  RecordingHeader h;
  h.width = s.width;
  h.height = s.height;
  h.frequencyCount = s.frequencies;
  h.frequencies[0] = 80320000;
  h.frequencies[1] = 60240000;
  const std::vector<RecordedFrameSet> written = makeFrameSets(h, s.frameSets);
  const std::string path = tempPath("roundtrip.kvrec");
  writeRecording(path, h, written);
  // Size follows from the documented layout.
  const uint64_t expected = 8 + 16 + 4ull * s.frequencies +
                            s.frameSets * (4 + 4ull * (1 + s.frequencies) +
                                           2ull * s.width * s.height * (1 + 4 * s.frequencies));
  EXPECT_EQ(std::filesystem::file_size(path), expected);

  RecordingReader reader(path);
  EXPECT_EQ(reader.header().width, s.width);
  EXPECT_EQ(reader.header().height, s.height);
  ASSERT_EQ(reader.header().frequencyCount, s.frequencies);
  for (uint32_t f = 0; f < s.frequencies; ++f) {
    EXPECT_EQ(reader.header().frequencies[f], h.frequencies[f]);
  }
  ASSERT_EQ(reader.frameSetCount(), s.frameSets);
  RecordedFrameSet got;
  for (uint32_t i = 0; i < s.frameSets; ++i) {
    ASSERT_TRUE(reader.next(got));
    EXPECT_EQ(got.temperature, written[i].temperature);
    for (uint32_t e = 0; e <= s.frequencies; ++e) {
      EXPECT_EQ(got.exposureTimes[e], written[i].exposureTimes[e]);
    }
    EXPECT_EQ(got.grey, written[i].grey);
    for (uint32_t f = 0; f < s.frequencies; ++f) {
      for (uint32_t k = 0; k < 4; ++k) EXPECT_EQ(got.phase[f][k], written[i].phase[f][k]);
    }
  }
  EXPECT_FALSE(reader.next(got));
  std::filesystem::remove(path);
}

INSTANTIATE_TEST_SUITE_P(Shapes, RecordingRoundTrip,
                         ::testing::Values(Shape{1, 1, 1, 1}, Shape{7, 5, 2, 3},
                                           Shape{224, 172, 2, 2}, Shape{33, 9, 1, 0}));

TEST(RecordingReader, RefusesDamagedFiles) {
  RecordingHeader h;
  h.width = 6;
  h.height = 4;
  h.frequencyCount = 2;
  const std::string good = tempPath("good.kvrec");
  writeRecording(good, h, makeFrameSets(h, 2));
  std::ifstream in(good, std::ios::binary);
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
  struct Case {
    const char* name;
    std::vector<char> bytes;
  };
  std::vector<Case> cases;
  cases.push_back({"truncated by one byte", {bytes.begin(), bytes.end() - 1}});
  cases.push_back({"one byte too many", bytes});
  cases.back().bytes.push_back(0);
  cases.push_back({"header only, cut", {bytes.begin(), bytes.begin() + 20}});
  cases.push_back({"wrong magic", bytes});
  cases.back().bytes[0] = 'X';
  cases.push_back({"version 2", bytes});
  cases.back().bytes[8] = 2;
  cases.push_back({"three frequencies", bytes});
  cases.back().bytes[20] = 3;
  cases.push_back({"zero width", bytes});
  std::memset(&cases.back().bytes[12], 0, 4);
  cases.push_back({"empty", {}});
  const std::string bad = tempPath("bad.kvrec");
  for (const Case& c : cases) {
    std::ofstream(bad, std::ios::binary | std::ios::trunc)
        .write(c.bytes.data(), static_cast<std::streamsize>(c.bytes.size()));
    EXPECT_THROW(RecordingReader{bad}, ToolError) << c.name;
  }
  EXPECT_THROW(RecordingReader{tempPath("does-not-exist.kvrec")}, ToolError);
  std::filesystem::remove(good);
  std::filesystem::remove(bad);
}

TEST(RecordingWriter, RefusesFrameSetsOfAnotherSize) {
  RecordingHeader h;
  h.width = 4;
  h.height = 4;
  h.frequencyCount = 1;
  std::vector<RecordedFrameSet> sets = makeFrameSets(h, 1);
  sets[0].phase[0][3].pop_back();
  EXPECT_THROW(writeRecording(tempPath("short.kvrec"), h, sets), ToolError);
  std::filesystem::remove(tempPath("short.kvrec"));
}

}  // namespace
}  // namespace kelvora::tools
