// The key of an image and frame that a listener registers for.
#pragma once

#include <cstddef>

#include "refcntr/platform/Types.h"

namespace refcntr {

// Three kinds of key: any image (empty UID; frame and flag ignored), any frame of one image
// (any-frame flag set), one frame of one image (flag clear).
class ImgFrmKey {
public:
    static const ImgFrmKey itsAnyImageKey;

    // Any frame of `uid` (any image when `uid` is empty). Implicit, so that a UID can be passed
    // where a key is expected.
    ImgFrmKey(const RWCString& uid = itsEmptyString);
    // Frame `frame` of `uid`.
    ImgFrmKey(const RWCString& uid, int frame);
    ImgFrmKey(const ImgFrmKey&) = default;
    ImgFrmKey& operator=(const ImgFrmKey&) = default;

    RWCString getSOPInstanceUID() const { return itsSOPInstanceUID; }
    const RWCString& sopInstanceUID() const { return itsSOPInstanceUID; }
    int getFrameNumber() const { return itsFrameNumber; }
    bool isAnyImageKey() const { return itsSOPInstanceUID.empty(); }
    bool isAnyFrameKey() const { return !itsSOPInstanceUID.empty() && itsAnyFrame; }

    bool isSameImage(const ImgFrmKey& other) const { return itsSOPInstanceUID == other.itsSOPInstanceUID; }
    bool isSameImageAndFrame(const ImgFrmKey& other) const { return *this == other; }
    bool operator==(const ImgFrmKey& other) const;
    // The same comparison on the parts of two keys, for indexes that store keys their own way.
    // (Pointer and length: the installed headers stay valid C++14.)
    static bool sameKey(const char* uid, std::size_t length, bool anyFrame, int frame, const char* otherUID,
                        std::size_t otherLength, bool otherAnyFrame, int otherFrame);
    bool operator<(const ImgFrmKey& other) const;

    // The deliberate hash: 0 unless 7 * hash(uid) + anyFrame is 0, in which case the frame
    // number. A non-zero result is cached; 0 is recomputed at every call.
    unsigned hash() const;
    static unsigned hash(const ImgFrmKey& key) { return key.hash(); }

private:
    static const RWCString itsEmptyString;

    RWCString itsSOPInstanceUID;
    int itsFrameNumber;
    mutable unsigned itsCachedHash;
    bool itsAnyFrame;
};

}  // namespace refcntr
