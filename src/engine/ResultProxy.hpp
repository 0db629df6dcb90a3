#pragma once
// Where one result kind lives: in caller memory (redirected) or in a buffer
// the engine owns, and how to store that memory's address into the core's
// output record.
#include <functional>

#include "core/KelvoraOutput.hpp"
#include "kelvora/Field.hpp"

namespace kelvora {

template <class T>
struct ResultProxy {
  using Binder = std::function<void(KelvoraOutput&, T*)>;

  explicit ResultProxy(Binder binder) : bind(std::move(binder)) {}
  ResultProxy(const ResultProxy&) = delete;
  ResultProxy& operator=(const ResultProxy&) = delete;
  ~ResultProxy() { details::callDelete(target); }

  // Takes ownership of field (an ArrayReference or an ArrayHolder).
  void replaceTarget(AbstractField<T>* field) {
    details::callDelete(target);
    target = field;
  }

  // True from construction on, so the first reconfiguration gives every
  // result that is not redirected an engine buffer.
  bool redirected = true;
  AbstractField<T>* target = nullptr;
  Binder bind;
};

}  // namespace kelvora
