#pragma once
// Array containers that carry data across the library boundary. The member
// functions are defined inside the library and explicitly instantiated there
// for the element types listed in ArrayAllocator.hpp, so every allocation and
// release of element memory and of heap copies happens on the library's side.
#include <cstdint>

#include "kelvora/Export.hpp"

namespace kelvora {

// Data plus element count. Null data with size 0 is the normal empty state.
template <class T>
class KELVORA_API AbstractField {
 public:
  virtual ~AbstractField();
  // A new heap copy of the most-derived object; release it with
  // details::callDelete.
  virtual AbstractField* clone() const = 0;

  T* data() { return data_; }
  const T* data() const { return data_; }
  uint32_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  T& operator[](uint32_t i) { return data_[i]; }
  const T& operator[](uint32_t i) const { return data_[i]; }
  T* begin() { return data_; }
  T* end() { return data_ + size_; }
  const T* begin() const { return data_; }
  const T* end() const { return data_ + size_; }

 protected:
  AbstractField() = default;
  AbstractField(T* data, uint32_t size) : data_(data), size_(size) {}
  AbstractField(const AbstractField&) = default;
  AbstractField& operator=(const AbstractField&) = default;

  T* data_ = nullptr;
  uint32_t size_ = 0;
};

// Owns its elements, which come from allocArray<T> and go back through
// freeArray<T>. Copies are deep.
template <class T>
class KELVORA_API ArrayHolder : public AbstractField<T> {
 public:
  ArrayHolder() = default;
  // Arithmetic elements are uninitialised, class elements default-constructed.
  explicit ArrayHolder(uint32_t count);
  ArrayHolder(const ArrayHolder& other);
  ArrayHolder(ArrayHolder&& other) noexcept;
  ArrayHolder& operator=(const ArrayHolder& other);
  ArrayHolder& operator=(ArrayHolder&& other) noexcept;
  ~ArrayHolder() override;

  ArrayHolder* clone() const override;

  // Replaces the elements by a fresh array of count elements (initialised as
  // by the counting constructor); the old elements are released only after
  // the new array exists.
  void reset(uint32_t count);
  void swap(ArrayHolder& other) noexcept;
};

// Non-owning view on memory someone else owns; copies share that memory.
template <class T>
class KELVORA_API ArrayReference : public AbstractField<T> {
 public:
  ArrayReference() = default;
  ArrayReference(T* data, uint32_t size);
  ArrayReference(const ArrayReference& other);
  ArrayReference& operator=(const ArrayReference& other);
  ~ArrayReference() override;

  ArrayReference* clone() const override;
};

// Read-only handle owning one heap field of either kind; copying clones the
// held field, so a held ArrayHolder is copied and a held ArrayReference keeps
// referring to the same memory. A default handle holds nothing (null, 0).
template <class T>
class KELVORA_API ImmutableField {
 public:
  ImmutableField() = default;
  explicit ImmutableField(const AbstractField<T>& field);
  ImmutableField(const ImmutableField& other);
  ImmutableField(ImmutableField&& other) noexcept;
  ImmutableField& operator=(const ImmutableField& other);
  ImmutableField& operator=(ImmutableField&& other) noexcept;
  ~ImmutableField();

  // Holds a clone of field from now on; the previous field is released.
  void reset(const AbstractField<T>& field);

  const T* data() const { return field_ ? field_->data() : nullptr; }
  uint32_t size() const { return field_ ? field_->size() : 0u; }
  bool empty() const { return size() == 0; }
  const T& operator[](uint32_t i) const { return data()[i]; }
  const T* begin() const { return data(); }
  const T* end() const { return data() + size(); }
  // The held field, or null.
  const AbstractField<T>* field() const { return field_; }

 private:
  AbstractField<T>* field_ = nullptr;
};

namespace details {

// Heap copies of containers are made and destroyed only inside the library.
template <class X>
KELVORA_API X* callCopyCtor(const X& source);
// Accepts null; destroys through the virtual destructor.
template <class X>
KELVORA_API void callDelete(X* object);

}  // namespace details
}  // namespace kelvora
