// Compiles kelvora/ArrayAllocator.hpp with nothing included before it.
#include "kelvora/ArrayAllocator.hpp"
