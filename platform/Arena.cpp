#include "refcntr/platform/Arena.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <type_traits>

#if __has_include(<valgrind/valgrind.h>)
#include <valgrind/valgrind.h>
#define REFCNTR_UNDER_VALGRIND() (RUNNING_ON_VALGRIND != 0)
#else
#define REFCNTR_UNDER_VALGRIND() false
#endif

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define REFCNTR_ADDRESS_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define REFCNTR_ADDRESS_SANITIZER 1
#endif

namespace refcntr {

namespace {

constexpr std::size_t headerBytes = sizeof(Arena*);  // where a block came from, just before it
constexpr std::size_t firstChunkBytes = 4 * 1024;
constexpr std::size_t largestChunkBytes = 1024 * 1024;
constexpr std::size_t largestArenaBlock = 16 * 1024;  // larger blocks come from the heap
// What the chunk cache keeps at most: every chunk of a state of about 1,500 annotations.
constexpr std::size_t mostCachedBytes = 8 * 1024 * 1024;
// The count of live blocks starts this high while the scope is open, so that blocks freed
// meanwhile never bring it to zero; closing the scope takes the bias off.
constexpr long openBias = 1L << 62;

bool arenasAreUsable() {
#ifdef REFCNTR_ADDRESS_SANITIZER
    return false;
#else
    return !REFCNTR_UNDER_VALGRIND();
#endif
}
const bool arenasUsable = arenasAreUsable();

std::atomic<std::size_t> liveArenas{0};

// The chunks of arenas that have gone (and the large buffers of a single use, such as a whole
// file's bytes), kept for the arenas to come up to a bound. A viewer that opens file after file
// then writes into pages the process has touched already, instead of having the kernel fault in
// and clear fresh ones for every file, which costs about as much as all the rest of creating and
// saving. A list holds the chunks of firstChunkBytes << list bytes up to twice that; the last
// one every larger chunk. Arenas may go on any thread.
class ChunkCache {
public:
    // The smallest kept chunk of at least `size` bytes, `size` then being its size; null when
    // there is none.
    void* take(std::size_t& size) {
        std::lock_guard<std::mutex> hold(itsLock);
        for (std::size_t list = listAbove(size); list < listCount; ++list) {
            for (FreeChunk** link = &itsLists[list]; *link != nullptr; link = &(*link)->next) {
                FreeChunk* chunk = *link;
                if (chunk->size < size) continue;  // only in the last list
                *link = chunk->next;
                size = chunk->size;
                itsBytes -= size;
                return chunk;
            }
        }
        return nullptr;
    }

    // Keeps a chunk of `size` bytes; false when it is too small to be one or would pass the bound.
    bool keep(void* start, std::size_t size) {
        std::lock_guard<std::mutex> hold(itsLock);
        if (size < firstChunkBytes || itsBytes + size > mostCachedBytes) return false;
        const std::size_t list = listBelow(size);
        itsLists[list] = new (start) FreeChunk{itsLists[list], size};
        itsBytes += size;
        return true;
    }

    std::size_t bytes() {
        std::lock_guard<std::mutex> hold(itsLock);
        return itsBytes;
    }

private:
    struct FreeChunk {
        FreeChunk* next;
        std::size_t size;
    };
    static constexpr std::size_t listCount = 9;  // the last from largestChunkBytes on
    // The list that a chunk of `size` bytes goes to.
    static std::size_t listBelow(std::size_t size) {
        std::size_t list = 0;
        while (list + 1 < listCount && (firstChunkBytes << (list + 1)) <= size) ++list;
        return list;
    }
    // The first list whose chunks all hold `size` bytes, or the last.
    static std::size_t listAbove(std::size_t size) {
        std::size_t list = 0;
        while (list + 1 < listCount && (firstChunkBytes << list) < size) ++list;
        return list;
    }

    std::mutex itsLock;
    FreeChunk* itsLists[listCount] = {};
    std::size_t itsBytes = 0;
};
static_assert(firstChunkBytes << 8 == largestChunkBytes, "the last list starts at the largest chunk");
static_assert(std::is_trivially_destructible<ChunkCache>::value, "arenas that go at exit still find the cache");

ChunkCache chunkCache;

thread_local Arena* openArena __attribute__((tls_model("initial-exec"))) = nullptr;

// Out of line, as is Arena::grow, so that the common path of allocateBlock stays short.
[[gnu::noinline]] void* heapBlock(std::size_t bytes) {
    if (bytes > std::size_t(-1) - headerBytes) throw std::bad_alloc();
    auto* start = static_cast<char*>(std::malloc(bytes + headerBytes));
    if (start == nullptr) throw std::bad_alloc();
    std::memset(start, 0, headerBytes);
    return start + headerBytes;
}

}  // namespace

class Arena {
public:
    Arena() { liveArenas.fetch_add(1, std::memory_order_relaxed); }
    bool hasRoomFor(std::size_t bytes) const { return std::size_t(itsEnd - itsNext) >= bytes; }
    // A block of `bytes`, which the current chunk has room for.
    char* carve(std::size_t bytes) {
        char* block = itsNext;
        itsNext += bytes;
        ++itsAllocated;
        return block;
    }
    // A block of `bytes` from a new chunk.
    [[gnu::noinline]] char* carveFromNewChunk(std::size_t bytes) {
        grow(bytes);
        return carve(bytes);
    }

    void release() noexcept {
        if (itsLive.fetch_sub(1, std::memory_order_acq_rel) == 1) destroy();
    }

    // The scope has closed: no block is carved any more.
    void close() noexcept {
        const long change = itsAllocated - openBias;
        if (itsLive.fetch_add(change, std::memory_order_acq_rel) + change == 0) destroy();
    }

    // Out of line, so that releasing a block that is not the last saves no registers.
    [[gnu::noinline]] void destroy() noexcept { delete this; }

    ~Arena() {
        while (itsChunks != nullptr) {
            Chunk* previous = itsChunks->previous;
            if (!chunkCache.keep(itsChunks, itsChunks->bytes)) std::free(itsChunks);
            itsChunks = previous;
        }
        liveArenas.fetch_sub(1, std::memory_order_relaxed);
    }

private:
    struct Chunk {
        Chunk* previous;
        std::size_t bytes;
    };

    // A chunk of the next size, or of the smallest size above it that holds `bytes`; from the
    // cache when it has one of that size or larger.
    void grow(std::size_t bytes) {
        std::size_t size = itsNextChunkBytes;
        while (size < bytes + sizeof(Chunk)) size *= 2;
        void* start = chunkCache.take(size);
        if (start == nullptr && (start = std::malloc(size)) == nullptr) throw std::bad_alloc();
        auto* chunk = new (start) Chunk{itsChunks, size};
        itsChunks = chunk;
        itsNext = reinterpret_cast<char*>(chunk + 1);
        itsEnd = reinterpret_cast<char*>(chunk) + size;
        itsNextChunkBytes = std::min(2 * size, largestChunkBytes);
    }

    char* itsNext = nullptr;
    char* itsEnd = nullptr;
    Chunk* itsChunks = nullptr;
    std::size_t itsNextChunkBytes = firstChunkBytes;
    long itsAllocated = 0;  // only the thread of the open scope counts
    std::atomic<long> itsLive{openBias};
};

void* allocateBlock(std::size_t bytes) {
    Arena* arena = openArena;
    if (arena == nullptr || bytes > largestArenaBlock) return heapBlock(bytes);
    const std::size_t rounded = (bytes + headerBytes + 7) & ~std::size_t(7);
    // The new chunk is made out of line, so that the common path saves fewer registers.
    char* start = arena->hasRoomFor(rounded) ? arena->carve(rounded) : arena->carveFromNewChunk(rounded);
    std::memcpy(start, &arena, headerBytes);
    return start + headerBytes;
}

void releaseBlock(void* block) noexcept {
    if (block == nullptr) return;
    char* start = static_cast<char*>(block) - headerBytes;
    Arena* arena;
    std::memcpy(&arena, start, headerBytes);
    if (arena == nullptr)
        std::free(start);
    else
        arena->release();
}

bool arenasAreUsed() { return arenasUsable; }

std::size_t liveArenaCount() { return liveArenas.load(std::memory_order_relaxed); }

std::size_t cachedChunkBytes() { return chunkCache.bytes(); }

void* allocateBuffer(std::size_t bytes) {
    std::size_t size = bytes;
    if (void* kept = arenasUsable ? chunkCache.take(size) : nullptr) return kept;
    return std::malloc(bytes);
}

void releaseBuffer(void* buffer, std::size_t bytes) noexcept {
    if (buffer != nullptr && !(arenasUsable && chunkCache.keep(buffer, bytes))) std::free(buffer);
}

ArenaScope::ArenaScope() : itsOpened(nullptr) {
    if (openArena != nullptr || !arenasUsable) return;
    itsOpened = new Arena;
    openArena = itsOpened;
}

ArenaScope::~ArenaScope() {
    if (itsOpened == nullptr) return;
    openArena = nullptr;
    itsOpened->close();
}

}  // namespace refcntr
