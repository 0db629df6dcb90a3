// The built kelvora program run as a user runs it: exit codes, the single
// error line on standard error, and which files appear.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/Recording.hpp"

namespace kelvora::tools {
namespace {

namespace fs = std::filesystem;

struct CliRun {
  int exitCode;
  std::string out;
  std::string err;
};

std::string readText(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

class Cli : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("kelvora-cli-" +
            std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  CliRun run(const std::string& arguments) {
    const std::string out = (dir_ / "stdout.txt").string(), err = (dir_ / "stderr.txt").string();
    const std::string command = std::string("cd '") + dir_.string() +
                                "' && '" KELVORA_CLI_PATH "' " + arguments + " >'" + out + "' 2>'" +
                                err + "'";
    const int status = std::system(command.c_str());
    CliRun r{WIFEXITED(status) ? WEXITSTATUS(status) : -1, readText(out), readText(err)};
    fs::remove(out);
    fs::remove(err);
    return r;
  }

  // Everything in the working folder, to show that a failed run added nothing.
  std::vector<std::string> entries() const {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir_))
      names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
  }

  // A small synthetic calibration and recording in dir_/in.
  void synthesise(const std::string& extra = "") {
    const CliRun r = run("synth --out in --width 40 --height 30 --frames 3 " + extra);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    ASSERT_TRUE(r.err.empty()) << r.err;
  }

  fs::path dir_;
};

std::vector<float> loadNpyFloats(const fs::path& p) {
  const std::string b = readText(p);
  const size_t start = 10 + (static_cast<uint8_t>(b[8]) | static_cast<uint8_t>(b[9]) << 8);
  std::vector<float> v((b.size() - start) / 4);
  std::memcpy(v.data(), b.data() + start, 4 * v.size());
  return v;
}

TEST_F(Cli, SynthWritesCalibrationRecordingAndTruth) {
  synthesise("--freq 80320000 --freq 60240000 --no-noise");
  EXPECT_TRUE(fs::exists(dir_ / "in" / "calibration.bin"));
  EXPECT_EQ(loadNpyFloats(dir_ / "in" / "true_distance.npy").size(), 40u * 30u);
  RecordingReader reader((dir_ / "in" / "recording.kvrec").string());
  EXPECT_EQ(reader.header().width, 40u);
  EXPECT_EQ(reader.header().height, 30u);
  EXPECT_EQ(reader.header().frequencyCount, 2u);
  EXPECT_EQ(reader.frameSetCount(), 3u);
}

// Every output per frame set, and the distances against the renderer's true
// ones (independent of the demo's own statistics).
TEST_F(Cli, ProcessWritesEveryOutputAndMatchesTheScene) {
  ASSERT_EQ(run("synth --out in --frames 2").exitCode, 0);
  const CliRun r =
      run("process in/calibration.bin in/recording.kvrec --out out --set amplitudeThreshold=0.8");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_TRUE(r.err.empty()) << r.err;
  for (int frame = 0; frame < 2; ++frame) {
    const std::string prefix = "frame_000" + std::to_string(frame) + "_";
    for (const char* name :
         {"distance.png", "amplitude.png", "intensity.png", "noise.png", "flags.png", "points.ply",
          "distance.npy", "amplitude.npy", "noise.npy", "intensity.npy", "flags.npy",
          "point_cloud.npy", "exposure_proposals.npy"}) {
      EXPECT_TRUE(fs::exists(dir_ / "out" / (prefix + name))) << prefix << name;
    }
  }
  EXPECT_FALSE(fs::exists(dir_ / "out" / "frame_0002_distance.npy"));
  EXPECT_NE(readText(dir_ / "out" / "report.txt").find("set amplitudeThreshold=0.8"),
            std::string::npos);

  const std::vector<float> truth = loadNpyFloats(dir_ / "in" / "true_distance.npy");
  const std::vector<float> distance = loadNpyFloats(dir_ / "out" / "frame_0000_distance.npy");
  const std::string flagBytes = readText(dir_ / "out" / "frame_0000_flags.npy");
  const size_t start = flagBytes.size() - 4 * truth.size();
  ASSERT_EQ(distance.size(), truth.size());
  std::vector<float> errors;
  for (size_t i = 0; i < truth.size(); ++i) {
    uint32_t flags;
    std::memcpy(&flags, flagBytes.data() + start + 4 * i, 4);
    if (flags == 0 && truth[i] > 0.0f) errors.push_back(std::fabs(distance[i] - truth[i]));
  }
  EXPECT_GT(errors.size(), truth.size() * 9 / 10);
  std::nth_element(errors.begin(), errors.begin() + errors.size() / 2, errors.end());
  EXPECT_LT(errors[errors.size() / 2], 0.01f);
}

TEST_F(Cli, CalibPrintsEachFormatAndExports) {
  for (const char* format : {"container", "legacy", "block"}) {
    // The block format carries the stray-light model.
    const bool block = std::string(format) == "block";
    CliRun r = run(std::string("synth --out ") + format + " --frames 1 --format " + format +
                   (block ? " --stray-light" : ""));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    r = run(std::string("calib ") + format + "/calibration.bin");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    for (const std::string& text :
         {std::string("format:          ") + format, std::string("224 x 172 pixels"),
          std::string("80.32 MHz, 60.24 MHz"), std::string("fx="),
          std::string("stray light:           ") + (block ? "yes" : "no")}) {
      EXPECT_NE(r.out.find(text), std::string::npos) << text << "\n" << r.out;
    }
  }
  const CliRun r = run("calib block/calibration.bin --export exported");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_GT(std::distance(fs::directory_iterator(dir_ / "exported"), fs::directory_iterator()), 10);
  // One value per pixel (its width depends on the source format).
  const uintmax_t fpnBytes = fs::file_size(dir_ / "exported" / "calib_fpn.bin");
  EXPECT_TRUE(fpnBytes == 224u * 172u * 2 || fpnBytes == 224u * 172u * 4) << fpnBytes;
  const std::string roi = readText(dir_ / "exported" / "calib_CalibrationROI.bin");
  ASSERT_EQ(roi.size(), 16u);
  uint32_t values[4];
  std::memcpy(values, roi.data(), 16);
  EXPECT_EQ(values[2], 224u);
  EXPECT_EQ(values[3], 172u);
}

TEST_F(Cli, DemoMeetsItsAccuracyPromise) {
  const CliRun r = run("demo --out demo --frames 2");
  ASSERT_EQ(r.exitCode, 0) << r.err;
  EXPECT_NE(
      r.out.find("check: median error below 1 cm: yes; at least 90 % valid on wall and box: yes"),
      std::string::npos)
      << r.out;
  for (const char* name : {"distance.png", "flags.png", "points.ply", "report.txt",
                           "calibration.bin", "recording.kvrec"}) {
    EXPECT_TRUE(fs::exists(dir_ / "demo" / name)) << name;
  }
}

struct BadInput {
  const char* name;
  const char* arguments;
  const char* errorPart;  // in the one line on standard error
};

TEST_F(Cli, BadInputsGiveOneLineNonzeroExitAndNoOutput) {
  synthesise();
  ASSERT_EQ(run("synth --out other --width 16 --height 12 --frames 1").exitCode, 0);
  {
    const std::string blob = readText(dir_ / "in" / "calibration.bin");
    std::ofstream(dir_ / "truncated.bin", std::ios::binary).write(blob.data(), 1000);
    const std::string rec = readText(dir_ / "in" / "recording.kvrec");
    std::ofstream(dir_ / "cut.kvrec", std::ios::binary)
        .write(rec.data(), static_cast<std::streamsize>(rec.size() - 3));
  }
  const std::vector<std::string> before = entries();
  for (const BadInput& c : {
           BadInput{"missing calibration", "process nope.bin in/recording.kvrec --out out",
                    "cannot open calibration nope.bin"},
           BadInput{"missing recording", "process in/calibration.bin nope.kvrec --out out",
                    "cannot open recording nope.kvrec"},
           BadInput{"truncated calibration", "process truncated.bin in/recording.kvrec --out out",
                    "calibration truncated.bin cannot be used"},
           BadInput{"truncated calibration, calib", "calib truncated.bin --export out",
                    "cannot be read"},
           BadInput{"truncated recording", "process in/calibration.bin cut.kvrec --out out",
                    "truncated"},
           BadInput{"recording of another size",
                    "process in/calibration.bin other/recording.kvrec --out out",
                    "has 16 x 12 frames, the calibration 40 x 30"},
           BadInput{"unknown parameter",
                    "process in/calibration.bin in/recording.kvrec --out out --set bogus=1",
                    "unknown parameter 'bogus'"},
           BadInput{"demo with an unknown parameter", "demo --out out --set bogus=1",
                    "unknown parameter"},
           BadInput{"synth legacy of another size", "synth --out out --format legacy --width 100",
                    "legacy"},
           BadInput{"unknown subcommand option", "process --frobnicate", "frobnicate"},
       }) {
    const CliRun r = run(c.arguments);
    EXPECT_NE(r.exitCode, 0) << c.name;
    ASSERT_FALSE(r.err.empty()) << c.name;
    EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << c.name << ": " << r.err;
    EXPECT_NE(r.err.find(c.errorPart), std::string::npos) << c.name << ": " << r.err;
    EXPECT_EQ(entries(), before) << c.name;
  }
}

}  // namespace
}  // namespace kelvora::tools
