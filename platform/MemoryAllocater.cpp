#include "refcntr/platform/MemoryAllocater.h"

#include "refcntr/platform/Arena.h"

namespace refcntr {

MemoryAllocater::~MemoryAllocater() = default;

void* MemoryAllocater::Allocate(std::size_t bytes) {
    if (bytes == 0) return nullptr;
    return allocateBlock(bytes);
}

void MemoryAllocater::Release(void* block) { releaseBlock(block); }

}  // namespace refcntr
