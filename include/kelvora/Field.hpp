#pragma once
/// \file
/// \brief Array containers that carry data across the library boundary.
///
/// The member functions are defined inside the library and explicitly
/// instantiated there for the element types listed in ArrayAllocator.hpp, so
/// every allocation and release of element memory and of heap copies happens
/// on the library's side, whatever allocator the host links.
#include <cstdint>

#include "kelvora/Export.hpp"

/// \brief Everything the library offers a host.
namespace kelvora {

/// \brief Data pointer plus element count; the base of ArrayHolder and
/// ArrayReference.
///
/// Null data with size 0 is the normal empty state and is accepted
/// everywhere. Element access does not check the index.
/// \tparam T element type (see ArrayAllocator.hpp for the ones that exist).
template <class T>
class KELVORA_API AbstractField {
 public:
  /// Releases what the most-derived container owns (nothing for a view).
  virtual ~AbstractField();
  /// \brief A new heap copy of the most-derived object.
  /// \return the copy; the caller releases it with details::callDelete().
  virtual AbstractField* clone() const = 0;

  /// \brief The first element.
  /// \return the first element, or null when empty.
  T* data() { return data_; }
  /// \brief The first element, read-only.
  /// \return the first element, or null when empty.
  const T* data() const { return data_; }
  /// \brief Number of elements.
  /// \return the element count.
  uint32_t size() const { return size_; }
  /// \brief Whether the field holds no elements.
  /// \return true when size() is 0.
  bool empty() const { return size_ == 0; }
  /// \brief Element i, unchecked.
  /// \param i index below size().
  /// \return the element.
  T& operator[](uint32_t i) { return data_[i]; }
  /// \brief Element i, unchecked, read-only.
  /// \param i index below size().
  /// \return the element.
  const T& operator[](uint32_t i) const { return data_[i]; }
  /// \brief Start of the elements, for range-for.
  /// \return data().
  T* begin() { return data_; }
  /// \brief One past the last element.
  /// \return data() + size().
  T* end() { return data_ + size_; }
  /// \brief Start of the elements, read-only.
  /// \return data().
  const T* begin() const { return data_; }
  /// \brief One past the last element, read-only.
  /// \return data() + size().
  const T* end() const { return data_ + size_; }

 protected:
  /// An empty field.
  AbstractField() = default;
  /// \brief A field over data.
  /// \param data first element, or null.
  /// \param size element count.
  AbstractField(T* data, uint32_t size) : data_(data), size_(size) {}
  /// Copies pointer and count only; derived classes decide about elements.
  AbstractField(const AbstractField&) = default;
  /// Copies pointer and count only; derived classes decide about elements.
  /// \return this field.
  AbstractField& operator=(const AbstractField&) = default;

  /// First element, or null.
  T* data_ = nullptr;
  /// Element count.
  uint32_t size_ = 0;
};

/// \brief Owns its elements, which come from allocArray() and go back
/// through freeArray(). Copies are deep.
/// \tparam T element type (see ArrayAllocator.hpp).
template <class T>
class KELVORA_API ArrayHolder : public AbstractField<T> {
 public:
  /// Empty: null data, size 0.
  ArrayHolder() = default;
  /// \brief count elements; arithmetic elements are uninitialised, class
  /// elements default-constructed. No allocation for a count of 0.
  /// \param count element count.
  /// \throws std::bad_alloc when out of memory.
  explicit ArrayHolder(uint32_t count);
  /// \brief A deep copy; no allocation when other is empty.
  /// \param other the holder to copy.
  ArrayHolder(const ArrayHolder& other);
  /// \brief Takes other's elements; other is left empty.
  /// \param other the holder to move from.
  ArrayHolder(ArrayHolder&& other) noexcept;
  /// \brief Replaces the elements by a deep copy of other's.
  /// \param other the holder to copy.
  /// \return this holder.
  ArrayHolder& operator=(const ArrayHolder& other);
  /// \brief Takes other's elements, releasing the old ones.
  /// \param other the holder to move from.
  /// \return this holder.
  ArrayHolder& operator=(ArrayHolder&& other) noexcept;
  /// Releases the elements through freeArray().
  ~ArrayHolder() override;

  /// \brief A deep heap copy.
  /// \return the copy; release it with details::callDelete().
  ArrayHolder* clone() const override;

  /// \brief Replaces the elements by a fresh array of count elements
  /// (initialised as by the counting constructor); the old elements are
  /// released only after the new array exists.
  /// \param count the new element count.
  void reset(uint32_t count);
  /// \brief Exchanges elements and counts with other.
  /// \param other the holder to swap with.
  void swap(ArrayHolder& other) noexcept;
};

/// \brief Non-owning view on memory someone else owns; copies share that
/// memory. The memory must outlive every use of the view.
/// \tparam T element type (see ArrayAllocator.hpp).
template <class T>
class KELVORA_API ArrayReference : public AbstractField<T> {
 public:
  /// An empty view.
  ArrayReference() = default;
  /// \brief A view on size elements at data.
  /// \param data first element; stays the caller's.
  /// \param size element count.
  ArrayReference(T* data, uint32_t size);
  /// \brief Another view on the same memory.
  /// \param other the view to copy.
  ArrayReference(const ArrayReference& other);
  /// \brief Views the same memory as other.
  /// \param other the view to copy.
  /// \return this view.
  ArrayReference& operator=(const ArrayReference& other);
  /// Releases nothing.
  ~ArrayReference() override;

  /// \brief A heap copy of the view (not of the elements).
  /// \return the copy; release it with details::callDelete().
  ArrayReference* clone() const override;
};

/// \brief Read-only handle owning one heap field of either kind.
///
/// Copying clones the held field, so a held ArrayHolder is copied and a held
/// ArrayReference keeps referring to the same memory. A default handle holds
/// nothing (null, 0). The engine hands out results this way when the caller
/// may keep them past the next frame set (IKelvora::results() const).
/// \tparam T element type (see ArrayAllocator.hpp).
template <class T>
class KELVORA_API ImmutableField {
 public:
  /// Holds nothing.
  ImmutableField() = default;
  /// \brief Holds a clone of field.
  /// \param field the field to clone.
  explicit ImmutableField(const AbstractField<T>& field);
  /// \brief Holds a clone of other's field.
  /// \param other the handle to copy.
  ImmutableField(const ImmutableField& other);
  /// \brief Takes other's field; other holds nothing afterwards.
  /// \param other the handle to move from.
  ImmutableField(ImmutableField&& other) noexcept;
  /// \brief Holds a clone of other's field; the previous field is released.
  /// \param other the handle to copy.
  /// \return this handle.
  ImmutableField& operator=(const ImmutableField& other);
  /// \brief Takes other's field; the previous field is released.
  /// \param other the handle to move from.
  /// \return this handle.
  ImmutableField& operator=(ImmutableField&& other) noexcept;
  /// Releases the held field through details::callDelete().
  ~ImmutableField();

  /// \brief Holds a clone of field from now on; the previous field is
  /// released.
  /// \param field the field to clone.
  void reset(const AbstractField<T>& field);

  /// \brief The first element.
  /// \return the first element, or null when nothing is held.
  const T* data() const { return field_ ? field_->data() : nullptr; }
  /// \brief Number of elements.
  /// \return the element count, 0 when nothing is held.
  uint32_t size() const { return field_ ? field_->size() : 0u; }
  /// \brief Whether there are no elements.
  /// \return true when size() is 0.
  bool empty() const { return size() == 0; }
  /// \brief Element i, unchecked.
  /// \param i index below size().
  /// \return the element.
  const T& operator[](uint32_t i) const { return data()[i]; }
  /// \brief Start of the elements, for range-for.
  /// \return data().
  const T* begin() const { return data(); }
  /// \brief One past the last element.
  /// \return data() + size().
  const T* end() const { return data() + size(); }
  /// \brief The held field.
  /// \return the field, or null.
  const AbstractField<T>* field() const { return field_; }

 private:
  AbstractField<T>* field_ = nullptr;
};

/// \brief Helpers the public templates use; hosts rarely call them directly.
namespace details {

/// \brief A heap copy of a container, made inside the library.
/// \tparam X a container type.
/// \param source the container to copy.
/// \return the copy; release it with callDelete().
template <class X>
KELVORA_API X* callCopyCtor(const X& source);
/// \brief Destroys a heap container through its virtual destructor, inside
/// the library.
/// \tparam X a container type.
/// \param object the container, or null (then nothing happens).
template <class X>
KELVORA_API void callDelete(X* object);

}  // namespace details
}  // namespace kelvora
