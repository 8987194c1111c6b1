// Conversion between DCMTK's items and data sets. Values are copied as raw bytes (DCMTK does
// any byte swapping while copying) and elements are appended in tag order, so a data set of n
// elements costs n element allocations and n value copies, with no dictionary lookups.
#include "refcntr/platform/DcmtkBridge.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcitem.h>
#include <dcmtk/dcmdata/dcpixel.h>
#include <dcmtk/dcmdata/dcpixseq.h>
#include <dcmtk/dcmdata/dcpxitem.h>
#include <dcmtk/dcmdata/dcsequen.h>
#include <dcmtk/dcmdata/dcvrsv.h>
#include <dcmtk/dcmdata/dcvruv.h>
#include <dcmtk/dcmdata/dcxfer.h>

#include "refcntr/platform/ByteOrder.h"
#include "refcntr/platform/DcmtkVR.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {

namespace {

[[noreturn]] void failOnElement(UINT16 group, UINT16 element, const std::string& reason) {
    throw RuntimeException("element " + MAttributeTag(group, element).ToString() + ": " + reason);
}

std::unique_ptr<VR> convertElement(DcmElement& source, EndianType endian);

std::unique_ptr<VR> convertSequence(DcmSequenceOfItems& source, EndianType endian) {
    auto sequence = std::make_unique<SequenceVR>(source.getGTag(), source.getETag(), endian);
    for (DcmObject* item = source.nextInContainer(nullptr); item != nullptr; item = source.nextInContainer(item)) {
        auto converted = std::make_unique<DICOMDataObject>(endian);
        appendFromDcmItem(static_cast<DcmItem&>(*item), *converted);
        sequence->AddSequenceItem(converted.release());
    }
    return sequence;
}

// Encapsulated pixel data as the items DCMTK read: each item's tag and length (little endian,
// as every compressed transfer syntax is) followed by its fragment.
std::unique_ptr<VR> convertEncapsulated(DcmPixelData& source, E_TransferSyntax representation, EndianType endian) {
    const UINT16 group = source.getGTag(), number = source.getETag();
    DcmPixelSequence* fragments = nullptr;
    if (source.getEncapsulatedRepresentation(representation, nullptr, fragments).bad() || fragments == nullptr)
        failOnElement(group, number, "the fragments of its encapsulated pixel data cannot be read");
    std::vector<unsigned char> bytes;
    for (unsigned long i = 0; i < fragments->card(); ++i) {
        DcmPixelItem* item = nullptr;
        Uint8* fragment = nullptr;
        if (fragments->getItem(item, i).bad() || item == nullptr)
            failOnElement(group, number, "fragment " + std::to_string(i) + " cannot be read");
        const Uint32 length = item->getLengthField();
        if (length > 0 && (item->getUint8Array(fragment).bad() || fragment == nullptr))
            failOnElement(group, number, "fragment " + std::to_string(i) + " cannot be read");
        const unsigned char header[8] = {
            0xFE, 0xFF, 0x00, 0xE0, UINT8(length), UINT8(length >> 8), UINT8(length >> 16), UINT8(length >> 24)};
        bytes.insert(bytes.end(), header, header + 8);
        if (length > 0) bytes.insert(bytes.end(), fragment, fragment + length);
    }
    auto element = std::make_unique<VR>(group, number, VRCode::OB, endian);
    element->SetData(bytes.data(), UINT32(bytes.size()));
    element->SetEncapsulated(true);
    return element;
}

std::unique_ptr<VR> convertElement(DcmElement& source, EndianType endian) {
    const UINT16 group = source.getGTag();
    const UINT16 number = source.getETag();
    if (source.ident() == EVR_SQ) return convertSequence(static_cast<DcmSequenceOfItems&>(source), endian);

    if (source.ident() == EVR_PixelData) {
        E_TransferSyntax representation = EXS_Unknown;
        const DcmRepresentationParameter* parameter = nullptr;
        auto& pixelData = static_cast<DcmPixelData&>(source);
        pixelData.getCurrentRepresentationKey(representation, parameter);
        if (DcmXfer(representation).isEncapsulated()) return convertEncapsulated(pixelData, representation, endian);
    }

    const UINT16 vrCode = elementVRCode(source.getVR());
    auto element = std::make_unique<VR>(group, number, vrCode, endian);

    if (MDDEntry::IsStringType(vrCode)) {
        // DCMTK hands out strings without their trailing pad; store them padded to even length
        // as they are encoded. DCMTK pads a value read with an odd length with a NUL, which is
        // no part of any text: trailing NULs are dropped before the pad.
        char* text = nullptr;
        Uint32 length = 0;
        if (source.getString(text, length).good()) {
            while (text != nullptr && length > 0 && text[length - 1] == '\0') --length;
            if (text != nullptr) element->SetPaddedData(text, length, vrCode == VRCode::UI ? '\0' : ' ');
            return element;
        }
    }

    const Uint32 length = source.getLengthField();
    if (length == 0 || length == DCM_UndefinedLength) return element;
    unsigned char* buffer = element->ResizeData(length);
    OFCondition status =
        source.getPartialValue(buffer, 0, length, nullptr, endian == BigEndian ? EBO_BigEndian : EBO_LittleEndian);
    if (status.bad()) failOnElement(group, number, status.text());
    return element;
}

// Puts the value (native byte order) into DCMTK's element through the typed setter of its VR.
OFCondition putValue(DcmElement& target, UINT16 vrCode, const unsigned char* bytes, UINT32 length) {
    if (MDDEntry::IsStringType(vrCode)) {
        // A UID padded with a blank (as containers write every text) is a UID with its pad:
        // DCMTK pads UIDs itself, with NUL, and warns about blanks, so the pad is left out.
        if (vrCode == VRCode::UI)
            while (length > 0 && (bytes[length - 1] == ' ' || bytes[length - 1] == '\0')) --length;
        return target.putString(reinterpret_cast<const char*>(bytes), length);
    }
    switch (vrCode) {
    case VRCode::AT: {
        // One tag at a time: DcmAttributeTag's array setter counts tags in some DCMTK
        // versions and 16-bit numbers in others.
        OFCondition status = EC_Normal;
        for (UINT32 position = 0; position + 4 <= length && status.good(); position += 4) {
            Uint16 numbers[2];
            std::memcpy(numbers, bytes + position, 4);
            status = target.putTagVal(DcmTagKey(numbers[0], numbers[1]), position / 4);
        }
        return status;
    }
    case VRCode::US:
    case VRCode::OW: return target.putUint16Array(reinterpret_cast<const Uint16*>(bytes), length / 2);
    case VRCode::SS: return target.putSint16Array(reinterpret_cast<const Sint16*>(bytes), length / 2);
    case VRCode::UL:
    case VRCode::OL: return target.putUint32Array(reinterpret_cast<const Uint32*>(bytes), length / 4);
    case VRCode::SL: return target.putSint32Array(reinterpret_cast<const Sint32*>(bytes), length / 4);
    case VRCode::FL:
    case VRCode::OF: return target.putFloat32Array(reinterpret_cast<const Float32*>(bytes), length / 4);
    case VRCode::FD:
    case VRCode::OD: return target.putFloat64Array(reinterpret_cast<const Float64*>(bytes), length / 8);
    case VRCode::SV:
        if (auto* signedValues = dynamic_cast<DcmSigned64bitVeryLong*>(&target))
            return signedValues->putSint64Array(reinterpret_cast<const Sint64*>(bytes), length / 8);
        return EC_IllegalCall;
    case VRCode::UV:
    case VRCode::OV:
        if (auto* unsignedValues = dynamic_cast<DcmUnsigned64bitVeryLong*>(&target))
            return unsignedValues->putUint64Array(reinterpret_cast<const Uint64*>(bytes), length / 8);
        return EC_IllegalCall;
    default: return target.putUint8Array(bytes, length);
    }
}

}  // namespace

UINT16 concreteVRCode(UINT16 vrCode) {
    switch (vrCode) {
    case VRCode::US_OR_SS: return VRCode::US;
    case VRCode::OW_OR_OB:
    case VRCode::OW_OR_US_OR_SS: return VRCode::OW;
    default: return MDDEntry::UShortToValueType(vrCode) == ValueType::Unknown ? VRCode::UN : vrCode;
    }
}

void appendFromDcmItem(DcmItem& item, DICOMObject& target) {
    const EndianType endian = target.GetEndian();
    for (DcmObject* object = item.nextInContainer(nullptr); object != nullptr; object = item.nextInContainer(object))
        target.ReplaceVR(convertElement(static_cast<DcmElement&>(*object), endian).release());
}

DcmElement* newDcmElement(const VR& element) {
    const UINT16 group = element.GetGroup();
    const UINT16 number = element.GetElement();
    const UINT16 vrCode = concreteVRCode(element.GetVRCode());
    DcmTag tag(group, number, DcmVR(dcmtkVR(vrCode)));

    if (element.IsEncapsulated())
        failOnElement(group, number, "encapsulated pixel data cannot be handed to DCMTK without its transfer syntax");
    if (vrCode == VRCode::SQ) {
        auto sequence = std::make_unique<DcmSequenceOfItems>(tag);
        if (const SequenceVR* source = element.GetAsSequenceVR()) {
            for (const DICOMDataObject* item : source->GetSequenceItems()) {
                auto converted = std::make_unique<DcmItem>();
                toDcmItem(*item, *converted);
                OFCondition status = sequence->append(converted.get());
                if (status.bad()) failOnElement(group, number, status.text());
                converted.release();
            }
        }
        return sequence.release();
    }

    DcmElement* created = nullptr;
    OFCondition status = DcmItem::newDicomElementWithVR(created, tag);
    std::unique_ptr<DcmElement> target(created);
    if (status.bad() || !target) failOnElement(group, number, status.bad() ? status.text() : "cannot be created");

    const unsigned char* bytes = element.GetData();
    const UINT32 length = element.GetLength();
    if (bytes == nullptr || length == 0) return target.release();

    const unsigned width = MDDEntry::ValueWidth(vrCode);
    // DCMTK takes whole values: a value whose length is no multiple of its width (an OW of 83
    // bytes) is completed with zero bytes rather than cut short.
    const UINT32 wholeLength = width > 1 ? (length + width - 1) / width * width : length;
    const bool swap = element.GetEndian() != VR::itsNativeEndian && width > 1;
    if (swap || wholeLength != length) {
        std::vector<unsigned char> native(wholeLength, 0);
        std::copy(bytes, bytes + length, native.begin());
        if (swap) reverseValueBytes(native.data(), native.size(), width);
        status = putValue(*target, vrCode, native.data(), wholeLength);
    } else {
        status = putValue(*target, vrCode, bytes, length);
    }
    if (status.bad()) failOnElement(group, number, status.text());
    return target.release();
}

std::unique_ptr<DICOMDataObject> fromDcmItem(DcmItem& item) {
    registerPrivateEntriesWithDcmtk();
    auto dataSet = std::make_unique<DICOMDataObject>(LittleEndian);
    appendFromDcmItem(item, *dataSet);
    return dataSet;
}

void toDcmItem(const DICOMDataObject& dataSet, DcmItem& item) {
    for (const auto& element : dataSet) {
        std::unique_ptr<DcmElement> converted(newDcmElement(*element));
        OFCondition status = item.insert(converted.get(), OFTrue);
        if (status.bad()) failOnElement(element->GetGroup(), element->GetElement(), status.text());
        converted.release();
    }
}

}  // namespace refcntr
