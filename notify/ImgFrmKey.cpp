#include "refcntr/notify/ImgFrmKey.h"

#include <cstring>

#include "refcntr/notify/HashTable.h"

namespace refcntr {

// Defined in this order: the any-image key is built from the empty string.
const RWCString ImgFrmKey::itsEmptyString;
const ImgFrmKey ImgFrmKey::itsAnyImageKey(ImgFrmKey::itsEmptyString);

ImgFrmKey::ImgFrmKey(const RWCString& uid)
    : itsSOPInstanceUID(uid),
      itsFrameNumber(0),
      itsCachedHash(0),
      itsAnyFrame(true) {}

ImgFrmKey::ImgFrmKey(const RWCString& uid, int frame)
    : itsSOPInstanceUID(uid),
      itsFrameNumber(frame),
      itsCachedHash(0),
      itsAnyFrame(false) {}

bool ImgFrmKey::operator==(const ImgFrmKey& other) const {
    return sameKey(itsSOPInstanceUID.data(), itsSOPInstanceUID.size(), itsAnyFrame, itsFrameNumber,
                   other.itsSOPInstanceUID.data(), other.itsSOPInstanceUID.size(), other.itsAnyFrame,
                   other.itsFrameNumber);
}

bool ImgFrmKey::sameKey(const char* uid, std::size_t length, bool anyFrame, int frame, const char* otherUID,
                        std::size_t otherLength, bool otherAnyFrame, int otherFrame) {
    if (length != otherLength || (length != 0 && std::memcmp(uid, otherUID, length) != 0)) return false;
    if (length == 0) return true;
    if (anyFrame) return otherAnyFrame;
    if (otherAnyFrame) return false;
    return frame == otherFrame;
}

bool ImgFrmKey::operator<(const ImgFrmKey& other) const {
    const int order = itsSOPInstanceUID.compare(other.itsSOPInstanceUID);
    if (order != 0) return order < 0;
    if (itsSOPInstanceUID.empty()) return false;
    if (itsAnyFrame) return !other.itsAnyFrame;
    if (other.itsAnyFrame) return false;
    return itsFrameNumber < other.itsFrameNumber;
}

// Deliberately 0 for nearly every key, so an index keyed by ImgFrmKey keeps all its entries
// in one bucket.
unsigned ImgFrmKey::hash() const {
    if (itsCachedHash != 0) return itsCachedHash;
    const unsigned mixed = 7u * stringHash(itsSOPInstanceUID) + (itsAnyFrame ? 1u : 0u);
    itsCachedHash = mixed == 0 ? unsigned(itsFrameNumber) : 0u;
    return itsCachedHash;
}

}  // namespace refcntr
