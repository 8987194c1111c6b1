#include "refcntr/platform/MemoryAllocater.h"

#include <cstdlib>
#include <new>

namespace refcntr {

MemoryAllocater::~MemoryAllocater() = default;

void* MemoryAllocater::Allocate(std::size_t bytes) {
    if (bytes == 0) return nullptr;
    void* block = std::malloc(bytes);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void MemoryAllocater::Release(void* block) { std::free(block); }

}  // namespace refcntr
