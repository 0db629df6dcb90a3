// Writes the seed corpora of the fuzz targets from the synthetic calibrations
// and the three writers, so no binary seeds live in the tree:
//
//   kelvora_fuzz_seeds OUTPUT_DIR
//
// creates OUTPUT_DIR/kelvora_fuzz_<target>/ for every target.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "EngineFuzzInput.hpp"
#include "FuzzSupport.hpp"
#include "synthetic/BlockCalibrationWriter.hpp"
#include "synthetic/ContainerCalibrationWriter.hpp"
#include "synthetic/LegacyCalibrationWriter.hpp"

namespace {

using namespace kelvora;

std::filesystem::path g_root;

void write(const std::string& target, const std::string& name, const std::vector<uint8_t>& bytes) {
  const std::filesystem::path dir = g_root / ("kelvora_fuzz_" + target);
  std::filesystem::create_directories(dir);
  std::ofstream out(dir / name, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  if (!out) {
    std::fprintf(stderr, "cannot write %s/%s\n", dir.c_str(), name.c_str());
    std::exit(1);
  }
}

void calibrationSeeds() {
  const fuzz::RecordPtr two = fuzz::syntheticRecord(8, 6, {80320000u, 60240000u}, true);
  const fuzz::RecordPtr one = fuzz::syntheticRecord(5, 3, {60240000u}, false, 2);
  const fuzz::RecordPtr three =
      fuzz::syntheticRecord(4, 4, {80320000u, 60240000u, 20000000u}, false, 3);
  synth::ContainerWriterOptions packed;
  packed.fpn = {-6.0f, 6.0f, 0.01f};
  packed.fppn = {-0.02f, 0.02f, 0.0005f};
  write("get_kelvora", "plain_8x6", synth::writeContainerCalibration(*two, {}));
  write("get_kelvora", "packed_5x3", synth::writeContainerCalibration(*one, packed));
  write("get_kelvora", "three_frequencies", synth::writeContainerCalibration(*three, {}));

  // The layout is fixed to the full sensor; one seed with either
  // phase-noise code width.
  synth::LegacyWriterOptions legacy;
  legacy.fpnOffset = -6.0f;
  legacy.fpnStep = 1.75f;
  legacy.frequency[0] = {-0.02f, 0.02f, false};
  legacy.frequency[1] = {-0.02f, 0.02f, true};
  write("get_kelvora", "legacy",
        synth::writeLegacyCalibration(
            *fuzz::syntheticRecord(224, 172, {80320000u, 60240000u}, false), legacy));

  two->auxValues[0] = 3;  // a block of unset values would be refused
  synth::BlockWriterOptions block;
  block.dateSeconds = 1700000000u;
  block.auxBytes = block.auxValues = true;
  block.fpnType = block.fppnType = 6;
  block.maskBits = 3;
  write("block_reader", "packed_8x6", synth::writeBlockCalibration(*two, block));
  write("block_reader", "floats_5x3", synth::writeBlockCalibration(*one));
  for (const char* target : {"block_reader", "block_custom_fields", "get_kelvora"}) {
    write(target, "custom_blocks", fuzz::customBlocksBlob());
  }
  write("block_custom_fields", "odd_first_byte", {1});
}

// bits, count, offset, n (4 bytes each, little-endian), then the words.
std::vector<uint8_t> packedArraySeed(uint8_t bits, uint32_t count, uint32_t offset, uint32_t n) {
  std::vector<uint8_t> s = {bits};
  for (uint32_t v : {count, offset, n}) {
    for (int b = 0; b < 4; ++b) s.push_back(static_cast<uint8_t>(v >> (8 * b)));
  }
  for (uint32_t i = 0; i < (count * bits + 31) / 32 * 4; ++i) s.push_back(uint8_t(i * 37u + bits));
  return s;
}

void engineSeeds() {
  for (uint32_t i = 0; i < fuzz::engineCalibrations().size(); ++i) {
    write("engine", "rendered_" + std::to_string(i), fuzz::renderedEngineInput(i, 0));
  }
  // Every operation once on the first calibration, with two redirections
  // exactly as large as required, then again one element short.
  std::vector<uint8_t> ops = fuzz::renderedEngineInput(0, 1);
  std::vector<uint8_t> all = {0, 0, 0x21, 0, 0, fuzz::kEngineOperationCount};
  for (uint8_t op = 0; op < fuzz::kEngineOperationCount; ++op) all.push_back(op);
  all.insert(all.end(), ops.begin() + 5, ops.end());
  write("engine", "every_operation", all);
  all[3] = all[4] = 0xC0;
  write("engine", "short_targets", all);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s OUTPUT_DIR\n", argv[0]);
    return 2;
  }
  g_root = argv[1];
  calibrationSeeds();
  write("packed_array", "w3_head_block_tail", packedArraySeed(3, 100, 5, 90));
  write("packed_array", "w32_all", packedArraySeed(32, 40, 0, 40));
  write("packed_array", "w17_past_end", packedArraySeed(17, 70, 60, 50));
  engineSeeds();
  return 0;
}
