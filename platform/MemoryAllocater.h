// The allocator of element value buffers.
#pragma once

#include <cstddef>

namespace refcntr {

class MemoryAllocater {
public:
    virtual ~MemoryAllocater();
    virtual void* Allocate(std::size_t bytes);
    virtual void Release(void* block);
};

}  // namespace refcntr
