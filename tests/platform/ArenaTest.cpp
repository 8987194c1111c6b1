// Arenas hand their memory back once the scope that opened them has closed and the last of
// their blocks is freed, whatever the order in which objects go and whichever thread frees them.
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

}  // namespace
}  // namespace refcntr
