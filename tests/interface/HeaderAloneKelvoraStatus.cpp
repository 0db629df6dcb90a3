// Compiles kelvora/KelvoraStatus.hpp with nothing included before it.
#include "kelvora/KelvoraStatus.hpp"
