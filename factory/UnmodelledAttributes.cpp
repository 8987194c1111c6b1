#include "refcntr/factory/UnmodelledAttributes.h"

#include <map>

#include "refcntr/factory/CompositeIODFactory.h"
#include "refcntr/platform/MAttributeTag.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {

namespace {

using Items = RWTPtrOrderedVector<DICOMDataObject>;

const SequenceVR* sequenceIn(const DICOMObject& item, UINT16 group, UINT16 element) {
    const VR* found = item.GetVR(group, element);
    return found ? found->GetAsSequenceVR() : nullptr;
}

// What tells an item apart from its siblings when positions do not: see the header.
RWCString keyOf(const DICOMObject& item) {
    RWCString key;
    if (item.GetString(0x0008, 0x1155, key) && !key.empty()) return "i" + key;
    if (item.GetString(0x0020, 0x000E, key) && !key.empty()) return "s" + key;
    if (const SequenceVR* images = sequenceIn(item, 0x0008, 0x1140))
        for (const DICOMDataObject* image : images->GetSequenceItems())
            if (image->GetString(0x0008, 0x1155, key) && !key.empty()) return "i" + key;
    return RWCString();
}

// The item of `others` that corresponds to read item `index`, or null.
DICOMDataObject* counterpart(const Items& readItems, std::size_t index, const Items& others) {
    if (others.size() == readItems.size()) return others[index];
    const RWCString key = keyOf(*readItems[index]);
    if (key.empty()) return nullptr;
    auto unique = [&key](const Items& items) -> DICOMDataObject* {
        DICOMDataObject* found = nullptr;
        for (DICOMDataObject* item : items) {
            if (keyOf(*item) != key) continue;
            if (found) return nullptr;
            found = item;
        }
        return found;
    };
    return unique(readItems) == readItems[index] ? unique(others) : nullptr;
}

std::string pathOf(const std::string& parent, const VR& element) {
    return parent + (parent.empty() ? "" : "/") +
           std::string(MAttributeTag(element.GetGroup(), element.GetElement()).ToString());
}

class Carrier {
public:
    std::vector<std::string> lost;

    // `modelled`: what the containers save of `read`, null when they save nothing of it;
    // `saved`: where the read item's unmodelled attributes go, null when it is gone.
    void Carry(const DICOMObject& read, const DICOMObject* modelled, DICOMObject* saved, const std::string& path) {
        for (auto position = read.begin(); position != read.end(); ++position) {
            const VR& element = **position;
            const UINT16 group = element.GetGroup(), number = element.GetElement();
            const SequenceVR* sequence = element.GetAsSequenceVR();
            const bool isModelled = modelled && modelled->GetVR(group, number) != nullptr;
            if (!isModelled) {
                if (!saved)
                    lost.push_back(pathOf(path, element));
                else if (!saved->GetVR(group, number))
                    saved->ReplaceVR(element.Clone());
                continue;
            }
            if (!sequence) continue;
            const SequenceVR* modelledSequence = sequenceIn(*modelled, group, number);
            const SequenceVR* savedSequence = saved ? sequenceIn(*saved, group, number) : nullptr;
            const Items& readItems = sequence->GetSequenceItems();
            for (std::size_t i = 0; i < readItems.size(); ++i) {
                const DICOMDataObject* modelledItem =
                    modelledSequence ? counterpart(readItems, i, modelledSequence->GetSequenceItems()) : nullptr;
                DICOMDataObject* savedItem =
                    savedSequence ? counterpart(readItems, i, savedSequence->GetSequenceItems()) : nullptr;
                Carry(*readItems[i], modelledItem, savedItem, pathOf(path, element) + "[" + std::to_string(i) + "]");
            }
        }
    }
};

}  // namespace

std::vector<std::string> carryUnmodelledAttributes(const DICOMDataObject& read, DICOMDataObject& saved) {
    DICOMDataObject modelled(read.GetEndian());
    createCompositeIOD(read)->save(modelled);
    Carrier carrier;
    carrier.Carry(read, &modelled, &saved, "");
    return carrier.lost;
}

}  // namespace refcntr
