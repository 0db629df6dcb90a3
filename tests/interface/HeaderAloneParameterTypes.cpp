// Compiles kelvora/ParameterTypes.hpp with nothing included before it.
#include "kelvora/ParameterTypes.hpp"
