// Recording files the reader must refuse, and frame sets the writer must.
// (Recordings written by synth and read by process, frame for frame, are the
// end-to-end table's.)
#include <gtest/gtest.h>

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

std::vector<RecordedFrameSet> makeFrameSets(const RecordingHeader& h, uint32_t count) {
  std::vector<RecordedFrameSet> sets(count);
  for (RecordedFrameSet& set : sets) {
    set.grey.assign(h.pixelCount(), 7);
    for (uint32_t f = 0; f < h.frequencyCount; ++f) {
      for (auto& frame : set.phase[f]) frame.assign(h.pixelCount(), 9);
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
