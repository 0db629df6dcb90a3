// Compiles kelvora/Input.hpp with nothing included before it.
#include "kelvora/Input.hpp"
