#include "interface/PrintMessage.hpp"
#include "kelvora/Configuration.hpp"

namespace kelvora {

template <ResultType RT>
Configuration::OutputRedirector<RT> Configuration::getOutputRedirection() const {
  constexpr uint32_t index = redirectionIndex(RT);
  const OutputRedirector<RT>* redirector = redirections_[RT].getIf<index>();
  if (redirector == nullptr) {
    abortWithMessage("Internal error. Enumeration to redirection mapping is corrupt.");
  }
  return *redirector;
}

template <ResultType RT>
void Configuration::setOutputRedirection(const OutputRedirector<RT>& redirector) {
  RedirectionVariant slot;
  slot.emplace<redirectionIndex(RT)>(redirector);
  redirections_[RT].swap(slot);
}

#define KELVORA_INSTANTIATE_REDIRECTION(RT)                \
  template KELVORA_API Configuration::OutputRedirector<RT> \
  Configuration::getOutputRedirection<RT>() const;         \
  template KELVORA_API void Configuration::setOutputRedirection<RT>(const OutputRedirector<RT>&);
KELVORA_INSTANTIATE_REDIRECTION(POINT_CLOUD)
KELVORA_INSTANTIATE_REDIRECTION(AMPLITUDE)
KELVORA_INSTANTIATE_REDIRECTION(FLAGS)
KELVORA_INSTANTIATE_REDIRECTION(NOISE)
KELVORA_INSTANTIATE_REDIRECTION(INTENSITY)
KELVORA_INSTANTIATE_REDIRECTION(DISTANCE)
#undef KELVORA_INSTANTIATE_REDIRECTION

}  // namespace kelvora
