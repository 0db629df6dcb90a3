// Compiles kelvora/Field.hpp with nothing included before it.
#include "kelvora/Field.hpp"
