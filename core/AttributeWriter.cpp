#include "refcntr/core/AttributeWriter.h"

#include "refcntr/core/ContainerUtils.h"
#include "refcntr/core/SequenceBase.h"
#include "refcntr/core/SequenceItem.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {
namespace attribute {

namespace {
constexpr char blank = ' ';

void store(DICOMDataObject& data, VR* element) {
    if (element) data.ReplaceVR(element);
}

void storePrivate(DICOMDataObject& data, const char* creator, VR* element) {
    if (element) data.ReplaceVR(creator, element);
}

// The integer scanner insists on a byte after a value's first digit. An even-length text gets no
// pad, so one whose last value is a single digit ("10\5", "-5") would not read back: it gets a
// blank, and the factory then pads it to even length as usual.
RWCString readableIS(RWCString text) {
    const std::size_t length = text.size();
    const auto digit = [](char c) { return c >= '0' && c <= '9'; };
    if (length >= 2 && length % 2 == 0 && digit(text[length - 1]) && !digit(text[length - 2])) text += blank;
    return text;
}
}  // namespace

void writeText(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const RWCString& value,
               UINT16 vrCode) {
    store(data, factory.InternalGetVR(group, element, value, blank, vrCode));
}

void writeText(DICOMDataObject& data, Factory& factory, const char* creator, UINT8 offset, UINT16 group,
               const RWCString& value) {
    storePrivate(data, creator, factory.GetPrivateVR(creator, offset, group, value, blank));
}

void writeText(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const TextValue& value,
               UINT16 vrCode) {
    store(data, factory.InternalGetVR(group, element, value.data(), value.size(), blank, vrCode));
}

void writeText(DICOMDataObject& data, Factory& factory, const char* creator, UINT8 offset, UINT16 group,
               const TextValue& value) {
    writeText(data, factory, creator, offset, group, RWCString(value.data(), value.size()));
}

void writeTexts(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element,
                const RWTValOrderedVector<RWCString>& values, UINT16 vrCode) {
    store(data, factory.InternalGetVR(group, element, values, blank, vrCode));
}

void writeAETitle(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const AETitle& value,
                  UINT16 vrCode) {
    store(data, factory.InternalGetVR(group, element, value.Get(), value.GetLength(), blank, vrCode));
}

void writeEmpty(DICOMDataObject& data, UINT16 group, UINT16 element, UINT16 vrCode) {
    data.ReplaceVR(new VR(group, element, vrCode, data.GetEndian()));
}

void writeIS(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, int value, UINT16 vrCode) {
    writeText(data, factory, group, element, readableIS(ContainerUtils::INT32ArrayToIS(&value, 1)), vrCode);
}

void writeDS(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, double value, UINT16 vrCode) {
    writeText(data, factory, group, element, ContainerUtils::doubleArrayToDS(&value, 1), vrCode);
}

void writeUS(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, UINT16 value) {
    store(data, factory.InternalGetVR(group, element, value));
}

void writeUS(DICOMDataObject& data, Factory& factory, const char* creator, UINT8 offset, UINT16 group, UINT16 value) {
    storePrivate(data, creator, factory.GetPrivateVR(creator, offset, group, value));
}

void writeSS(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, INT16 value) {
    store(data, factory.InternalGetVR(group, element, value));
}

void writeUL(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, UINT32 value) {
    store(data, factory.InternalGetVR(group, element, value));
}

void writeFL(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, FLOAT value) {
    store(data, factory.InternalGetVR(group, element, value));
}

void writeISArray(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const OwnedArray<int>& values,
                  UINT16 vrCode) {
    writeText(data, factory, group, element,
              readableIS(ContainerUtils::INT32ArrayToIS(values.values(), values.count())), vrCode);
}

void writeDSArray(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element,
                  const OwnedArray<double>& values, UINT16 vrCode) {
    writeText(data, factory, group, element, ContainerUtils::doubleArrayToDS(values.values(), values.count()), vrCode);
}

void writeBytes(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const unsigned char* bytes,
                UINT32 length, UINT16 vrCode) {
    store(data, factory.InternalGetVR(group, element, bytes, length, '\0', vrCode));
}

void writeRawArray(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const void* values,
                   UINT32 byteLength, UINT16 vrCode) {
    store(data, factory.InternalGetArrayVR(group, element, values, byteLength, vrCode));
}

void writeRawArray(DICOMDataObject& data, Factory& factory, const char* creator, UINT8 offset, UINT16 group,
                   const void* values, UINT32 byteLength) {
    storePrivate(data, creator, factory.GetPrivateArrayVR(creator, offset, group, values, byteLength));
}

void writeAmbiguousArray(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const void* values,
                         UINT32 byteLength, const RWCString& typeCode, const char* keyword, const char* ambiguity) {
    if (typeCode.empty())
        throw RuntimeException(RWCString("Unable to create VR for element ") + keyword + " due to ambiguous type (" +
                               ambiguity + ") and unset member its" + keyword + "ElementActualDataTypeCode");
    store(data, factory.InternalGetArrayVR(group, element, values, byteLength, MDDEntry::TypeStringToUShort(typeCode)));
}

void writeSequence(DICOMDataObject& data, Factory& factory, UINT16 group, UINT16 element, const SequenceBase& sequence,
                   bool alwaysWritten) {
    if (!sequence.isPresent() && !alwaysWritten) return;
    SequenceVR* written = factory.InternalGetSequenceVR(group, element, 0);
    if (!written) return;
    // A sequence that is not present is written empty, whatever items it still holds.
    const unsigned count = sequence.isPresent() ? sequence.length() : 0;
    written->ReserveItems(count);
    for (unsigned i = 0; i < count; ++i) {
        const SequenceItem* item = sequence.itemAt(i);
        if (item->isEmpty()) continue;
        auto* itemData = new DICOMDataObject(data.GetEndian());
        item->save(*itemData);
        written->AddSequenceItem(itemData);
    }
    data.ReplaceVR(written);
}

}  // namespace attribute
}  // namespace refcntr
