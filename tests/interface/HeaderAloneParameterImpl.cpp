// Compiles kelvora/ParameterImpl.hpp with nothing included before it.
#include "kelvora/ParameterImpl.hpp"
