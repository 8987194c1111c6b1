// A data set: elements in tag order, owned, with the byte order of their values.
#pragma once

#include <memory>
#include <vector>

#include "refcntr/platform/Arena.h"
#include "refcntr/platform/Types.h"
#include "refcntr/platform/VR.h"

namespace refcntr {

class DICOMObject : public ArenaAllocated {
public:
    explicit DICOMObject(EndianType endian = LittleEndian);
    DICOMObject(const DICOMObject& other);  // deep copy
    DICOMObject& operator=(const DICOMObject& other);
    DICOMObject(DICOMObject&&) noexcept;
    DICOMObject& operator=(DICOMObject&&) noexcept;
    virtual ~DICOMObject();

    EndianType GetEndian() const { return itsEndian; }

    // The element with this tag, or null. The data set keeps ownership.
    VR* GetVR(UINT16 group, UINT16 element) const;
    // A private element: `creator` is resolved to the block (group,00xx) that reserves it, and
    // `offset` to the element (group, xx<<8 | offset). Null when the creator reserves no block.
    VR* GetVR(const char* creator, UINT8 offset, UINT16 group) const;

    // The value as text with trailing pad removed (blanks and NULs). Returns 0 when the
    // element is absent or not of a string VR. An empty value succeeds with an empty string.
    int GetString(UINT16 group, UINT16 element, RWCString& value) const;
    int GetString(const char* creator, UINT8 offset, RWCString& value, UINT16 group) const;
    // As GetString, but the text stays in the element: `text` points into its value (null for an
    // empty value) and stays valid until the element changes.
    int GetText(UINT16 group, UINT16 element, const char*& text, std::size_t& length) const;
    int GetText(const char* creator, UINT8 offset, UINT16 group, const char*& text, std::size_t& length) const;
    // The first value of a US or SS element (SS as its bit pattern), read in the data set's
    // byte order. Returns 0 when absent, of another VR, or shorter than 2 bytes.
    int GetUINT16(UINT16 group, UINT16 element, UINT16& value) const;
    int GetUINT16(const char* creator, UINT8 offset, UINT16& value, UINT16 group) const;
    // The first value of an SS or US element.
    int GetINT16(UINT16 group, UINT16 element, INT16& value) const;
    // The first value of a UL or SL element.
    int GetUINT32(UINT16 group, UINT16 element, UINT32& value) const;
    // The first value of an FL element.
    int GetFLOAT(UINT16 group, UINT16 element, FLOAT& value) const;
    // GetText and GetUINT16 of an element already found.
    static int GetText(const VR& element, const char*& text, std::size_t& length);
    static int GetUINT16(const VR& element, UINT16& value);

    // Stores the element, replacing one with the same tag; the data set takes ownership.
    // Virtual so that a test can observe the order in which a container writes its elements.
    virtual void ReplaceVR(VR* element);
    // Stores a private element in the block that `creator` reserves in the element's group,
    // reserving the first free block (writing the creator element) when there is none. The
    // element's own element number supplies the offset (its low byte).
    void ReplaceVR(const char* creator, VR* element);
    // Removes and deletes the element; returns 1 when it was there.
    int RemoveVR(UINT16 group, UINT16 element);

    // The block byte xx of the creator element (group,00xx) whose value is `creator`, or 0 when none.
    UINT8 FindPrivateBlock(const char* creator, UINT16 group) const;

    // Elements in ascending tag order.
    using ElementList = std::vector<std::unique_ptr<VR>, ArenaAllocator<std::unique_ptr<VR>>>;
    using const_iterator = ElementList::const_iterator;
    const_iterator begin() const { return itsElements.begin(); }
    const_iterator end() const { return itsElements.end(); }
    unsigned GetNumberOfVRs() const { return unsigned(itsElements.size()); }
    bool IsEmpty() const { return itsElements.empty(); }

private:
    EndianType itsEndian;
    ElementList itsElements;  // sorted by tag, no duplicates
};

// The data set of a whole object or of one sequence item.
class DICOMDataObject : public DICOMObject {
public:
    DICOMDataObject() : DICOMObject(LittleEndian) {}
    explicit DICOMDataObject(EndianType endian) : DICOMObject(endian) {}
};

}  // namespace refcntr
