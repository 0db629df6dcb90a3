// Version strings, kept as the tails of marker texts so a binary can be
// searched for them.
#include "kelvora/IKelvora.hpp"

namespace {

const char kVersionMarker[] = "kelvoraVersion=3.0.0.0";
const char kGitDescriptionMarker[] = "kelvoraGitDescription=no-git-description-available";
const char* const kelvoraVersion = kVersionMarker + sizeof("kelvoraVersion=") - 1;
const char* const kelvoraGitDescription =
    kGitDescriptionMarker + sizeof("kelvoraGitDescription=") - 1;

}  // namespace

namespace kelvora {

const char* getVersion() {
  return kelvoraVersion;
}
const char* getGitDescription() {
  return kelvoraGitDescription;
}

}  // namespace kelvora

extern "C" {
const char* kelvora_getVersion() {
  return kelvoraVersion;
}
const char* kelvora_getGitDescription() {
  return kelvoraGitDescription;
}
}
