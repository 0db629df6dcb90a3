// Compiles kelvora/ParameterBuilder.hpp with nothing included before it.
#include "kelvora/ParameterBuilder.hpp"
