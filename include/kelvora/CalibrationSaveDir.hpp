#pragma once
/// \file
/// \brief Where a legacy calibration is written out as raw files.
#include "kelvora/Export.hpp"

namespace kelvora {

extern "C" {
/// \brief Folder into which every legacy calibration that getKelvora()
/// reads is also written, one raw little-endian file per field, named
/// "calib_" + field + ".bin" (per-frequency fields end in the frequency in
/// hertz, e.g. "calib_fppn_80320000Hz.bin").
///
/// Set it before getKelvora(), without a trailing separator; the folder is
/// created if it is missing and existing files of those names are replaced.
/// While it is null (the default) nothing is written. The string must stay
/// valid while calibrations are read. It is one process-wide setting: set
/// it before engines are created on several threads, and do not let two
/// legacy calibrations be read into the same folder at once. Container
/// calibrations are never written out.
///
/// C linkage: the exported symbol is `calibrationSaveDir`.
extern KELVORA_API const char* calibrationSaveDir;
}

}  // namespace kelvora
