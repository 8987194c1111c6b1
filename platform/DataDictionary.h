// The data dictionary: VRs of standard tags (DCMTK's dictionary behind a lock-free cache) and
// of the private tags this library writes.
#pragma once

#include "refcntr/platform/Types.h"

namespace refcntr {

class VR;

class InstanceSpecificDataDictionary {
public:
    // The VR code the dictionary gives the tag: a plain code, one of the ambiguous codes
    // (US_OR_SS, OW_OR_OB, OW_OR_US_OR_SS), or VRCode::Unknown for a tag it does not know.
    // Repeating groups (50xx, 60xx) are found through their repeating entries.
    static UINT16 TypeVR(UINT16 group, UINT16 element);
    // Sets the element's VR code from the dictionary and returns it.
    static UINT16 TypeVR(VR& element);
    // The VR code of a private element by creator and offset; VRCode::Unknown when the
    // creator or the offset is unknown.
    static UINT16 TypeVR(const char* creator, UINT8 offset, UINT16 group);
    // The keyword of a standard tag ("PatientName"), or "" when the dictionary has none.
    static RWCString Keyword(UINT16 group, UINT16 element);
    // 1 once DCMTK's dictionary has been loaded with its standard entries.
    static int IsLoaded();
};

// Private entries known to this library, keyed by private creator.
struct PrivateDictionaryEntry {
    const char* itsCreator;
    UINT16 itsGroup;
    UINT8 itsOffset;
    UINT16 itsVRCode;
    const char* itsKeyword;
};

class PrivateDataDictionary {
public:
    // The entry for creator, group and offset, or null.
    static const PrivateDictionaryEntry* Find(const char* creator, UINT16 group, UINT8 offset);
    // 1 when the dictionary has entries for this creator.
    static int KnowsCreator(const char* creator);
    // Every entry, terminated by an entry with a null creator.
    static const PrivateDictionaryEntry* Entries();
};

// The private creator of the viewer's own modules and its group.
constexpr const char* ZORVIKPrivateCreator = "ZORVIK0";
constexpr UINT16 ZORVIKPrivateGroup = 0x0023;

}  // namespace refcntr
