#pragma once
// Where one result kind lives: in caller memory (redirected) or in a buffer
// the engine owns, and how to store that memory's address into the core's
// output record.
#include <functional>

#include "base/KelvoraOutput.hpp"
#include "kelvora/Field.hpp"

namespace kelvora {

template <class T>
struct ResultProxy {
  using Binder = std::function<void(KelvoraOutput&, T*)>;

  explicit ResultProxy(Binder binder) : bind(std::move(binder)) {}
  ResultProxy(const ResultProxy&) = delete;
  ResultProxy& operator=(const ResultProxy&) = delete;
  ~ResultProxy() {
    details::callDelete(target);
    details::callDelete(retired);
  }

  // Takes ownership of field (an ArrayReference or an ArrayHolder). The
  // engine's own buffer, when a redirection replaces it, is kept aside until
  // the reconfiguration is settled, so that a rollback gets it back with the
  // results it holds.
  void replaceTarget(AbstractField<T>* field) {
    if (!redirected && retired == nullptr) {
      retired = target;
    } else {
      details::callDelete(target);
    }
    target = field;
  }
  // Back to the engine buffer kept aside, if there is one.
  bool restoreRetired() {
    if (retired == nullptr) return false;
    details::callDelete(target);
    target = retired;
    retired = nullptr;
    return true;
  }
  void releaseRetired() {
    details::callDelete(retired);
    retired = nullptr;
  }

  // True from construction on, so the first reconfiguration gives every
  // result that is not redirected an engine buffer.
  bool redirected = true;
  AbstractField<T>* target = nullptr;
  AbstractField<T>* retired = nullptr;
  Binder bind;
};

}  // namespace kelvora
