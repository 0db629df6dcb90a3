#pragma once
// The element types for which the containers and the allocator exist. Each
// source unit that defines one of those templates instantiates it for exactly
// this list.
#include "kelvora/Configuration.hpp"
#include "kelvora/Parameter.hpp"

namespace kelvora::details {
using RedirectionVariant = Configuration::RedirectionVariant;
}  // namespace kelvora::details

#define KELVORA_FOR_EACH_ELEMENT_TYPE(X) \
  X(char)                                \
  X(unsigned char)                       \
  X(unsigned short)                      \
  X(int)                                 \
  X(unsigned int)                        \
  X(float)                               \
  X(::kelvora::Parameter)                \
  X(::kelvora::details::RedirectionVariant)
