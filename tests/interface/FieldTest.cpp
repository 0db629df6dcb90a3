// The containers: owning holders copy and release their elements, and an
// empty holder holds nothing; allocated class elements start empty.
// (References into a caller's memory carry every input and redirection of
// the engine tests.)
#include "kelvora/Field.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "kelvora/ArrayAllocator.hpp"
#include "kelvora/Configuration.hpp"
#include "kelvora/ParameterBuilder.hpp"
#include "kelvora/ParameterImpl.hpp"

namespace kelvora {
namespace {

using RedirectionVariant = Configuration::RedirectionVariant;

// Element i of each type, distinct for distinct i, and what "equal" means.
template <class T>
T sample(uint32_t i) {
  if constexpr (std::is_same_v<T, Parameter>) {
    return ParameterBuilder()
        .setKey(static_cast<ParameterKey>(i + 1u))
        .setName("p" + std::to_string(i))
        .build();
  } else {
    return static_cast<T>(i * 7u + 3u);
  }
}

template <class T>
bool same(const T& a, const T& b) {
  if constexpr (std::is_same_v<T, Parameter>) {
    return a.key() == b.key() && std::string(a.name()) == b.name();
  } else {
    return a == b;
  }
}

template <class T>
class FieldTest : public ::testing::Test {
 protected:
  static ArrayHolder<T> filled(uint32_t n) {
    ArrayHolder<T> h(n);
    for (uint32_t i = 0; i < n; ++i) h[i] = sample<T>(i);
    return h;
  }
  static void expectSamples(const AbstractField<T>& f, uint32_t n) {
    ASSERT_EQ(f.size(), n);
    for (uint32_t i = 0; i < n; ++i) EXPECT_TRUE(same(f[i], sample<T>(i))) << "element " << i;
  }
};

// A plain element type and one that owns memory of its own.
using ElementTypes = ::testing::Types<unsigned short, float, Parameter>;
TYPED_TEST_SUITE(FieldTest, ElementTypes);

TYPED_TEST(FieldTest, HolderCopiesOwnTheirElements) {
  const ArrayHolder<TypeParam> none(0);
  const ArrayHolder<TypeParam> noneCopy(none);
  EXPECT_TRUE(noneCopy.data() == nullptr && noneCopy.size() == 0);
  freeArray<TypeParam>(nullptr);
  details::callDelete<AbstractField<TypeParam>>(nullptr);
  auto original = std::make_unique<ArrayHolder<TypeParam>>(this->filled(6));
  ArrayHolder<TypeParam> copy(*original);
  ArrayHolder<TypeParam> assigned = this->filled(9);
  assigned = *original;
  std::unique_ptr<AbstractField<TypeParam>, void (*)(AbstractField<TypeParam>*)> clone(
      static_cast<const AbstractField<TypeParam>&>(*original).clone(),
      &details::callDelete<AbstractField<TypeParam>>);
  ImmutableField<TypeParam> field(*original);
  const ImmutableField<TypeParam> fieldCopy(field);
  (*original)[2] = sample<TypeParam>(40);
  // The copies must survive the original (AddressSanitizer sees any sharing).
  original.reset();
  const AbstractField<TypeParam>* const copies[] = {&copy, &assigned, clone.get(), field.field(),
                                                    fieldCopy.field()};
  for (const AbstractField<TypeParam>* f : copies) {
    this->expectSamples(*f, 6);
  }
  EXPECT_NE(field.data(), fieldCopy.data());

  const TypeParam* data = copy.data();
  ArrayHolder<TypeParam> moved(std::move(copy));
  EXPECT_EQ(moved.data(), data);
  EXPECT_EQ(copy.data(), nullptr);  // NOLINT(bugprone-use-after-move)
  moved = moved;                    // self-assignment keeps the elements
  this->expectSamples(moved, 6);
  field.reset(*field.field());  // replaced by a clone of itself
  this->expectSamples(*field.field(), 6);
}

TEST(ArrayAllocator, ClassElementsStartEmpty) {
  RedirectionVariant* table = allocArray<RedirectionVariant>(9);
  for (uint32_t i = 0; i < 9; ++i) EXPECT_EQ(table[i].index(), 6u);
  freeArray(table);
  Parameter* list = allocArray<Parameter>(3);
  for (uint32_t i = 0; i < 3; ++i) {
    EXPECT_FALSE(list[i].isValid());
    EXPECT_STREQ(list[i].name(), "");
    EXPECT_TRUE(list[i].getValue().isEmpty() && list[i].lowerBound().isEmpty());
    EXPECT_TRUE(list[i].impl()->functor.isEmpty());
  }
  freeArray(list);
}

}  // namespace
}  // namespace kelvora
