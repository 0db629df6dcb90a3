// Compiles kelvora/Parameter.hpp with nothing included before it.
#include "kelvora/Parameter.hpp"
