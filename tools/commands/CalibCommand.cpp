// kelvora calib FILE [--export DIR]
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>

#include "calibration/CalibrationExport.hpp"
#include "commands/Commands.hpp"
#include "support/CalibrationFile.hpp"
#include "support/InputFile.hpp"
#include "support/StagingDir.hpp"
#include "support/ToolError.hpp"

namespace kelvora::tools {

namespace {

struct CalibOptions {
  std::string file;
  std::string exportDir;
};

// Clears the export directory however the export ends, so no later read
// writes anywhere.
struct SaveDirScope {
  explicit SaveDirScope(const char* dir) { calibrationSaveDir = dir; }
  ~SaveDirScope() { calibrationSaveDir = nullptr; }
};

void runCalib(const CalibOptions& o) {
  const std::vector<uint8_t> blob = readFileBytes(o.file, "calibration", "calibration.bin");
  const CalibrationFormat format = detectCalibrationFormat(blob);
  if (o.exportDir.empty()) {
    const CalibrationPtr record = readCalibration(blob, o.file);
    std::cout << "file:            " << o.file << " (" << blob.size() << " bytes)\n"
              << describeCalibration(*record, format);
    return;
  }
  StagingDir out(o.exportDir, "calib");
  CalibrationPtr record;
  {
    // Reading a legacy calibration exports it by itself; the others are
    // exported from the record once read.
    SaveDirScope scope(out.path().c_str());
    record = readCalibration(blob, o.file);
    if (format != CalibrationFormat::kLegacy && !ovaniCustomCalibrationSave(record.get())) {
      throw ToolError("exporting " + o.file + " into " + o.exportDir + " failed");
    }
  }
  std::fflush(stdout);
  out.commit();
  std::cout << "file:            " << o.file << " (" << blob.size() << " bytes)\n"
            << describeCalibration(*record, format) << "exported raw calibration files into "
            << o.exportDir << "\n";
}

}  // namespace

void addCalibCommand(CLI::App& app) {
  auto options = std::make_shared<CalibOptions>();
  CLI::App* cmd = app.add_subcommand(
      "calib", "Show what a calibration file holds (any format) and optionally export it");
  cmd->add_option("file", options->file, "calibration file")->required();
  cmd->add_option("--export", options->exportDir,
                  "write the calibration's fields as raw .bin files into this folder");
  cmd->callback([options] { runCalib(*options); });
}

}  // namespace kelvora::tools
