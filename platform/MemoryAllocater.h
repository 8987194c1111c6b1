// The allocator of element value buffers: arena blocks (see Arena.h) unless a subclass says otherwise.
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
