// A sequence element (VR SQ): owns its item data sets.
#pragma once

#include "refcntr/platform/VR.h"

namespace refcntr {

class DICOMDataObject;

class SequenceVR : public VR {
public:
    SequenceVR(UINT16 group, UINT16 element, EndianType endian = LittleEndian,
               MemoryAllocater* allocater = itsDefaultMemoryAllocater);
    SequenceVR(const SequenceVR& other);
    ~SequenceVR() override;

    VR* Clone() const override;
    SequenceVR* GetAsSequenceVR() override { return this; }
    const SequenceVR* GetAsSequenceVR() const override { return this; }

    // Appends an item; the sequence takes ownership.
    void AddSequenceItem(DICOMDataObject* item);
    // Makes room for `count` items in all, so that adding them moves nothing.
    void ReserveItems(unsigned count) { itsItems.reserve(count); }
    // The items in order; the sequence owns them.
    const RWTPtrOrderedVector<DICOMDataObject>& GetSequenceItems() const { return itsItems; }
    unsigned GetNumberOfItems() const { return unsigned(itsItems.size()); }

private:
    RWTPtrOrderedVector<DICOMDataObject> itsItems;
};

}  // namespace refcntr
