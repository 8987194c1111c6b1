#include "refcntr/platform/DataDictionary.h"

#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdict.h>
#include <dcmtk/dcmdata/dcdicent.h>

#include "refcntr/platform/DcmtkBridge.h"
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

// The dictionary's VR: DCMTK's internal VRs for data-dependent tags become the ambiguous codes.
UINT16 dictionaryVRCode(DcmEVR vr) {
    switch (vr) {
    case EVR_AE: return VRCode::AE;
    case EVR_AS: return VRCode::AS;
    case EVR_AT: return VRCode::AT;
    case EVR_CS: return VRCode::CS;
    case EVR_DA: return VRCode::DA;
    case EVR_DS: return VRCode::DS;
    case EVR_DT: return VRCode::DT;
    case EVR_FL: return VRCode::FL;
    case EVR_FD: return VRCode::FD;
    case EVR_IS: return VRCode::IS;
    case EVR_LO: return VRCode::LO;
    case EVR_LT: return VRCode::LT;
    case EVR_OB: return VRCode::OB;
    case EVR_OD: return VRCode::OD;
    case EVR_OF: return VRCode::OF;
    case EVR_OL: return VRCode::OL;
    case EVR_OV: return VRCode::OV;
    case EVR_OW: return VRCode::OW;
    case EVR_PN: return VRCode::PN;
    case EVR_SH: return VRCode::SH;
    case EVR_SL: return VRCode::SL;
    case EVR_SQ: return VRCode::SQ;
    case EVR_SS: return VRCode::SS;
    case EVR_ST: return VRCode::ST;
    case EVR_SV: return VRCode::SV;
    case EVR_TM: return VRCode::TM;
    case EVR_UC: return VRCode::UC;
    case EVR_UI: return VRCode::UI;
    case EVR_UL: return VRCode::UL;
    case EVR_UR: return VRCode::UR;
    case EVR_US: return VRCode::US;
    case EVR_UT: return VRCode::UT;
    case EVR_UV: return VRCode::UV;
    case EVR_UN: return VRCode::UN;
    case EVR_up: return VRCode::UL;
    case EVR_xs: return VRCode::US_OR_SS;
    case EVR_ox: case EVR_px: case EVR_pixelSQ: return VRCode::OW_OR_OB;
    case EVR_lt: return VRCode::OW_OR_US_OR_SS;
    default: return VRCode::Unknown;
    }
}

// A range entry of DCMTK's dictionary, such as (6000-601E,3000) with even groups only.
struct RepeatingEntry {
    UINT16 lowGroup, highGroup, lowElement, highElement;
    DcmDictRangeRestriction groupRestriction, elementRestriction;
    UINT16 vrCode;

    bool Contains(UINT16 group, UINT16 element) const {
        if (groupRestriction == DcmDictRange_Even && (group & 1)) return false;
        if (groupRestriction == DcmDictRange_Odd && !(group & 1)) return false;
        if (elementRestriction == DcmDictRange_Even && (element & 1)) return false;
        if (elementRestriction == DcmDictRange_Odd && !(element & 1)) return false;
        return group >= lowGroup && group <= highGroup && element >= lowElement && element <= highElement;
    }
};

std::string privateKey(const char* creator, UINT16 group, UINT8 offset) {
    std::string key(creator);
    key += '\0';
    key += char(group >> 8);
    key += char(group & 0xFF);
    key += char(offset);
    return key;
}

// An immutable copy of DCMTK's VRs, built once; lookups afterwards take no lock.
struct DictionaryCache {
    std::unordered_map<UINT32, UINT16> standard;
    std::vector<RepeatingEntry> repeating;
    std::unordered_map<std::string, UINT16> privateEntries;  // DCMTK's private entries by creator, group, offset

    DictionaryCache() {
        registerPrivateEntriesWithDcmtk();
        // The iterators of DCMTK's dictionary need the non-const dictionary: take the
        // exclusive lock for this one copy.
        DcmDataDictionary& dictionary = dcmDataDict.wrlock();
        standard.reserve(std::size_t(dictionary.numberOfNormalTagEntries()) * 2);
        for (auto entry = dictionary.normalBegin(); entry != dictionary.normalEnd(); ++entry) {
            const DcmDictEntry* item = *entry;
            UINT16 code = dictionaryVRCode(item->getEVR());
            if (item->getPrivateCreator() != nullptr)
                privateEntries.emplace(privateKey(item->getPrivateCreator(), item->getGroup(), UINT8(item->getElement())), code);
            else
                standard.emplace((UINT32(item->getGroup()) << 16) | item->getElement(), code);
        }
        for (auto entry = dictionary.repeatingBegin(); entry != dictionary.repeatingEnd(); ++entry) {
            const DcmDictEntry* item = *entry;
            if (item->getPrivateCreator() != nullptr) continue;
            repeating.push_back({item->getGroup(), item->getUpperGroup(), item->getElement(), item->getUpperElement(),
                                 item->getGroupRangeRestriction(), item->getElementRangeRestriction(),
                                 dictionaryVRCode(item->getEVR())});
        }
        dcmDataDict.wrunlock();
    }
};

const DictionaryCache& dictionaryCache() {
    static const DictionaryCache cache;
    return cache;
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

UINT16 InstanceSpecificDataDictionary::TypeVR(UINT16 group, UINT16 element) {
    const DictionaryCache& cache = dictionaryCache();
    auto found = cache.standard.find((UINT32(group) << 16) | element);
    if (found != cache.standard.end()) return found->second;
    for (const RepeatingEntry& entry : cache.repeating)
        if (entry.Contains(group, element)) return entry.vrCode;
    return VRCode::Unknown;
}

UINT16 InstanceSpecificDataDictionary::TypeVR(VR& element) {
    UINT16 code = TypeVR(element.GetGroup(), element.GetElement());
    element.SetVRCode(code);
    return code;
}

UINT16 InstanceSpecificDataDictionary::TypeVR(const char* creator, UINT8 offset, UINT16 group) {
    if (creator == nullptr) return VRCode::Unknown;
    if (const PrivateDictionaryEntry* entry = PrivateDataDictionary::Find(creator, group, offset)) return entry->itsVRCode;
    const DictionaryCache& cache = dictionaryCache();
    auto found = cache.privateEntries.find(privateKey(creator, group, offset));
    return found != cache.privateEntries.end() ? found->second : VRCode::Unknown;
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
