#include "refcntr/platform/DataDictionary.h"

#include <atomic>
#include <cstdint>
#include <cstring>
#include <string>
#include <unordered_map>
#include <utility>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdict.h>
#include <dcmtk/dcmdata/dcdicent.h>

#include "refcntr/platform/DcmtkBridge.h"
#include "refcntr/platform/DcmtkVR.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/VR.h"

namespace refcntr {

namespace {

constexpr PrivateDictionaryEntry privateEntries[] = {
    {ZORVIKPrivateCreator, ZORVIKPrivateGroup, 0x44, VRCode::LO, "ZORVIKSpineLabelSet"},
    {ZORVIKPrivateCreator, ZORVIKPrivateGroup, 0x46, VRCode::LO, "ZORVIKSharpenType"},
    {ZORVIKPrivateCreator, ZORVIKPrivateGroup, 0x47, VRCode::US, "ZORVIKSharpenKernelRows"},
    {ZORVIKPrivateCreator, ZORVIKPrivateGroup, 0x48, VRCode::US, "ZORVIKSharpenKernelCols"},
    {ZORVIKPrivateCreator, ZORVIKPrivateGroup, 0x49, VRCode::FL, "ZORVIKSharpenKernelData"},
    {ZORVIKPrivateCreator, ZORVIKPrivateGroup, 0x51, VRCode::LT, "ZORVIKViewerLayoutInfo"},
    {ZORVIKPrivateCreator, ZORVIKPrivateGroup, 0x53, VRCode::LT, "ZORVIKStudyPresentationStepInfo"},
    {nullptr, 0, 0, VRCode::Unknown, nullptr},
};

UINT16 lookUp(const DcmTagKey& tag, const char* creator) {
    registerPrivateEntriesWithDcmtk();
    const DcmDataDictionary& dictionary = dcmDataDict.rdlock();
    const DcmDictEntry* entry = dictionary.findEntry(tag, creator);
    const UINT16 code = entry != nullptr ? dictionaryVRCode(entry->getEVR()) : VRCode::Unknown;
    dcmDataDict.rdunlock();
    return code;
}

// The VRs of standard tags, looked up in DCMTK's dictionary the first time a tag is asked for
// and remembered in a table shared by every thread, so that later lookups take no lock, and
// no copy of the dictionary is made (copying its thousands of entries cost more than a small
// file's whole save). Each slot holds one tag and its VR code in one word, and a tag may sit in
// either slot of its pair; a tag that finds both taken takes the second over, so files full of
// made-up tags cost lookups, not memory. The table is small (8 KiB), as every page of it that
// a process touches stays resident.
class StandardVRCache {
public:
    UINT16 find(UINT16 group, UINT16 element) {
        const std::uint64_t key = (std::uint64_t(group) << 16) | element;
        std::atomic<std::uint64_t>* pair = &itsSlots[(key * 2654435761u >> 7) % slotCount & ~std::size_t(1)];
        for (int way = 0; way < 2; ++way) {
            const std::uint64_t held = pair[way].load(std::memory_order_relaxed);
            if ((held >> 32) == key && (held & filled) != 0) return UINT16(held);
        }
        return remember(pair, group, element);
    }

private:
    // Out of line, so that a hit saves no registers.
    [[gnu::noinline]] static UINT16 remember(std::atomic<std::uint64_t>* pair, UINT16 group, UINT16 element) {
        const std::uint64_t key = (std::uint64_t(group) << 16) | element;
        const UINT16 code = lookUp(DcmTagKey(group, element), nullptr);
        const int way = (pair[0].load(std::memory_order_relaxed) & filled) == 0 ? 0 : 1;
        pair[way].store((key << 32) | filled | code, std::memory_order_relaxed);
        return code;
    }

    static constexpr std::size_t slotCount = 1024;
    static constexpr std::uint64_t filled = std::uint64_t(1) << 16;
    std::atomic<std::uint64_t> itsSlots[slotCount] = {};
};

StandardVRCache standardVRs;

// The VR of a private dictionary entry, looked up the first time a thread asks for it and
// remembered.
class DictionaryMemo {
public:
    UINT16 privateEntry(const char* creator, UINT16 group, UINT8 offset) {
        std::string key(creator);
        key += '\0';
        key += char(group >> 8);
        key += char(group & 0xFF);
        key += char(offset);
        auto found = itsPrivate.find(key);
        if (found != itsPrivate.end()) return found->second;
        const UINT16 code = lookUp(DcmTagKey(group, offset), creator);
        if (itsPrivate.size() < mostRemembered) itsPrivate.emplace(std::move(key), code);
        return code;
    }

private:
    // Files full of made-up tags must not make the memo grow without end: past this many tags,
    // the others are looked up each time.
    static constexpr std::size_t mostRemembered = 1 << 16;

    std::unordered_map<std::string, UINT16> itsPrivate;  // by creator, group and offset
};

DictionaryMemo& dictionaryMemo() {
    thread_local DictionaryMemo memo;
    return memo;
}

}  // namespace

void registerPrivateEntriesWithDcmtk() {
    static const bool registered = [] {
        DcmDataDictionary& dictionary = dcmDataDict.wrlock();
        for (const PrivateDictionaryEntry* entry = privateEntries; entry->itsCreator != nullptr; ++entry) {
            if (dictionary.findEntry(DcmTagKey(entry->itsGroup, entry->itsOffset), entry->itsCreator) != nullptr)
                continue;
            DcmVR vr(MDDEntry::UShortToTypeString(entry->itsVRCode).c_str());
            dictionary.addEntry(new DcmDictEntry(entry->itsGroup, entry->itsOffset, vr, entry->itsKeyword, 1,
                                                 DcmVariableVM, "private", OFTrue, entry->itsCreator));
        }
        dcmDataDict.wrunlock();
        return true;
    }();
    (void)registered;
}

UINT16 InstanceSpecificDataDictionary::TypeVR(UINT16 group, UINT16 element) { return standardVRs.find(group, element); }

UINT16 InstanceSpecificDataDictionary::TypeVR(VR& element) {
    UINT16 code = TypeVR(element.GetGroup(), element.GetElement());
    element.SetVRCode(code);
    return code;
}

UINT16 InstanceSpecificDataDictionary::TypeVR(const char* creator, UINT8 offset, UINT16 group) {
    if (creator == nullptr) return VRCode::Unknown;
    if (const PrivateDictionaryEntry* entry = PrivateDataDictionary::Find(creator, group, offset))
        return entry->itsVRCode;
    return dictionaryMemo().privateEntry(creator, group, offset);
}

RWCString InstanceSpecificDataDictionary::Keyword(UINT16 group, UINT16 element) {
    RWCString keyword;
    const DcmDataDictionary& dictionary = dcmDataDict.rdlock();
    if (const DcmDictEntry* entry = dictionary.findEntry(DcmTagKey(group, element), nullptr))
        if (entry->getTagName() != nullptr) keyword = entry->getTagName();
    dcmDataDict.rdunlock();
    return keyword;
}

int InstanceSpecificDataDictionary::IsLoaded() { return dcmDataDict.isDictionaryLoaded() ? 1 : 0; }

const PrivateDictionaryEntry* PrivateDataDictionary::Find(const char* creator, UINT16 group, UINT8 offset) {
    if (creator == nullptr) return nullptr;
    for (const PrivateDictionaryEntry* entry = privateEntries; entry->itsCreator != nullptr; ++entry)
        if (entry->itsGroup == group && entry->itsOffset == offset && std::strcmp(entry->itsCreator, creator) == 0)
            return entry;
    return nullptr;
}

int PrivateDataDictionary::KnowsCreator(const char* creator) {
    if (creator == nullptr) return 0;
    for (const PrivateDictionaryEntry* entry = privateEntries; entry->itsCreator != nullptr; ++entry)
        if (std::strcmp(entry->itsCreator, creator) == 0) return 1;
    return 0;
}

const PrivateDictionaryEntry* PrivateDataDictionary::Entries() { return privateEntries; }

}  // namespace refcntr
