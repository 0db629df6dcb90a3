#pragma once
// Definitions of the container templates; included only by the unit that
// instantiates them for the library's element types.
#include <cstring>
#include <type_traits>
#include <utility>

#include "kelvora/ArrayAllocator.hpp"
#include "kelvora/Field.hpp"

namespace kelvora {

template <class T>
AbstractField<T>::~AbstractField() = default;

template <class T>
ArrayHolder<T>::ArrayHolder(uint32_t count)
    : AbstractField<T>(count > 0 ? allocArray<T>(count) : nullptr, count) {}

template <class T>
ArrayHolder<T>::ArrayHolder(const ArrayHolder& other) : AbstractField<T>() {
  if (other.size_ == 0) return;
  T* copy = allocArray<T>(other.size_);
  if constexpr (std::is_arithmetic_v<T>) {
    std::memcpy(copy, other.data_, sizeof(T) * other.size_);
  } else {
    try {
      for (uint32_t i = 0; i < other.size_; ++i) copy[i] = other.data_[i];
    } catch (...) {
      freeArray(copy);
      throw;
    }
  }
  this->data_ = copy;
  this->size_ = other.size_;
}

template <class T>
ArrayHolder<T>::ArrayHolder(ArrayHolder&& other) noexcept : AbstractField<T>() {
  swap(other);
}

template <class T>
ArrayHolder<T>& ArrayHolder<T>::operator=(const ArrayHolder& other) {
  if (this != &other) {
    ArrayHolder copy(other);
    swap(copy);
  }
  return *this;
}

template <class T>
ArrayHolder<T>& ArrayHolder<T>::operator=(ArrayHolder&& other) noexcept {
  swap(other);
  return *this;
}

template <class T>
ArrayHolder<T>::~ArrayHolder() {
  freeArray(this->data_);
}

template <class T>
ArrayHolder<T>* ArrayHolder<T>::clone() const {
  return details::callCopyCtor<ArrayHolder<T>>(*this);
}

template <class T>
void ArrayHolder<T>::reset(uint32_t count) {
  ArrayHolder fresh(count);
  swap(fresh);
}

template <class T>
void ArrayHolder<T>::swap(ArrayHolder& other) noexcept {
  std::swap(this->data_, other.data_);
  std::swap(this->size_, other.size_);
}

template <class T>
ArrayReference<T>::ArrayReference(T* data, uint32_t size) : AbstractField<T>(data, size) {}

template <class T>
ArrayReference<T>::ArrayReference(const ArrayReference& other) = default;

template <class T>
ArrayReference<T>& ArrayReference<T>::operator=(const ArrayReference& other) = default;

template <class T>
ArrayReference<T>::~ArrayReference() = default;

template <class T>
ArrayReference<T>* ArrayReference<T>::clone() const {
  return details::callCopyCtor<ArrayReference<T>>(*this);
}

template <class T>
ImmutableField<T>::ImmutableField(const AbstractField<T>& field) : field_(field.clone()) {}

template <class T>
ImmutableField<T>::ImmutableField(const ImmutableField& other)
    : field_(other.field_ ? other.field_->clone() : nullptr) {}

template <class T>
ImmutableField<T>::ImmutableField(ImmutableField&& other) noexcept : field_(other.field_) {
  other.field_ = nullptr;
}

template <class T>
ImmutableField<T>& ImmutableField<T>::operator=(const ImmutableField& other) {
  if (this != &other) {
    AbstractField<T>* copy = other.field_ ? other.field_->clone() : nullptr;
    details::callDelete(field_);
    field_ = copy;
  }
  return *this;
}

template <class T>
ImmutableField<T>& ImmutableField<T>::operator=(ImmutableField&& other) noexcept {
  std::swap(field_, other.field_);
  return *this;
}

template <class T>
ImmutableField<T>::~ImmutableField() {
  details::callDelete(field_);
}

template <class T>
void ImmutableField<T>::reset(const AbstractField<T>& field) {
  // Clone first: field may be the one held now.
  AbstractField<T>* copy = field.clone();
  details::callDelete(field_);
  field_ = copy;
}

namespace details {

template <class X>
X* callCopyCtor(const X& source) {
  // A throwing copy constructor leaves nothing behind: the new-expression
  // releases the object's memory before the exception passes on.
  return new X(source);
}

template <class X>
void callDelete(X* object) {
  delete object;
}

}  // namespace details
}  // namespace kelvora
