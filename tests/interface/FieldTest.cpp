#include "kelvora/Field.hpp"

#include <gtest/gtest.h>

#include <memory>

#include "AllocationProbe.hpp"
#include "ElementSamples.hpp"
#include "kelvora/ArrayAllocator.hpp"
#include "kelvora/ParameterImpl.hpp"

namespace kelvora {
namespace {

using testing::AllocationProbe;
using testing::ElementSamples;
using testing::RedirectionVariant;

template <class T>
class FieldTest : public ::testing::Test {
 protected:
  using S = ElementSamples<T>;

  static ArrayHolder<T> filled(uint32_t n) {
    ArrayHolder<T> h(n);
    for (uint32_t i = 0; i < n; ++i) h[i] = S::make(i);
    return h;
  }
  static void expectSamples(const AbstractField<T>& f, uint32_t n) {
    ASSERT_EQ(f.size(), n);
    for (uint32_t i = 0; i < n; ++i) EXPECT_TRUE(S::same(f[i], S::make(i))) << "element " << i;
  }
};

using ElementTypes = ::testing::Types<char, unsigned char, unsigned short, int, unsigned int, float,
                                      Parameter, RedirectionVariant>;
TYPED_TEST_SUITE(FieldTest, ElementTypes);

TYPED_TEST(FieldTest, HolderAllocatesOnlyForNonZeroCount) {
  AllocationProbe probe;
  ArrayHolder<TypeParam> none(0);
  ArrayHolder<TypeParam> copy(none);
  for (const ArrayHolder<TypeParam>* h : {&none, &copy}) {
    EXPECT_EQ(h->data(), nullptr);
    EXPECT_EQ(h->size(), 0u);
  }
  EXPECT_EQ(probe.allocations(), 0);

  ArrayHolder<TypeParam> some(5);
  EXPECT_NE(some.data(), nullptr);
  EXPECT_EQ(some.size(), 5u);
  some.reset(0);
  EXPECT_EQ(some.data(), nullptr);
  EXPECT_EQ(some.size(), 0u);
}

TYPED_TEST(FieldTest, CopiedHolderOwnsIndependentElements) {
  auto original = std::make_unique<ArrayHolder<TypeParam>>(this->filled(6));
  ArrayHolder<TypeParam> copy(*original);
  EXPECT_NE(copy.data(), original->data());
  this->expectSamples(copy, 6);

  (*original)[2] = ElementSamples<TypeParam>::make(40);
  EXPECT_TRUE(ElementSamples<TypeParam>::same(copy[2], ElementSamples<TypeParam>::make(2)));
  // The copy must survive the original (AddressSanitizer sees any sharing).
  original.reset();
  this->expectSamples(copy, 6);
}

TYPED_TEST(FieldTest, HolderAssignmentAndMove) {
  ArrayHolder<TypeParam> source = this->filled(4);
  ArrayHolder<TypeParam> target = this->filled(9);
  target = source;
  EXPECT_NE(target.data(), source.data());
  this->expectSamples(target, 4);

  const TypeParam* data = source.data();
  ArrayHolder<TypeParam> moved(std::move(source));
  EXPECT_EQ(moved.data(), data);
  EXPECT_EQ(source.size(), 0u);  // NOLINT(bugprone-use-after-move): the moved-from state
  EXPECT_EQ(source.data(), nullptr);

  target = std::move(moved);
  EXPECT_EQ(target.data(), data);
  this->expectSamples(target, 4);

  target = target;  // self-assignment keeps the elements
  this->expectSamples(target, 4);
  target.reset(7);
  EXPECT_EQ(target.size(), 7u);
}

TYPED_TEST(FieldTest, HolderCloneIsDeepAndDeletedThroughBase) {
  ArrayHolder<TypeParam> h = this->filled(3);
  AbstractField<TypeParam>* clone = static_cast<const AbstractField<TypeParam>&>(h).clone();
  ASSERT_NE(dynamic_cast<ArrayHolder<TypeParam>*>(clone), nullptr);
  EXPECT_NE(clone->data(), h.data());
  this->expectSamples(*clone, 3);
  details::callDelete(clone);
}

TYPED_TEST(FieldTest, ReferenceCopiesShareTheCallersMemory) {
  ArrayHolder<TypeParam> owner = this->filled(5);
  ArrayReference<TypeParam> view(owner.data(), owner.size());
  ArrayReference<TypeParam> copy(view);
  std::unique_ptr<AbstractField<TypeParam>, void (*)(AbstractField<TypeParam>*)> clone(
      view.clone(), &details::callDelete<AbstractField<TypeParam>>);
  ASSERT_NE(dynamic_cast<ArrayReference<TypeParam>*>(clone.get()), nullptr);

  // An immutable field of a reference, and its copy, keep referring.
  const ImmutableField<TypeParam> field(view);
  const ImmutableField<TypeParam> fieldCopy(field);

  owner[1] = ElementSamples<TypeParam>::make(30);
  const AbstractField<TypeParam>* views[] = {&view, &copy, clone.get(), field.field(),
                                             fieldCopy.field()};
  for (const AbstractField<TypeParam>* f : views) {
    EXPECT_EQ(f->data(), owner.data());
    EXPECT_EQ(f->size(), 5u);
    EXPECT_TRUE(ElementSamples<TypeParam>::same((*f)[1], ElementSamples<TypeParam>::make(30)));
  }
}

TYPED_TEST(FieldTest, ImmutableFieldOfHolderCopiesElements) {
  ArrayHolder<TypeParam> h = this->filled(4);
  ImmutableField<TypeParam> field(h);
  EXPECT_NE(field.data(), h.data());
  ImmutableField<TypeParam> copy(field);
  EXPECT_NE(copy.data(), field.data());
  this->expectSamples(*copy.field(), 4);

  ImmutableField<TypeParam> assigned;
  EXPECT_EQ(assigned.data(), nullptr);
  EXPECT_EQ(assigned.size(), 0u);
  assigned = copy;
  EXPECT_NE(assigned.data(), copy.data());
  this->expectSamples(*assigned.field(), 4);
}

TYPED_TEST(FieldTest, ImmutableFieldResetAndMove) {
  ArrayHolder<TypeParam> a = this->filled(2);
  ArrayHolder<TypeParam> b = this->filled(5);
  ImmutableField<TypeParam> field(a);
  field.reset(b);
  this->expectSamples(*field.field(), 5);
  field.reset(*field.field());  // replacing the field by a clone of itself
  this->expectSamples(*field.field(), 5);

  const TypeParam* data = field.data();
  ImmutableField<TypeParam> moved(std::move(field));
  EXPECT_EQ(moved.data(), data);
  EXPECT_EQ(field.field(), nullptr);  // NOLINT(bugprone-use-after-move)
  field = std::move(moved);
  EXPECT_EQ(field.data(), data);
}

TYPED_TEST(FieldTest, NullIsAcceptedByTheReleaseFunctions) {
  freeArray<TypeParam>(nullptr);
  details::callDelete<AbstractField<TypeParam>>(nullptr);
  details::callDelete<ArrayHolder<TypeParam>>(nullptr);
  details::callDelete<ArrayReference<TypeParam>>(nullptr);
}

TEST(ArrayAllocatorTest, RedirectionElementsStartEmpty) {
  constexpr uint32_t kCount = 9;
  RedirectionVariant* table = allocArray<RedirectionVariant>(kCount);
  for (uint32_t i = 0; i < kCount; ++i) {
    EXPECT_EQ(table[i].index(), 6u);
    EXPECT_TRUE(table[i].isEmpty());
  }
  freeArray(table);
}

TEST(ArrayAllocatorTest, ParameterElementsStartInvalidAndEmpty) {
  Parameter* list = allocArray<Parameter>(3);
  for (uint32_t i = 0; i < 3; ++i) {
    const Parameter& p = list[i];
    EXPECT_FALSE(p.isValid());
    EXPECT_EQ(p.key(), INVALID_PARAMETER_KEY);
    EXPECT_EQ(p.type(), ParameterValue::kEmpty);
    EXPECT_STREQ(p.name(), "");
    EXPECT_STREQ(p.description(), "");
    EXPECT_FALSE(p.hasBounds());
    EXPECT_TRUE(p.lowerBound().isEmpty());
    EXPECT_TRUE(p.impl()->functor.isEmpty());
  }
  freeArray(list);
}

}  // namespace
}  // namespace kelvora
