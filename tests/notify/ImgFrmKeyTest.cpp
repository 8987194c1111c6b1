#include <gtest/gtest.h>

#include "refcntr/notify/ImgFrmKey.h"

namespace refcntr {
namespace {

TEST(ImgFrmKey, KindsFollowTheUidAndTheAnyFrameFlagAndAUidConvertsToAnAnyFrameKey) {
    EXPECT_TRUE(ImgFrmKey::itsAnyImageKey.isAnyImageKey());
    EXPECT_TRUE(ImgFrmKey("", 4).isAnyImageKey());
    EXPECT_FALSE(ImgFrmKey("", 4).isAnyFrameKey());
    EXPECT_TRUE(ImgFrmKey("1.2").isAnyFrameKey());
    EXPECT_FALSE(ImgFrmKey("1.2", 0).isAnyFrameKey());
    EXPECT_FALSE(ImgFrmKey("1.2", 0).isAnyImageKey());
    // A uid passed where a key is expected stands for every frame of that image.
    const auto uidOf = [](const ImgFrmKey& key) { return key.isAnyFrameKey() ? key.getSOPInstanceUID() : ""; };
    EXPECT_EQ(uidOf(RWCString("1.2")), "1.2");
}

TEST(ImgFrmKey, EqualityIgnoresFramesOnlyForAnyImageKeys) {
    EXPECT_EQ(ImgFrmKey("", 3), ImgFrmKey("", -8));
    EXPECT_EQ(ImgFrmKey("", 3), ImgFrmKey::itsAnyImageKey);
    EXPECT_EQ(ImgFrmKey("1.2", 5), ImgFrmKey("1.2", 5));
    EXPECT_EQ(ImgFrmKey("1.2"), ImgFrmKey("1.2"));
    EXPECT_FALSE(ImgFrmKey("1.2", 5) == ImgFrmKey("1.2", 6));
    EXPECT_FALSE(ImgFrmKey("1.2") == ImgFrmKey("1.2", 0));
    EXPECT_FALSE(ImgFrmKey("1.2", 0) == ImgFrmKey("1.2"));
    EXPECT_FALSE(ImgFrmKey("1.2.a", 1) == ImgFrmKey("1.2.A", 1));
    EXPECT_FALSE(ImgFrmKey("1.2", 1).isSameImage(ImgFrmKey("1.2 ", 1)));
}

TEST(ImgFrmKey, OrdersByUidThenAnyFrameThenSignedFrame) {
    const ImgFrmKey wholeImage("1.2");
    EXPECT_LT(wholeImage, ImgFrmKey("1.2", 0));
    EXPECT_LT(wholeImage, ImgFrmKey("1.2", -5));
    EXPECT_FALSE(ImgFrmKey("1.2", -5) < wholeImage);
    EXPECT_FALSE(wholeImage < wholeImage);
    EXPECT_LT(ImgFrmKey("1.2", -5), ImgFrmKey("1.2", 2));
    EXPECT_FALSE(ImgFrmKey("1.2", 2) < ImgFrmKey("1.2", 2));
    EXPECT_LT(ImgFrmKey("1.1", 9), ImgFrmKey("1.2"));
    EXPECT_LT(ImgFrmKey::itsAnyImageKey, ImgFrmKey("1.2"));
    EXPECT_FALSE(ImgFrmKey("", 1) < ImgFrmKey("", 2));
}

TEST(ImgFrmKey, HashIsZeroForOrdinaryKeysAndEqualForEqualKeys) {
    EXPECT_EQ(ImgFrmKey("1.2.3").hash(), 0u);
    EXPECT_EQ(ImgFrmKey("1.2.3", 7).hash(), 0u);
    EXPECT_EQ(ImgFrmKey::hash(ImgFrmKey("1.2.3", 7)), 0u);
    // Equal any-image keys must land in the same bucket whatever their frames and flags.
    EXPECT_EQ(ImgFrmKey("", 12).hash(), ImgFrmKey::itsAnyImageKey.hash());
    EXPECT_EQ(ImgFrmKey("", -3).hash(), ImgFrmKey("", 12).hash());
}

}  // namespace
}  // namespace refcntr
