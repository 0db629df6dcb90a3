#include "kelvora/Field.hpp"

#include "interface/ElementTypes.hpp"
#include "interface/FieldImpl.hpp"

namespace kelvora {

#define KELVORA_INSTANTIATE_FIELDS(T)                                                 \
  template class AbstractField<T>;                                                    \
  template class ArrayHolder<T>;                                                      \
  template class ArrayReference<T>;                                                   \
  template class ImmutableField<T>;                                                   \
  template KELVORA_API ArrayHolder<T>* details::callCopyCtor<ArrayHolder<T>>(         \
      const ArrayHolder<T>&);                                                         \
  template KELVORA_API ArrayReference<T>* details::callCopyCtor<ArrayReference<T>>(   \
      const ArrayReference<T>&);                                                      \
  template KELVORA_API void details::callDelete<AbstractField<T>>(AbstractField<T>*); \
  template KELVORA_API void details::callDelete<ArrayHolder<T>>(ArrayHolder<T>*);     \
  template KELVORA_API void details::callDelete<ArrayReference<T>>(ArrayReference<T>*);
KELVORA_FOR_EACH_ELEMENT_TYPE(KELVORA_INSTANTIATE_FIELDS)
#undef KELVORA_INSTANTIATE_FIELDS

}  // namespace kelvora
