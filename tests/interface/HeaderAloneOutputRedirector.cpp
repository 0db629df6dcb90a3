// Compiles kelvora/OutputRedirector.hpp with nothing included before it.
#include "kelvora/OutputRedirector.hpp"
