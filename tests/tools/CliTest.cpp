// The built kelvora program run as a user runs it: exit codes, the single
// error line on standard error, which files appear, and the distances it
// writes against the synthetic scene's true ones.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

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

// A .npy file as the tool writes it: element type, shape and the raw
// little-endian data; empty unless the header is of version 1.0 and the data
// starts aligned to 64 bytes, as the format asks.
struct Npy {
  std::string descr;
  std::vector<uint32_t> shape;
  std::string data;
  template <class T>
  T at(size_t i) const {
    T v;
    std::memcpy(&v, data.data() + sizeof(T) * i, sizeof(T));
    return v;
  }
};

Npy loadNpy(const fs::path& p) {
  const std::string b = readText(p);
  if (b.size() < 10 || b.compare(0, 8, std::string("\x93NUMPY\x01\x00", 8)) != 0) return {};
  const size_t start = 10 + (static_cast<uint8_t>(b[8]) | static_cast<uint8_t>(b[9]) << 8);
  if (start % 64 != 0 || b[start - 1] != '\n') return {};
  Npy npy;
  const size_t descr = b.find("'descr': '") + 10;
  npy.descr = b.substr(descr, b.find('\'', descr) - descr);
  const size_t open = b.find('(', b.find("'shape'")), close = b.find(')', open);
  for (size_t i = open + 1; i < close; i = b.find(',', i) + 1) {
    if (b.find_first_not_of(" ,", i) < close) npy.shape.push_back(std::stoul(b.substr(i)));
    if (b.find(',', i) > close) break;
  }
  npy.data = b.substr(start);
  return npy;
}

size_t plyVertexCount(const fs::path& p) {
  const std::string b = readText(p);
  const size_t at = b.find("element vertex ");
  return at == std::string::npos ? 0 : std::stoul(b.substr(at + 15));
}

// Every staging folder a run could have left, anywhere below `root`.
std::vector<std::string> stagingLeftovers(const fs::path& root) {
  std::vector<std::string> found;
  for (const auto& e : fs::recursive_directory_iterator(root)) {
    if (e.path().filename().string().rfind(".kelvora-staging-", 0) == 0) {
      found.push_back(e.path().string());
    }
  }
  return found;
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
  void TearDown() override {
    std::error_code ec;  // a test may have locked a folder
    for (const auto& e : fs::recursive_directory_iterator(dir_, ec)) {
      if (e.is_directory(ec))
        fs::permissions(e.path(), fs::perms::owner_all, fs::perm_options::add, ec);
    }
    fs::remove_all(dir_, ec);
  }

  // Runs the tool in dir_ / cwd; `prefix` goes before the program (e.g. a
  // command that changes the user).
  CliRun run(const std::string& arguments, const std::string& cwd = "",
             const std::string& prefix = "") {
    const std::string out = (dir_ / "stdout.txt").string(), err = (dir_ / "stderr.txt").string();
    const std::string command = "cd '" + (dir_ / cwd).string() + "' && " + prefix +
                                " '" KELVORA_CLI_PATH "' " + arguments + " >'" + out + "' 2>'" +
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

  void synthesise(const std::string& arguments) {
    const CliRun r = run("synth " + arguments);
    ASSERT_EQ(r.exitCode, 0) << arguments << ": " << r.err;
    ASSERT_TRUE(r.err.empty()) << r.err;
  }

  fs::path dir_;
};

// One run of synth then process. The legacy layout holds exactly 224 x 172
// pixels and two calibrated frequencies, so it has no odd-width rows and its
// one-frequency rows ask for numFreqs=1; it stores no amplitude-wiggling
// offset, which the multipath-by-amplitude test needs.
struct EndToEnd {
  const char* calibration;  // synth arguments of the calibration
  const char* recording;    // synth arguments of the recording, when not the same
  std::string settings;     // process arguments
  uint32_t oneFrequency;    // Hz, when the engine processes one; 0 for two
};

TEST_F(Cli, SynthThenProcessRecoversTheSceneInEveryLayout) {
  const std::string sparse = " --set useSparsePointCloud=true", one = " --set numFreqs=1",
                    legacy = " --set useMPIFlagAmplitude=false";
  // One frame set per recording but in the first rows, which check that
  // every frame set of a recording is processed.
  const char* two = "--width 64 --height 48 --frames 2";
  const char* odd = "--width 61 --height 47 --frames 1";
  // At 30 MHz the scene lies within one unambiguous range, at 80.32 MHz it wraps.
  const char* oddOne = "--width 61 --height 47 --frames 1 --freq 30000000";
  const char* single = "--frames 1 --freq 80320000";     // 224 x 172
  const char* legacyTwo = "--frames 1 --format legacy";  // the full 224 x 172 sensor
  const std::vector<EndToEnd> rows = {
      {two, nullptr, "", 0},
      {two, nullptr, sparse, 0},
      {single, nullptr, "", 80320000},
      {single, nullptr, sparse, 80320000},
      {single, "--frames 1", "", 80320000},  // two frequencies recorded, one calibrated
      {odd, nullptr, "", 0},
      {odd, nullptr, sparse, 0},
      {oddOne, nullptr, "", 30000000},
      {oddOne, nullptr, sparse, 30000000},
      {legacyTwo, nullptr, legacy, 0},
      {legacyTwo, nullptr, legacy + sparse, 0},
      {legacyTwo, nullptr, legacy + one, 80320000},
      {legacyTwo, nullptr, legacy + one + sparse, 80320000},
  };
  std::map<std::string, std::string> folders;  // synth arguments -> folder
  auto synthFolder = [&](const std::string& arguments) {
    std::string& folder = folders[arguments];
    if (folder.empty()) {
      folder = "s" + std::to_string(folders.size());
      synthesise("--out " + folder + " " + arguments);
    }
    return folder;
  };
  for (size_t row = 0; row < rows.size(); ++row) {
    const EndToEnd& e = rows[row];
    const std::string label = std::to_string(row) + ": " + e.calibration + " /" + e.settings;
    const std::string cal = synthFolder(e.calibration);
    const std::string rec = e.recording != nullptr ? synthFolder(e.recording) : cal;
    const std::string out = "p" + std::to_string(row);
    const CliRun r = run("process " + cal + "/calibration.bin " + rec + "/recording.kvrec --out " +
                         out + e.settings);
    ASSERT_EQ(r.exitCode, 0) << label << ": " << r.err;
    EXPECT_TRUE(r.err.empty()) << label << ": " << r.err;

    const Npy truth = loadNpy(dir_ / rec / "true_distance.npy");
    ASSERT_EQ(truth.shape.size(), 2u) << label;
    const uint32_t h = truth.shape[0], w = truth.shape[1], n = w * h;
    const fs::path frame = dir_ / out / "frame_0000_";
    const Npy distance = loadNpy(frame.string() + "distance.npy");
    const Npy flags = loadNpy(frame.string() + "flags.npy");
    const Npy noise = loadNpy(frame.string() + "noise.npy");
    for (const char* name : {"distance", "amplitude", "noise", "intensity", "flags"}) {
      const Npy image = loadNpy(frame.string() + name + ".npy");
      EXPECT_EQ(image.shape, truth.shape) << label << name;
      EXPECT_EQ(image.descr, name == std::string("flags") ? "<u4" : "<f4") << label << name;
    }
    const Npy proposals = loadNpy(frame.string() + "exposure_proposals.npy");
    EXPECT_EQ(proposals.shape, std::vector<uint32_t>{e.oneFrequency != 0 ? 2u : 3u}) << label;
    EXPECT_EQ(proposals.descr, "<u4") << label;
    const bool twoFrameSets =
        std::string(e.recording ? e.recording : e.calibration).find("--frames 2") !=
        std::string::npos;
    EXPECT_EQ(fs::exists(dir_ / out / "frame_0001_distance.png"), twoFrameSets) << label;
    EXPECT_FALSE(fs::exists(dir_ / out / "frame_0002_distance.png")) << label;

    // One frequency measures distances modulo its unambiguous range.
    const double range = e.oneFrequency != 0 ? 149852320.0 / e.oneFrequency : 1e9;
    std::vector<uint32_t> valid;
    std::vector<double> errors, noises;
    for (uint32_t i = 0; i < n; ++i) {
      if (flags.at<uint32_t>(i) != 0) continue;
      valid.push_back(i);
      noises.push_back(noise.at<float>(i));
      const double t = truth.at<float>(i);
      const double wrapped = std::fabs(std::remainder(distance.at<float>(i) - t, range));
      if (t > 0) errors.push_back(wrapped);
    }
    EXPECT_GT(valid.size(), n * 3 / 4) << label;
    ASSERT_FALSE(errors.empty()) << label;
    // As accurate as the engine says, and never worse than 2 cm.
    const auto median = [](std::vector<double>& v) {
      std::nth_element(v.begin(), v.begin() + v.size() / 2, v.end());
      return v[v.size() / 2];
    };
    const double medianError = median(errors);
    EXPECT_LT(medianError, std::min(0.02, median(noises))) << label;

    // The PLY holds the valid points; the .npy cloud every pixel when dense,
    // the valid points packed in pixel order when sparse, each at its
    // pixel's distance from the camera.
    EXPECT_EQ(plyVertexCount(frame.string() + "points.ply"), valid.size()) << label;
    const bool isSparse = e.settings.find("Sparse") != std::string::npos;
    const Npy cloud = loadNpy(frame.string() + "point_cloud.npy");
    const std::vector<uint32_t> cloudShape =
        isSparse ? std::vector<uint32_t>{static_cast<uint32_t>(valid.size()), 4}
                 : std::vector<uint32_t>{h, w, 4};
    EXPECT_EQ(cloud.shape, cloudShape) << label;
    ASSERT_EQ(cloud.data.size(), 16 * (isSparse ? valid.size() : n)) << label;
    for (size_t k = 0; k < valid.size(); ++k) {
      const size_t point = isSparse ? k : valid[k];
      const double x = cloud.at<float>(4 * point), y = cloud.at<float>(4 * point + 1),
                   z = cloud.at<float>(4 * point + 2);
      ASSERT_NEAR(std::sqrt(x * x + y * y + z * z), distance.at<float>(valid[k]), 1e-4)
          << label << " point " << k;
    }
  }
}

struct UserPath {
  const char* name;
  std::string arguments;
  int exitCode;                   // nonzero: a refusal, which writes nothing
  const char* message;            // in the one line on standard error, or in standard output
  const char* present = nullptr;  // a path that exists afterwards
  const char* absent = nullptr;   // a path that does not, or a text not in standard output
  const char* cwd = "";           // below the working folder
  bool asAnotherUser = false;     // not root, who could write anywhere
};

TEST_F(Cli, UserPathsSayWhatHappenedAndLeaveOneRunsOutputs) {
  for (const char* s : {"in --frames 3", "short --frames 2", "one --frames 1 --freq 80320000",
                        "blk --frames 1 --format block --stray-light"}) {
    synthesise(std::string("--out ") + s + " --width 40 --height 30");
  }
  synthesise("--out leg --frames 1 --format legacy");
  synthesise("--out other --width 16 --height 12 --frames 1");
  ASSERT_EQ(run("process in/calibration.bin in/recording.kvrec --out old").exitCode, 0);
  fs::create_directories(dir_ / "old" / ".kelvora-staging-999999999");  // of a killed run
  fs::create_directories(dir_ / "mine");
  std::ofstream(dir_ / "mine" / "notes.txt") << "mine";
  const std::string blob = readText(dir_ / "in" / "calibration.bin");
  std::ofstream(dir_ / "truncated.bin", std::ios::binary).write(blob.data(), 1000);
  const std::string rec = readText(dir_ / "in" / "recording.kvrec");
  std::ofstream(dir_ / "cut.kvrec", std::ios::binary)
      .write(rec.data(), static_cast<std::streamsize>(rec.size() - 3));
  // An empty output folder whose parent the user cannot write.
  fs::create_directories(dir_ / "locked" / "here");
  const bool root = ::geteuid() == 0;
  if (root) {
    ASSERT_EQ(::chown((dir_ / "locked" / "here").c_str(), 65534, 65534), 0);
  }
  fs::permissions(dir_ / "locked", fs::perms::owner_write, fs::perm_options::remove);

  const std::string process = "process in/calibration.bin in/recording.kvrec --out ";
  for (const UserPath& c : {
           UserPath{"missing calibration", "process nope.bin in/recording.kvrec --out out", 1,
                    "cannot open calibration nope.bin"},
           UserPath{"calibration is a folder", "process in in/recording.kvrec --out out", 1,
                    "calibration in is a folder, not a file; did you mean in/calibration.bin?"},
           UserPath{"missing recording", "process in/calibration.bin nope.kvrec --out out", 1,
                    "cannot open recording nope.kvrec"},
           UserPath{"truncated calibration", "process truncated.bin in/recording.kvrec --out out",
                    1, "ends before the record it announces is complete (STREAM_TOO_SHORT"},
           UserPath{"truncated calibration, calib", "calib truncated.bin --export out", 1,
                    "STREAM_TOO_SHORT, 0x80000004); the file is truncated"},
           UserPath{"truncated recording", "process in/calibration.bin cut.kvrec --out out", 1,
                    "truncated"},
           UserPath{"recording of another size",
                    "process in/calibration.bin other/recording.kvrec --out out", 1,
                    "has 16 x 12 frames, the calibration 40 x 30"},
           UserPath{"recording without a frequency of the calibration",
                    "process in/calibration.bin one/recording.kvrec --out out", 1,
                    "holds frames at 80.32 MHz, but the engine processes 80.32 MHz and 60.24 MHz"},
           UserPath{"block calibration", "process blk/calibration.bin in/recording.kvrec --out out",
                    1, "block format, which the engine cannot process; kelvora calib"},
           UserPath{"unknown parameter", process + "out --set bogus=1", 1,
                    "unknown parameter 'bogus'"},
           UserPath{"parameter the calibration fixes",
                    "process one/calibration.bin one/recording.kvrec --out out --set numFreqs=2", 1,
                    "numFreqs is fixed by this calibration: the calibration holds one modulation"},
           UserPath{"value out of bounds", process + "out --set amplitudeThreshold=5000", 1,
                    "outside the bounds of amplitudeThreshold, [0.00015, 4095]"},
           UserPath{"value of another type", process + "out --set useSparsePointCloud=yes", 1,
                    "useSparsePointCloud takes true or false, not 'yes'"},
           UserPath{"frequency the calibration lacks", process + "out --set freq1=20000000", 1,
                    "a modulation frequency it was set to has no calibration"},
           UserPath{"demo with an unknown parameter", "demo --out out --set bogus=1", 1,
                    "unknown parameter"},
           UserPath{"synth legacy of another size", "synth --out out --format legacy --width 100",
                    1, "legacy"},
           UserPath{"unknown subcommand option", "process --frobnicate", 2, "frobnicate"},
           UserPath{"folder with files of the user", process + "mine", 1,
                    "output folder mine holds files kelvora did not write ('notes.txt')",
                    "mine/notes.txt"},
           UserPath{"folder with another command's output", process + "in", 1,
                    "output folder in holds the output of kelvora synth", "in/recording.kvrec"},
           UserPath{"parameters of a one-frequency engine",
                    "process --list-parameters one/calibration.bin", 0,
                    "freq1                       unsigned  80320000", nullptr, "numFreqs"},
           UserPath{"help names the formats", "process --help", 0, "container or legacy", nullptr,
                    "container, legacy or block"},
           UserPath{"calib of a container", "calib in/calibration.bin", 0,
                    "format:          container"},
           UserPath{"calib of a legacy file", "calib leg/calibration.bin", 0,
                    "format:          legacy"},
           UserPath{"calib of a block file and its export",
                    "calib blk/calibration.bin --export exported", 0, "stray light:           yes",
                    "exported/calib_fpn.bin"},
           UserPath{"demo keeps its accuracy promise", "demo --out demo --frames 2", 0,
                    "check: median error below 1 cm: yes; at least 90 % valid on wall and box: yes",
                    "demo/points.ply"},
           UserPath{"block file for calib only", "synth --out blk2 --frames 1 --format block", 0,
                    "kelvora calib blk2/calibration.bin shows what this one holds"},
           UserPath{"second run replaces the first whole",
                    "process in/calibration.bin short/recording.kvrec --out old", 0,
                    "outputs in old", "old/frame_0001_distance.png", "old/frame_0002_distance.png"},
           UserPath{"current folder below a locked one", "synth --out . --width 16 --height 12", 0,
                    "wrote ./calibration.bin", "locked/here/recording.kvrec", nullptr,
                    "locked/here", true},
       }) {
    const std::vector<std::string> before = entries();
    const CliRun r =
        run(c.arguments, c.cwd,
            c.asAnotherUser && root ? "setpriv --reuid=65534 --regid=65534 --clear-groups" : "");
    EXPECT_EQ(r.exitCode, c.exitCode) << c.name << ": " << r.err;
    if (c.exitCode != 0) {
      EXPECT_EQ(r.err.find('\n'), r.err.size() - 1) << c.name << ": " << r.err;
      EXPECT_NE(r.err.find(c.message), std::string::npos) << c.name << ": " << r.err;
      EXPECT_EQ(entries(), before) << c.name;
    } else {
      EXPECT_TRUE(r.err.empty()) << c.name << ": " << r.err;
      EXPECT_NE(r.out.find(c.message), std::string::npos) << c.name << ": " << r.out;
    }
    EXPECT_TRUE(c.present == nullptr || fs::exists(dir_ / c.present)) << c.name;
    EXPECT_TRUE(c.absent == nullptr || !fs::exists(dir_ / c.absent)) << c.name;
    EXPECT_TRUE(c.absent == nullptr || r.out.find(c.absent) == std::string::npos) << c.name;
  }
  EXPECT_EQ(stagingLeftovers(dir_), std::vector<std::string>{});
  EXPECT_NE(readText(dir_ / "old" / "report.txt").find("2 frame sets"), std::string::npos);
}

// Interrupted while writing frame outputs: the folder it created goes again.
TEST_F(Cli, InterruptedRunLeavesNoOutputFolder) {
  synthesise("--out in --frames 10");
  const std::string calibration = (dir_ / "in" / "calibration.bin").string(),
                    recording = (dir_ / "in" / "recording.kvrec").string(),
                    out = (dir_ / "out").string();
  const char* argv[] = {
      KELVORA_CLI_PATH, "process", calibration.c_str(), recording.c_str(), "--out",
      out.c_str(),      nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  ASSERT_EQ(
      posix_spawn(&pid, KELVORA_CLI_PATH, &actions, nullptr, const_cast<char**>(argv), environ), 0);
  posix_spawn_file_actions_destroy(&actions);
  bool staged = false;
  for (int i = 0; i < 2000 && !staged; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(dir_ / "out", ec)) {
      staged = staged || !fs::is_empty(e.path(), ec);
    }
  }
  ::kill(pid, SIGINT);
  int status = 0;
  ASSERT_EQ(::waitpid(pid, &status, 0), pid);
  ASSERT_TRUE(staged);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
  EXPECT_FALSE(fs::exists(dir_ / "out"));
}

}  // namespace
}  // namespace kelvora::tools
