#pragma once
/// \file
/// \brief Symbol visibility of the public interface.
///
/// The library is built with hidden visibility by default, so only what
/// carries KELVORA_API is exported from the shared object; class templates
/// carry it so that every explicit instantiation made inside the library is
/// exported with its vtable.

#if defined(_WIN32)
#define KELVORA_API
#elif defined(__GNUC__) || defined(__clang__)
/// \brief Marks a declaration as part of the shared library's interface.
#define KELVORA_API __attribute__((visibility("default")))
#else
#define KELVORA_API
#endif
