// Times IKelvora::processWhole the way a C++ host calls it: an engine made by
// getKelvora, the recording's frame sets in memory, results left in the
// engine's own buffers. The C++ side of process_benchmark.py.
//
//   kelvora_process_timing CALIBRATION RECORDING ROUNDS [name=value ...]
//
// Processes every frame set once to warm up, then ROUNDS times, and prints for
// each processWhole call its duration and the CPU time of the calling thread,
// in nanoseconds, one call per line.
#include <time.h>
#include <algorithm>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "kelvora/HostSupport.hpp"
#include "kelvora/IKelvora.hpp"
#include "support/QuietStdout.hpp"
#include "support/Recording.hpp"
#include "support/ToolError.hpp"

namespace {

using kelvora::tools::ToolError;

std::vector<unsigned char> readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw ToolError("cannot open " + path);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// CPU time of this thread: unlike the wall clock it leaves out the time other
// processes on a busy machine take from it.
long long threadNanoseconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<long long>(t.tv_sec) * 1000000000LL + t.tv_nsec;
}

int run(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: %s CALIBRATION RECORDING ROUNDS [name=value ...]\n", argv[0]);
    return 2;
  }
  std::vector<unsigned char> blob = readFile(argv[1]);
  kelvora::IKelvora* engine = nullptr;
  kelvora::KelvoraStatus made;
  {
    const kelvora::tools::QuietStdout quiet;  // the calibration reader's progress lines
    made = kelvora::getKelvora(
        kelvora::ArrayReference<unsigned char>(blob.data(), static_cast<uint32_t>(blob.size())),
        &engine);
  }
  if (made.code != kelvora::KelvoraStatus::SUCCESS) {
    throw ToolError("calibration refused: " + kelvora::describeStatus(made));
  }
  kelvora::Configuration c = engine->configuration();
  for (int i = 4; i < argc; ++i) {
    const std::string setting = argv[i];
    const size_t eq = setting.find('=');
    const kelvora::ParameterSetResult r = kelvora::setParameterText(
        c, setting.substr(0, eq), eq == std::string::npos ? "" : setting.substr(eq + 1));
    if (!r.accepted()) throw ToolError(setting + ": " + r.message);
  }
  if (engine->reconfigure(c).code != kelvora::KelvoraStatus::SUCCESS) {
    throw ToolError("configuration refused");
  }

  kelvora::tools::RecordingReader reader(argv[2]);
  const kelvora::tools::RecordingHeader& header = reader.header();
  std::vector<uint32_t> recorded;
  for (uint32_t hz : kelvora::modulationFrequencies(*engine)) {
    const uint32_t* end = header.frequencies + header.frequencyCount;
    const uint32_t* at = std::find(header.frequencies, end, hz);
    if (at == end) throw ToolError("the recording lacks " + std::to_string(hz) + " Hz");
    recorded.push_back(static_cast<uint32_t>(at - header.frequencies));
  }
  std::vector<kelvora::tools::RecordedFrameSet> frameSets(reader.frameSetCount());
  for (auto& fs : frameSets) reader.next(fs);
  std::vector<kelvora::Input<kelvora::ArrayReference, 2>> inputs;
  for (auto& fs : frameSets) inputs.push_back(fs.input(recorded));

  const int rounds = std::stoi(argv[3]);
  std::vector<std::pair<long long, long long>> nanoseconds;
  for (int round = -1; round < rounds; ++round) {
    for (const auto& input : inputs) {
      const long long cpuStart = threadNanoseconds();
      const auto start = std::chrono::steady_clock::now();
      engine->processWhole(input);
      const auto stop = std::chrono::steady_clock::now();
      const long long cpuStop = threadNanoseconds();
      if (round >= 0) {
        nanoseconds.emplace_back(
            std::chrono::duration_cast<std::chrono::nanoseconds>(stop - start).count(),
            cpuStop - cpuStart);
      }
    }
  }
  delete engine;
  for (const auto& [wall, cpu] : nanoseconds) std::printf("%lld %lld\n", wall, cpu);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "kelvora_process_timing: %s\n", e.what());
    return 1;
  }
}
