// Arenas hand their memory back once the scope that opened them has closed and the last of
// their blocks is freed, whatever the order in which objects go and whichever thread frees them;
// the next arenas build in that memory, as much of it as the cache keeps.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "support/TestFiles.h"
#include "refcntr/platform/Arena.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/presentation/PresentationStateIODs.h"

namespace refcntr {
namespace {

using Presentation = GrayscaleSoftcopyPresentationStateCompositeIOD;

// `count` arenas, or none when this process does not use them.
std::size_t opened(std::size_t count) { return arenasAreUsed() ? count : 0; }

void onAnotherThread(const std::function<void()>& work) { std::thread(work).join(); }

TEST(Arena, ObjectsReadCreatedAndSavedGiveTheirArenasBackWhenTheLastGoesInAnyOrderOnAnyThread) {
    const std::size_t before = liveArenaCount();
    std::unique_ptr<DICOMDataObject> read = readDicomFile(testfiles::samplePath());
    std::unique_ptr<Presentation> state(Presentation::create(*read));
    auto saved = std::make_unique<DICOMDataObject>();
    state->save(*saved);
    // Saved back into the data set it was read from: its replaced elements go, the new ones stay.
    state->save(*read);
    EXPECT_EQ(before + opened(4), liveArenaCount());

    read.reset();
    onAnotherThread([&state] { state.reset(); });
    EXPECT_EQ(before + opened(1), liveArenaCount());
    onAnotherThread([&saved] { saved.reset(); });
    EXPECT_EQ(before, liveArenaCount());
}

TEST(Arena, BlocksOutliveTheirScopeAndNestedScopesShareTheOutermostArena) {
    const std::size_t before = liveArenaCount();
    void* outer = nullptr;
    void* inner = nullptr;
    std::vector<int, ArenaAllocator<int>> numbers;
    {
        ArenaScope scope;
        outer = allocateBlock(24);
        {
            ArenaScope nested;
            inner = allocateBlock(40);
        }
        numbers.assign(1000, 7);
        EXPECT_EQ(before + opened(1), liveArenaCount());
    }
    numbers.resize(100000, 8);  // grows on the heap now, and gives its arena block back
    std::memset(outer, 1, 24);
    std::memset(inner, 2, 40);
    releaseBlock(inner);
    onAnotherThread([outer] { releaseBlock(outer); });
    EXPECT_EQ(before, liveArenaCount());
    EXPECT_EQ(7, numbers.front());
    EXPECT_EQ(8, numbers.back());
}

TEST(Arena, TheNextArenaBuildsInTheChunksOfTheLastOneAndInBuffersOfOneUseUpToTheBoundOfTheCache) {
    if (!arenasAreUsed()) GTEST_SKIP() << "arenas are off under valgrind and AddressSanitizer";
    void* first = nullptr;
    {
        ArenaScope scope;
        first = allocateBlock(100);
    }
    onAnotherThread([first] { releaseBlock(first); });
    const std::size_t kept = cachedChunkBytes();
    EXPECT_GE(kept, 4096u);
    void* second = nullptr;
    {
        ArenaScope scope;
        second = allocateBlock(100);
    }
    EXPECT_EQ(first, second);
    EXPECT_LT(cachedChunkBytes(), kept);
    releaseBlock(second);

    // A large buffer of one use (a whole file read) is kept as well, for whoever next asks as much.
    const std::size_t bufferSize = std::size_t(3) << 20;
    auto* buffer = static_cast<unsigned char*>(allocateBuffer(bufferSize));
    ASSERT_NE(nullptr, buffer);
    std::memset(buffer, 1, bufferSize);
    const std::size_t withoutBuffer = cachedChunkBytes();
    releaseBuffer(buffer, bufferSize);
    EXPECT_EQ(withoutBuffer + bufferSize, cachedChunkBytes());
    EXPECT_EQ(buffer, allocateBuffer(bufferSize));
    EXPECT_EQ(withoutBuffer, cachedChunkBytes());
    releaseBuffer(buffer, bufferSize);

    // An arena of 11 MiB leaves 8 MiB at most.
    std::vector<void*> blocks;
    {
        ArenaScope scope;
        for (int i = 0; i < 700; ++i) blocks.push_back(allocateBlock(16 * 1024));
    }
    for (void* block : blocks) releaseBlock(block);
    EXPECT_LE(cachedChunkBytes(), std::size_t(8) << 20);
    EXPECT_GE(cachedChunkBytes(), std::size_t(4) << 20);
}

}  // namespace
}  // namespace refcntr
