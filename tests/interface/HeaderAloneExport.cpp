// Compiles kelvora/Export.hpp with nothing included before it.
#include "kelvora/Export.hpp"
