// Compiles kelvora/CalibrationField.hpp with nothing included before it.
#include "kelvora/CalibrationField.hpp"
