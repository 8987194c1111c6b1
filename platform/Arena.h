// Memory for the many small objects that reading or writing one object makes: containers,
// elements, item data sets and their values, tens of thousands of them for a big presentation
// state. While an ArenaScope is open on a thread, blocks are carved in order from large chunks
// of one arena, which costs a few instructions instead of a heap allocation; otherwise, and for
// large blocks, they come from the heap. Every block remembers where it came from, so it may be
// freed anywhere, on any thread, also after its scope has closed: an arena returns its chunks
// once its scope has closed and its last block is freed, to a bounded cache that later arenas
// take them from. A block freed before that is not reused. Blocks are aligned to 8 bytes,
// enough for every class that uses them.
#pragma once

#include <cstddef>
#include <limits>
#include <new>

namespace refcntr {

class Arena;

void* allocateBlock(std::size_t bytes);
void releaseBlock(void* block) noexcept;

// Whether scopes open arenas in this process: not under valgrind or AddressSanitizer, so that
// they see every block's bounds and lifetime.
bool arenasAreUsed();
// The arenas that hold memory now, in the whole process: a check that none is left behind.
std::size_t liveArenaCount();
// The bytes of chunks kept for the arenas to come, at most 8 MiB: the chunks of an arena that
// goes are kept while they fit, so that the next file is built in memory the process has touched.
std::size_t cachedChunkBytes();

// Memory for one large buffer of short use, such as the bytes of a whole file while they are
// decoded: a chunk that arenas have left when one is large enough, else the heap's; null when
// there is none. Released with the size asked for, it is left to the arenas to come, which then
// build in pages the process has touched.
void* allocateBuffer(std::size_t bytes);
void releaseBuffer(void* buffer, std::size_t bytes) noexcept;

// Opens an arena for this thread's blocks until the scope closes, unless one is open already
// (the outermost scope then serves every nested one).
class ArenaScope {
public:
    ArenaScope();
    ~ArenaScope();
    ArenaScope(const ArenaScope&) = delete;
    ArenaScope& operator=(const ArenaScope&) = delete;

private:
    Arena* itsOpened;  // null when an outer scope serves this one
};

// A base that gives a class's objects (and those of its subclasses) arena blocks.
class ArenaAllocated {
public:
    static void* operator new(std::size_t bytes) { return allocateBlock(bytes); }
    static void operator delete(void* block) noexcept { releaseBlock(block); }
};

// A standard allocator over the same blocks, for the vectors inside those objects.
template <class T>
class ArenaAllocator {
public:
    using value_type = T;
    static_assert(alignof(T) <= 8, "arena blocks are aligned to 8 bytes");

    ArenaAllocator() noexcept = default;
    template <class U>
    ArenaAllocator(const ArenaAllocator<U>&) noexcept {}

    T* allocate(std::size_t count) {
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) throw std::bad_alloc();
        return static_cast<T*>(allocateBlock(count * sizeof(T)));
    }
    void deallocate(T* block, std::size_t) noexcept { releaseBlock(block); }

    template <class U>
    bool operator==(const ArenaAllocator<U>&) const noexcept {
        return true;
    }
    template <class U>
    bool operator!=(const ArenaAllocator<U>&) const noexcept {
        return false;
    }
};

}  // namespace refcntr
