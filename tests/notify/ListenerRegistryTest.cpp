#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "refcntr/core/PSChangeHandler.h"
#include "refcntr/notify/ListenerRegistry.h"
#include "refcntr/notify/PSChangeListener.h"

// Counts heap allocations while `countingAllocations` is set.
namespace {
bool countingAllocations = false;
unsigned allocationCount = 0;
}  // namespace

void* operator new(std::size_t size) {
    if (countingAllocations) ++allocationCount;
    if (void* memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace refcntr {
namespace {

using Strings = std::vector<std::string>;

// Listeners in an array, so that their addresses ascend with their index.
struct ListenerRegistryTest : ::testing::Test {
    PSChangeListener listeners[3];
    PSChangeListener& first = listeners[0];
    PSChangeListener& second = listeners[1];
    PSChangeListener& third = listeners[2];
    ListenerRegistry registry;

    // Each registration as "<listener index> <uid>[ <frame>]" ("all" for all images), in order.
    Strings registrations() const {
        Strings result;
        for (unsigned i = 0; i < registry.entries(); ++i) {
            const ImgFrmKey& key = registry.get(i)->getImageFrameKey();
            std::string text = std::to_string(registry.get(i)->getPSChangeListener() - listeners) + " ";
            text += key.isAnyImageKey() ? "all" : key.getSOPInstanceUID();
            if (!key.isAnyImageKey() && !key.isAnyFrameKey()) text += " " + std::to_string(key.getFrameNumber());
            result.push_back(text);
        }
        return result;
    }
};

TEST_F(ListenerRegistryTest, EmptyRegistriesAndHandlersAllocateNothing) {
    countingAllocations = true;
    allocationCount = 0;
    {
        ListenerRegistry empty;
        PSChangeHandler handler;
        PSChangeHandler copy(handler);
        ListenerRegistry emptyCopy(empty);
    }
    countingAllocations = false;
    EXPECT_EQ(allocationCount, 0u);
}

TEST_F(ListenerRegistryTest, RefusesARegistrationThatOverlapsAnEarlierOne) {
    registry.addListener(first, "U");
    registry.addListener(first, "U", 3);  // inside the whole image
    registry.addListener(second, "U", 3);
    registry.addListener(second, "U");  // wider, still refused: frame 3 stays
    registry.addListener(second, "U", 3);
    registry.addListener(second, "U", 4);
    registry.addListener(second, "V", 4);
    registry.addListener(second, "");  // all images covers the existing ones
    registry.addListener(third, "");
    registry.addListener(third, "U", 1);
    registry.addListener(third, "W");
    EXPECT_EQ(registrations(), (Strings{"0 U", "1 U 3", "1 U 4", "1 V 4", "2 all"}));
}

TEST_F(ListenerRegistryTest, SortsByListenerAndKeepsEachListenersRegistrationsInAdditionOrder) {
    registry.addListener(third, "A");
    registry.addListener(first, "V", 2);
    registry.addListener(second, "B");
    registry.addListener(first, "U");
    registry.addListener(first, "V", 1);
    EXPECT_EQ(registrations(), (Strings{"0 V 2", "0 U", "0 V 1", "1 B", "2 A"}));
}

TEST_F(ListenerRegistryTest, RemovalFormsDropOnlyWhatTheyMatch) {
    registry.removeListener(&first);  // nothing registered at all
    registry.addListener(second, "U");
    registry.removeListener(&first);  // not registered
    registry.removeListener(&third, "U");
    registry.addListener(first, "U", 3);
    registry.addListener(first, "U", 4);
    registry.addListener(first, "V");
    registry.addListener(third, "U", 3);

    registry.removeListener(&second, "U", 3);  // an any-frame registration is not a frame match
    registry.removeListener(&second, "V");
    registry.removeListener(&first, "U", 4);
    EXPECT_EQ(registrations(), (Strings{"0 U 3", "0 V", "1 U", "2 U 3"}));

    registry.addListener(first, "U", 5);
    registry.removeListener(&first, "U");
    EXPECT_EQ(registrations(), (Strings{"0 V", "1 U", "2 U 3"}));

    registry.removeListener(&second, "", 9);  // empty uid: every registration of the listener
    registry.removeListener(&third, "");
    EXPECT_EQ(registrations(), (Strings{"0 V"}));
}

TEST_F(ListenerRegistryTest, IndexListsTheListenersOfEachKeyDropsEmptiedKeysAndGrows) {
    registry.addListener(third, "U", 3);
    registry.addListener(first, "U", 3);
    registry.addListener(first, "V");
    const PSChangeListenerList* frameThree = registry.index().find(ImgFrmKey("U", 3));
    ASSERT_NE(frameThree, nullptr);
    ASSERT_EQ(frameThree->entries(), 2u);
    EXPECT_EQ(frameThree->get(0), &first);
    EXPECT_EQ(frameThree->get(1), &third);
    EXPECT_EQ(registry.index().entries(), 2u);

    registry.removeListener(&first);
    ASSERT_EQ(registry.index().find(ImgFrmKey("U", 3))->entries(), 1u);
    EXPECT_EQ(registry.index().find(ImgFrmKey("V")), nullptr);
    registry.removeListener(&third, "U", 3);
    EXPECT_EQ(registry.index().entries(), 0u);

    // The index grows when its entries reach three quarters of its buckets.
    for (int image = 0; image < 48; ++image) registry.addListener(first, "U" + std::to_string(image));
    EXPECT_EQ(registry.index().buckets(), 64u);
    registry.addListener(first, "U48");
    EXPECT_EQ(registry.index().buckets(), 130u);
    EXPECT_EQ(registry.index().entries(), 49u);

    // A handler's index hashes by the key's own hash and has at least two buckets.
    using Index = PSChangeHandler::ListenerRegistry::ListenerByImageFrameIndex;
    EXPECT_EQ(Index(0).buckets(), 2u);
    for (const ImgFrmKey& key : {ImgFrmKey("", 5), ImgFrmKey("U", 3), ImgFrmKey("U")})
        EXPECT_EQ(Index::getKeyHash(key), key.hash());
}

TEST_F(ListenerRegistryTest, CopiesShareRegistrationsWithoutOwningThemTwice) {
    registry.addListener(first, "U");
    registry.addListener(second, "V", 1);
    auto source = std::make_unique<ListenerRegistry>(registry);
    ListenerRegistry assigned;
    assigned.addListener(third, "W");
    assigned = *source;
    EXPECT_EQ(source->get(0), registry.get(0));
    EXPECT_EQ(assigned.get(1), registry.get(1));

    source->removeListener(&first);
    source.reset();
    registry.removeListener(&second);
    ASSERT_EQ(assigned.entries(), 2u);
    EXPECT_EQ(assigned.get(0)->getImageFrameKey().getSOPInstanceUID(), "U");
    EXPECT_EQ(assigned.get(1)->getImageFrameKey().getFrameNumber(), 1);
    EXPECT_NE(assigned.index().find(ImgFrmKey("V", 1)), nullptr);
    EXPECT_EQ(assigned.index().find(ImgFrmKey("W")), nullptr);
}

}  // namespace
}  // namespace refcntr
