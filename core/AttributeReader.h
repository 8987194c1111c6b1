// Reading each kind of attribute from a data set. Every function returns true when the
// attribute was read (the caller then sets its presence bit) and leaves the value at its
// default otherwise; reading never throws for a missing or unreadable value.
#pragma once

#include <algorithm>
#include <type_traits>
#include <utility>

#include "refcntr/core/ContainerUtils.h"
#include "refcntr/core/OwnedArray.h"
#include "refcntr/core/TextValue.h"
#include "refcntr/core/PSChangeHandler.h"
#include "refcntr/platform/AETitle.h"
#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"
#include "refcntr/platform/VRAccess.h"

namespace refcntr {
namespace attribute {

// The same readers for an element the caller has found already, as an item's create finds
// every element of its item in one pass.
bool readText(const DICOMDataObject& data, const VR& element, TextValue& value);
bool readUS(const DICOMDataObject& data, const VR& element, UINT16& value);
bool readISArray(const DICOMDataObject& data, const VR& element, OwnedArray<int>& values);

bool readText(const DICOMDataObject& data, UINT16 group, UINT16 element, RWCString& value);
bool readText(const DICOMDataObject& data, const char* creator, UINT8 offset, UINT16 group, RWCString& value);
bool readText(const DICOMDataObject& data, UINT16 group, UINT16 element, TextValue& value);
bool readText(const DICOMDataObject& data, const char* creator, UINT8 offset, UINT16 group, TextValue& value);
// Splits at every backslash: inner empty values are kept, an empty last value is not.
bool readTexts(const DICOMDataObject& data, UINT16 group, UINT16 element, RWTValOrderedVector<RWCString>& values);
bool readAETitle(const DICOMDataObject& data, UINT16 group, UINT16 element, AETitle& value);
bool readIS(const DICOMDataObject& data, UINT16 group, UINT16 element, int& value);
bool readDS(const DICOMDataObject& data, UINT16 group, UINT16 element, double& value);
bool readUS(const DICOMDataObject& data, UINT16 group, UINT16 element, UINT16& value);
bool readUS(const DICOMDataObject& data, const char* creator, UINT8 offset, UINT16 group, UINT16& value);
bool readSS(const DICOMDataObject& data, UINT16 group, UINT16 element, INT16& value);
bool readUL(const DICOMDataObject& data, UINT16 group, UINT16 element, UINT32& value);
bool readFL(const DICOMDataObject& data, UINT16 group, UINT16 element, FLOAT& value);
// A US-or-SS value; the type code becomes the VR actually found ("US" or "SS").
bool readUSOrSS(const DICOMDataObject& data, UINT16 group, UINT16 element, UINT16& value, RWCString& typeCode);
bool readISArray(const DICOMDataObject& data, UINT16 group, UINT16 element, OwnedArray<int>& values);
bool readDSArray(const DICOMDataObject& data, UINT16 group, UINT16 element, OwnedArray<double>& values);
// The VR of the element found, as text ("OB", "OW", "US", ...), or "" when there is none. For
// a code that names no VR, the dictionary's (US or OW for an ambiguous one), else "UN".
RWCString readTypeCode(const DICOMDataObject& data, UINT16 group, UINT16 element);

// Copies `length` raw value bytes of `element` into `destination` in native order, through the
// accessor of the data set's byte order.
bool copyRawValues(const DICOMDataObject& data, const VR& element, void* destination, UINT32 length,
                   unsigned valueWidth);

// Raw binary values (US, SS, SL, FL, OW, OB, AT ...) copied into native order. The count is the
// value length divided by the value size (CountUnit::Values) or the value length itself
// (CountUnit::Bytes, with room for that many values, zero past the bytes read); a trailing
// partial value is ignored. Values are swapped by the wider of
// the element's VR and T, as the writers swap by the VR: OW pixel data held as bytes is
// swapped by words.
template <class T, CountUnit Unit>
bool readRawArray(const DICOMDataObject& data, const VR* element, OwnedArray<T, Unit>& values) {
    // Text kept as read where binary values belong is not taken for them, nor the items of
    // encapsulated pixel data for pixel values.
    if (!element || MDDEntry::IsStringType(element->GetVRCode()) || element->IsEncapsulated()) return false;
    const UINT32 length = element->GetLength();
    const unsigned count = Unit == CountUnit::Values ? unsigned(length / sizeof(T)) : unsigned(length);
    T* buffer = OwnedArray<T, Unit>::newBlock(count);
    const UINT32 bytes = Unit == CountUnit::Values ? UINT32(count * sizeof(T)) : length;
    const unsigned width = std::max<unsigned>(sizeof(T), MDDEntry::ValueWidth(element->GetVRCode()));
    if (!copyRawValues(data, *element, buffer, bytes, width)) {
        releaseBlock(buffer);
        return false;
    }
    values.adoptBlock(buffer, count);
    return true;
}

template <class T, CountUnit Unit>
bool readRawArray(const DICOMDataObject& data, const VR& element, OwnedArray<T, Unit>& values) {
    return readRawArray(data, &element, values);
}

template <class T, CountUnit Unit>
bool readRawArray(const DICOMDataObject& data, UINT16 group, UINT16 element, OwnedArray<T, Unit>& values) {
    return readRawArray(data, data.GetVR(group, element), values);
}

template <class T, CountUnit Unit>
bool readRawArray(const DICOMDataObject& data, const char* creator, UINT8 offset, UINT16 group,
                  OwnedArray<T, Unit>& values) {
    return readRawArray(data, data.GetVR(creator, offset, group), values);
}

// While a container is being created nobody can listen to it yet (it is not returned, and
// has no parent), so the reports of the items added to its sequences would climb for no
// one, building paths on the way. The sequence is detached from its holder meanwhile.
class QuietWhileCreating {
public:
    explicit QuietWhileCreating(PSChangeHandler& sequence)
        : itsSequence(sequence),
          itsHolder(sequence.getPSChangeHandler()) {
        itsSequence.clearPSChangeHandler();
    }
    ~QuietWhileCreating() {
        if (itsHolder) itsSequence.setPSChangeHandler(*itsHolder);
    }
    QuietWhileCreating(const QuietWhileCreating&) = delete;
    QuietWhileCreating& operator=(const QuietWhileCreating&) = delete;

private:
    PSChangeHandler& itsSequence;
    PSChangeHandler* itsHolder;
};

// Whether a sequence keeps an image index, which is sized ahead from the referenced images.
template <class SequenceType, class = void>
struct HasImageIndex : std::false_type {};
template <class SequenceType>
struct HasImageIndex<SequenceType, std::void_t<decltype(std::declval<SequenceType&>().resize(0u, 0u))>>
    : std::true_type {};

// Builds a held sequence from its sequence element: one item per item data set, made by the
// item class's create. The sequence is present whenever the element exists.
template <class SequenceType>
void readSequence(const DICOMDataObject&, const VR& element, SequenceType& sequence) {
    const SequenceVR* sequenceElement = element.GetAsSequenceVR();
    if (sequenceElement && sequenceElement->GetNumberOfItems() > 0) {
        const auto& items = sequenceElement->GetSequenceItems();
        const QuietWhileCreating quiet(sequence);
        if constexpr (HasImageIndex<SequenceType>::value)
            sequence.resize(unsigned(items.size()), ContainerUtils::computeSuggestedSequenceIndexSize(items));
        else
            sequence.resize(unsigned(items.size()));
        for (const DICOMDataObject* item : items) sequence.addItem(SequenceType::ItemType::create(*item));
    }
    sequence.setPresent(1);
}

template <class SequenceType>
void readSequence(const DICOMDataObject& data, UINT16 group, UINT16 element, SequenceType& sequence) {
    if (const VR* found = data.GetVR(group, element)) readSequence(data, *found, sequence);
}

}  // namespace attribute
}  // namespace refcntr
