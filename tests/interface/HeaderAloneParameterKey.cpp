// Compiles kelvora/ParameterKey.hpp with nothing included before it.
#include "kelvora/ParameterKey.hpp"
