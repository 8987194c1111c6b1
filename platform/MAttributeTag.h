// A data element tag: (group, element).
#pragma once

#include "refcntr/platform/Types.h"

namespace refcntr {

class MAttributeTag {
public:
    constexpr MAttributeTag() = default;
    constexpr MAttributeTag(UINT16 group, UINT16 element) : itsGroup(group), itsElement(element) {}

    constexpr UINT16 GetGroup() const { return itsGroup; }
    constexpr UINT16 GetElement() const { return itsElement; }
    // Group in the high 16 bits, element in the low: the sort key of a data set.
    constexpr UINT32 GetKey() const { return (UINT32(itsGroup) << 16) | itsElement; }
    constexpr bool IsPrivate() const { return (itsGroup & 1) != 0; }

    // "(gggg,eeee)" in upper-case hexadecimal.
    RWCString ToString() const;

    constexpr bool operator==(const MAttributeTag& other) const { return GetKey() == other.GetKey(); }
    constexpr bool operator!=(const MAttributeTag& other) const { return GetKey() != other.GetKey(); }
    constexpr bool operator<(const MAttributeTag& other) const { return GetKey() < other.GetKey(); }

private:
    UINT16 itsGroup = 0;
    UINT16 itsElement = 0;
};

}  // namespace refcntr
