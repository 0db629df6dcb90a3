// Compiles kelvora/Configuration.hpp with nothing included before it.
#include "kelvora/Configuration.hpp"
