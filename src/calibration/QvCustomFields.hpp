#pragma once
// Second pass over a block-format calibration that fills the custom fields
// (identifiers from firstCustomFieldId up) of a record the reader prepared.
#include <cstdint>

#include "calibration/CalibrationRecord.hpp"

namespace kelvora {

// The k-th custom block is decoded into customFields[k].data with the entry's
// size as capacity (a missing buffer is allocated with that size). Blocks
// below firstCustomFieldId are skipped by their payload size. Statuses: the
// header's, status::kInvalidValue for identifiers not rising,
// status::kCapacityExceeded for a block without an entry or too large for it,
// and the decoding statuses.
uint32_t kelvora_readQVCustomFields(const uint8_t* data, uint32_t size,
                                    KelvoraCalibration* calibration);

}  // namespace kelvora
