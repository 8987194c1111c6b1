#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "refcntr/core/PSChangeHandler.h"
#include "support/ImageReference.h"
#include "support/Recording.h"

namespace refcntr {
namespace {

using testing::imageReference;
using testing::RecordingListener;
using Log = std::vector<std::string>;

// Listeners in an array, so that their addresses ascend with their index.
struct DeliveryTest : ::testing::Test {
    DeliveryTest() {
        for (int i = 0; i < 8; ++i) listeners[i].shareLog(log, std::to_string(i));
        parentListener.shareLog(log, "parent");
        parent.addListener(parentListener, "");
        handler.setPSChangeHandler(parent);
    }
    Log heardBy(const ReferencedImageSequence* images) {
        log.clear();
        handler.elementUpdated("E", images);
        return log;
    }

    Log log;
    RecordingListener listeners[8];
    RecordingListener parentListener;
    PSChangeHandler parent;
    PSChangeHandler handler;
};

// A handler's copy reports to the same parent (the generated containers' copies report to none).
TEST_F(DeliveryTest, ListenersHearInAscendingAddressOrderThenTheParentAlsoOfACopy) {
    handler.addListener(listeners[2], "U");
    handler.addListener(listeners[0], "");
    handler.addListener(listeners[1], "V", 1);
    EXPECT_EQ(heardBy(nullptr),
              (Log{"0 elementUpdated E", "1 elementUpdated E", "2 elementUpdated E", "parent elementUpdated E"}));
    log.clear();
    PSChangeHandler(handler).elementUpdated("E", nullptr);
    EXPECT_EQ(log, Log{"parent elementUpdated E"});
}

TEST_F(DeliveryTest, ImagesSelectListenersByImageAndFrameAndEachHearsOnce) {
    ReferencedImageSequence images;
    images.addItem(imageReference("U", {1, 3}));
    images.addItem(imageReference("V"));
    handler.addListener(listeners[0], "");
    handler.addListener(listeners[1], "U");
    handler.addListener(listeners[2], "U", 1);
    handler.addListener(listeners[3], "U", 2);
    handler.addListener(listeners[4], "V");
    handler.addListener(listeners[5], "V", 1);  // V is referenced without frames
    handler.addListener(listeners[6], "W");
    handler.addListener(listeners[2], "U", 3);  // a second match
    handler.addListener(listeners[7], "U", 2);
    handler.addListener(listeners[7], "U", 3);  // only its second registration matches
    EXPECT_EQ(heardBy(&images), (Log{"0 elementUpdated E", "1 elementUpdated E", "2 elementUpdated E",
                                     "4 elementUpdated E", "7 elementUpdated E", "parent elementUpdated E"}));
    EXPECT_EQ(heardBy(nullptr).size(), 9u);
}

}  // namespace
}  // namespace refcntr
