#pragma once
// The front end's single diagnostic output.

namespace kelvora {

// printf-style text on standard error, followed by one line end.
#if defined(__GNUC__) || defined(__clang__)
__attribute__((format(printf, 1, 2)))
#endif
void printMessage(const char* format, ...);

// Writes nothing.
void printMessage();

// Reports a broken invariant of the library itself (never a caller's
// run-time mistake) and ends the process.
[[noreturn]] void abortWithMessage(const char* message);

}  // namespace kelvora
