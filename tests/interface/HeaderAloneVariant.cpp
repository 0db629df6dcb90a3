// Compiles kelvora/Variant.hpp with nothing included before it.
#include "kelvora/Variant.hpp"
