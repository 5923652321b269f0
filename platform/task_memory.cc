// The task allocator over the C heap.
#include <cstdlib>

#include "platform/com.h"

void* CoTaskMemAlloc(SIZE_T size) { return std::malloc(size == 0 ? 1 : size); }

void CoTaskMemFree(void* block) { std::free(block); }
