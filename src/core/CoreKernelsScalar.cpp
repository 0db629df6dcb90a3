// The core's kernels on the scalar path, built on every platform.
#define KELVORA_TARGET_SCALAR
#include "core/CoreKernelTable.inl"
