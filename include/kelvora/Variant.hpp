#pragma once
// A tagged union over a fixed list of alternatives. The alternative lives in a
// separately allocated block from allocArray<char>, so the storage is always
// released by the library; index() is the active alternative, sizeof...(Ts)
// meaning empty. Several alternatives may share one type (the parameter value
// ends in a second bool nobody uses), so alternatives are addressed by index.
#include <cstddef>
#include <cstdint>
#include <new>
#include <ostream>
#include <type_traits>
#include <utility>

#include "kelvora/ArrayAllocator.hpp"
#include "kelvora/Export.hpp"

namespace kelvora {
namespace details {

template <std::size_t I, class... Ts>
struct nth_type;
template <class T, class... Ts>
struct nth_type<0, T, Ts...> {
  using type = T;
};
template <std::size_t I, class T, class... Ts>
struct nth_type<I, T, Ts...> {
  using type = typename nth_type<I - 1, Ts...>::type;
};

// Calls visitor with the alternative stored at storage when index equals
// I + k for the k-th type of T, Rest...; an index outside the list calls
// nothing. Byte is char or const char and decides the constness of the
// alternative the visitor sees.
template <uint32_t I, class T, class... Rest, class Byte, class Visitor>
void apply_visitor(uint32_t index, Byte* storage, Visitor&& visitor) {
  if (index == I) {
    using Object = std::conditional_t<std::is_const_v<Byte>, const T, T>;
    visitor(*std::launder(reinterpret_cast<Object*>(storage)));
    return;
  }
  if constexpr (sizeof...(Rest) > 0) {
    apply_visitor<I + 1, Rest...>(index, storage, std::forward<Visitor>(visitor));
  }
}

template <std::size_t A, std::size_t... B>
constexpr std::size_t maxOf() {
  if constexpr (sizeof...(B) == 0) {
    return A;
  } else {
    return A > maxOf<B...>() ? A : maxOf<B...>();
  }
}

}  // namespace details

template <class... Ts>
class KELVORA_API Variant {
 public:
  static constexpr uint32_t kEmpty = sizeof...(Ts);
  // Large enough for the largest alternative: 4 bytes for the parameter
  // value, the size of a std::function (16 bytes on 32-bit ARM) for the
  // setter, an output redirector for the redirection table.
  static constexpr std::size_t kStorageSize = details::maxOf<sizeof(Ts)...>();
  static_assert(details::maxOf<alignof(Ts)...>() <= alignof(std::max_align_t),
                "allocArray<char> storage is aligned for fundamental types only");

  template <std::size_t I>
  using Alternative = typename details::nth_type<I, Ts...>::type;

  // Setter visitor: copy-constructs the visited alternative into target.
  struct setter {
    char* target;
    template <class T>
    void operator()(const T& source) const {
      ::new (static_cast<void*>(target)) T(source);
    }
  };
  // Printer visitor: the stream's own formatting of the alternative.
  struct printer {
    std::ostream& os;
    template <class T>
    void operator()(const T& value) const {
      os << value;
    }
  };
  // Destructor visitor: ends the lifetime of the active alternative.
  struct destructor {
    template <class T>
    void operator()(T& value) const {
      value.~T();
    }
  };

  Variant() : storage_(allocArray<char>(kStorageSize)) {}

  Variant(const Variant& other) : Variant() {
    // Leaves this empty (and the delegating constructor frees the storage)
    // if copying the alternative throws.
    details::apply_visitor<0u, Ts...>(other.index_, other.storage(), setter{storage_});
    index_ = other.index_;
  }

  // Holds value in the first alternative whose type is T.
  template <class T, class = std::enable_if_t<!std::is_same_v<std::decay_t<T>, Variant>>>
  explicit Variant(T&& value) : Variant() {
    constexpr uint32_t i = firstIndexOf<std::decay_t<T>>();
    static_assert(i < kEmpty, "no alternative of this type");
    emplace<i>(std::forward<T>(value));
  }

  Variant& operator=(const Variant& other) {
    if (this != &other) {
      Variant copy(other);
      swap(copy);
    }
    return *this;
  }

  ~Variant() {
    reset();
    freeArray(storage_);
  }

  void swap(Variant& other) noexcept {
    std::swap(storage_, other.storage_);
    std::swap(index_, other.index_);
  }

  // Holds value in alternative I (the index is stored unchanged, even where
  // two alternatives share a type).
  template <uint32_t I, class... Args>
  Alternative<I>& emplace(Args&&... args) {
    reset();
    auto* object = ::new (static_cast<void*>(storage_)) Alternative<I>(std::forward<Args>(args)...);
    index_ = I;
    return *object;
  }

  // Back to the empty state.
  void reset() {
    details::apply_visitor<0u, Ts...>(index_, storage_, destructor{});
    index_ = kEmpty;
  }

  uint32_t index() const { return index_; }
  bool isEmpty() const { return index_ >= kEmpty; }

  // The alternative I, or null when another one (or none) is active.
  template <uint32_t I>
  Alternative<I>* getIf() {
    return index_ == I ? std::launder(reinterpret_cast<Alternative<I>*>(storage_)) : nullptr;
  }
  template <uint32_t I>
  const Alternative<I>* getIf() const {
    return index_ == I ? std::launder(reinterpret_cast<const Alternative<I>*>(storage_)) : nullptr;
  }

  template <class Visitor>
  void visit(Visitor&& visitor) {
    details::apply_visitor<0u, Ts...>(index_, storage_, std::forward<Visitor>(visitor));
  }
  template <class Visitor>
  void visit(Visitor&& visitor) const {
    details::apply_visitor<0u, Ts...>(index_, storage(), std::forward<Visitor>(visitor));
  }

 private:
  template <class T, uint32_t I = 0>
  static constexpr uint32_t firstIndexOf() {
    if constexpr (I == kEmpty) {
      return kEmpty;
    } else if constexpr (std::is_same_v<T, Alternative<I>>) {
      return I;
    } else {
      return firstIndexOf<T, I + 1>();
    }
  }

  const char* storage() const { return storage_; }

  char* storage_;
  uint32_t index_ = kEmpty;
};

// The active alternative as the stream prints it, or "! Empty Variant !".
// At least one alternative is spelled out so that stream manipulators such as
// std::endl never deduce an empty Variant<> here.
template <class T, class... Ts>
std::ostream& operator<<(std::ostream& os, const Variant<T, Ts...>& v) {
  if (v.isEmpty()) return os << "! Empty Variant !";
  v.visit(typename Variant<T, Ts...>::printer{os});
  return os;
}

}  // namespace kelvora
