#include "interface/PrintMessage.hpp"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace kelvora {

void printMessage(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::vfprintf(stderr, format, args);
  va_end(args);
  std::fputc('\n', stderr);
}

void printMessage() {}

void abortWithMessage(const char* message) {
  printMessage("%s", message);
  std::abort();
}

}  // namespace kelvora
