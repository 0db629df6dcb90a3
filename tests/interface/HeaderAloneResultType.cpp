// Compiles kelvora/ResultType.hpp with nothing included before it.
#include "kelvora/ResultType.hpp"
