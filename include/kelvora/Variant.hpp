#pragma once
/// \file
/// \brief A tagged union over a fixed list of alternatives.
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

/// \brief The I-th type of Ts.
/// \tparam I the index.
/// \tparam Ts the types.
template <std::size_t I, class... Ts>
struct nth_type;
/// \brief The first type of a list.
/// \tparam T the first type.
/// \tparam Ts the rest.
template <class T, class... Ts>
struct nth_type<0, T, Ts...> {
  /// T.
  using type = T;
};
/// \brief The I-th type of a list, counted from its head.
/// \tparam I the index.
/// \tparam T the first type.
/// \tparam Ts the rest.
template <std::size_t I, class T, class... Ts>
struct nth_type<I, T, Ts...> {
  /// The type at I.
  using type = typename nth_type<I - 1, Ts...>::type;
};

/// \brief Calls visitor with the alternative stored at storage when index
/// equals I + k for the k-th type of T, Rest...; an index outside the list
/// calls nothing.
/// \tparam I index of T.
/// \tparam T the type tried first.
/// \tparam Rest the types after it.
/// \tparam Byte char or const char; decides the constness of the
///   alternative the visitor sees.
/// \tparam Visitor callable with every alternative type.
/// \param index the active alternative.
/// \param storage the alternative's storage.
/// \param visitor the callable.
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

/// \brief The largest of the given sizes.
/// \tparam A the first size.
/// \tparam B the others.
/// \return the maximum.
template <std::size_t A, std::size_t... B>
constexpr std::size_t maxOf() {
  if constexpr (sizeof...(B) == 0) {
    return A;
  } else {
    return A > maxOf<B...>() ? A : maxOf<B...>();
  }
}

}  // namespace details

/// \brief A tagged union over a fixed list of alternatives.
///
/// The alternative lives in a separately allocated block from
/// allocArray<char>(), so the storage is always released by the library.
/// index() is the active alternative, kEmpty (the number of alternatives)
/// meaning empty. Several alternatives may share one type (the parameter
/// value ends in a second bool nobody uses), so alternatives are addressed
/// by index; the converting constructor takes the first alternative of the
/// argument's type.
/// \tparam Ts the alternatives.
template <class... Ts>
class KELVORA_API Variant {
 public:
  /// The index of the empty state.
  static constexpr uint32_t kEmpty = sizeof...(Ts);
  /// Size of the storage block: large enough for the largest alternative (4
  /// bytes for the parameter value, a std::function, 16 bytes on 32-bit ARM,
  /// for the setter, an output redirector for the redirection table).
  static constexpr std::size_t kStorageSize = details::maxOf<sizeof(Ts)...>();
  static_assert(details::maxOf<alignof(Ts)...>() <= alignof(std::max_align_t),
                "allocArray<char> storage is aligned for fundamental types only");

  /// The type of alternative I.
  template <std::size_t I>
  using Alternative = typename details::nth_type<I, Ts...>::type;

  /// \brief Visitor that copy-constructs the visited alternative into
  /// target.
  struct setter {
    /// Storage to construct into.
    char* target;
    /// \brief Copy-constructs source into target.
    /// \tparam T the alternative's type.
    /// \param source the alternative.
    template <class T>
    void operator()(const T& source) const {
      ::new (static_cast<void*>(target)) T(source);
    }
  };
  /// \brief Visitor that prints the alternative with the stream's own
  /// formatting.
  struct printer {
    /// The stream.
    std::ostream& os;
    /// \brief Prints value.
    /// \tparam T the alternative's type.
    /// \param value the alternative.
    template <class T>
    void operator()(const T& value) const {
      os << value;
    }
  };
  /// \brief Visitor that ends the lifetime of the active alternative.
  struct destructor {
    /// \brief Destroys value in place.
    /// \tparam T the alternative's type.
    /// \param value the alternative.
    template <class T>
    void operator()(T& value) const {
      value.~T();
    }
  };

  /// \brief Empty.
  /// \throws std::bad_alloc when out of memory.
  Variant() : storage_(allocArray<char>(kStorageSize)) {}

  /// \brief A copy of other's alternative, in a storage block of its own.
  /// \param other the variant to copy.
  Variant(const Variant& other) : Variant() {
    // Leaves this empty (and the delegating constructor frees the storage)
    // if copying the alternative throws.
    details::apply_visitor<0u, Ts...>(other.index_, other.storage(), setter{storage_});
    index_ = other.index_;
  }

  /// \brief Holds value in the first alternative whose type is T.
  /// \tparam T the value's type; some alternative must have it.
  /// \param value the value.
  template <class T, class = std::enable_if_t<!std::is_same_v<std::decay_t<T>, Variant>>>
  explicit Variant(T&& value) : Variant() {
    constexpr uint32_t i = firstIndexOf<std::decay_t<T>>();
    static_assert(i < kEmpty, "no alternative of this type");
    emplace<i>(std::forward<T>(value));
  }

  /// \brief Becomes a copy of other.
  /// \param other the variant to copy.
  /// \return this variant.
  Variant& operator=(const Variant& other) {
    if (this != &other) {
      Variant copy(other);
      swap(copy);
    }
    return *this;
  }

  /// Destroys the alternative and releases the storage.
  ~Variant() {
    reset();
    freeArray(storage_);
  }

  /// \brief Exchanges alternatives with other.
  /// \param other the variant to swap with.
  void swap(Variant& other) noexcept {
    std::swap(storage_, other.storage_);
    std::swap(index_, other.index_);
  }

  /// \brief Holds a value built from args in alternative I (the index is
  /// stored unchanged, even where two alternatives share a type).
  /// \tparam I the alternative.
  /// \tparam Args constructor argument types.
  /// \param args constructor arguments.
  /// \return the new alternative.
  template <uint32_t I, class... Args>
  Alternative<I>& emplace(Args&&... args) {
    reset();
    auto* object = ::new (static_cast<void*>(storage_)) Alternative<I>(std::forward<Args>(args)...);
    index_ = I;
    return *object;
  }

  /// Back to the empty state.
  void reset() {
    details::apply_visitor<0u, Ts...>(index_, storage_, destructor{});
    index_ = kEmpty;
  }

  /// \brief The active alternative.
  /// \return its index, kEmpty when empty.
  uint32_t index() const { return index_; }
  /// \brief Whether no alternative is active.
  /// \return true when empty.
  bool isEmpty() const { return index_ >= kEmpty; }

  /// \brief Alternative I.
  /// \tparam I the alternative.
  /// \return the alternative, or null when another one (or none) is active.
  template <uint32_t I>
  Alternative<I>* getIf() {
    return index_ == I ? std::launder(reinterpret_cast<Alternative<I>*>(storage_)) : nullptr;
  }
  /// \brief Alternative I, read-only.
  /// \tparam I the alternative.
  /// \return the alternative, or null when another one (or none) is active.
  template <uint32_t I>
  const Alternative<I>* getIf() const {
    return index_ == I ? std::launder(reinterpret_cast<const Alternative<I>*>(storage_)) : nullptr;
  }

  /// \brief Calls visitor with the active alternative; nothing when empty.
  /// \tparam Visitor callable with every alternative type.
  /// \param visitor the callable.
  template <class Visitor>
  void visit(Visitor&& visitor) {
    details::apply_visitor<0u, Ts...>(index_, storage_, std::forward<Visitor>(visitor));
  }
  /// \brief Calls visitor with the active alternative, read-only; nothing
  /// when empty.
  /// \tparam Visitor callable with every alternative type.
  /// \param visitor the callable.
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

/// \brief Prints the active alternative as the stream prints it, or
/// "! Empty Variant !".
/// \tparam T the first alternative (spelled out so that stream
///   manipulators such as std::endl never deduce an empty Variant<> here).
/// \tparam Ts the other alternatives.
/// \param os the stream.
/// \param v the variant.
/// \return os.
template <class T, class... Ts>
std::ostream& operator<<(std::ostream& os, const Variant<T, Ts...>& v) {
  if (v.isEmpty()) return os << "! Empty Variant !";
  v.visit(typename Variant<T, Ts...>::printer{os});
  return os;
}

}  // namespace kelvora
