#include "refcntr/platform/DataSetEncoder.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <unistd.h>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcdatset.h>
#include <dcmtk/dcmdata/dcdeftag.h>
#include <dcmtk/dcmdata/dcfilefo.h>
#include <dcmtk/dcmdata/dcmetinf.h>
#include <dcmtk/dcmdata/dcostrmb.h>
#include <dcmtk/dcmdata/dcxfer.h>

#include "refcntr/platform/AtomicFile.h"
#include "refcntr/platform/ByteOrder.h"
#include "refcntr/platform/DcmtkBridge.h"
#include "refcntr/platform/Exceptions.h"
#include "refcntr/platform/LengthField.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr {

FileSink::FileSink(int descriptor, std::string path)
    : itsDescriptor(descriptor),
      itsPath(std::move(path)),
      itsBuffer(new unsigned char[capacity]) {}

void FileSink::PutLarge(const void* bytes, std::size_t length) {
    Flush();
    if (length >= capacity) {
        WriteOut(static_cast<const unsigned char*>(bytes), length);
        return;
    }
    std::memcpy(itsBuffer.get(), bytes, length);
    itsFilled = length;
}

void FileSink::Flush() {
    WriteOut(itsBuffer.get(), itsFilled);
    itsFilled = 0;
}

void FileSink::WriteOut(const unsigned char* bytes, std::size_t length) {
    std::size_t written = 0;
    while (written < length) {
        const ssize_t count = ::write(itsDescriptor, bytes + written, length - written);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw RuntimeException("cannot write '" + itsPath + "': " + describeSystemError(errno));
        written += std::size_t(count);
    }
}

namespace {

// The transfer syntax in DCMTK's terms; an encapsulated one is the data set's own.
E_TransferSyntax dcmtkSyntax(TransferSyntax transferSyntax, const DICOMDataObject& dataSet) {
    switch (transferSyntax) {
    case TransferSyntax::ExplicitBig: return EXS_BigEndianExplicit;
    case TransferSyntax::ImplicitLittle: return EXS_LittleEndianImplicit;
    case TransferSyntax::Encapsulated: {
        RWCString uid;
        dataSet.GetString(0x0002, 0x0010, uid);
        const DcmXfer syntax(uid.c_str());
        if (!syntax.isEncapsulated())
            throw RuntimeException(
                "the transfer syntax of encapsulated pixel data is asked for, but (0002,0010) names " +
                (uid.empty() ? std::string("none") : "'" + uid + "'"));
        return syntax.getXfer();
    }
    case TransferSyntax::ExplicitLittle: break;
    }
    return EXS_LittleEndianExplicit;
}

const char* syntaxName(TransferSyntax transferSyntax) {
    switch (transferSyntax) {
    case TransferSyntax::ExplicitBig: return "explicit VR big endian";
    case TransferSyntax::ImplicitLittle: return "implicit VR little endian";
    case TransferSyntax::Encapsulated: return "its compressed transfer syntax";
    case TransferSyntax::ExplicitLittle: break;
    }
    return "explicit VR little endian";
}

constexpr UINT32 undefinedLength = 0xFFFFFFFF;

// An element's value as written: its stored bytes without trailing pad, then zero bytes to
// complete the last value, then one pad byte to even length.
struct WrittenValue {
    const unsigned char* bytes = nullptr;
    UINT32 kept = 0;    // bytes taken from the stored value
    UINT32 length = 0;  // the written length, completion and pad included
    unsigned char fill = 0;
    unsigned width = 1;
};

WrittenValue writtenValue(const VR& element, UINT16 vrCode) {
    WrittenValue value;
    value.bytes = element.GetData();
    value.kept = element.GetLength();
    if (value.bytes == nullptr) return value;
    if (MDDEntry::IsStringType(vrCode)) {
        // A UID's pad is a NUL; other texts are padded with a blank, and trailing blanks mean nothing.
        if (vrCode == VRCode::UI)
            while (value.kept > 0 && (value.bytes[value.kept - 1] == ' ' || value.bytes[value.kept - 1] == '\0'))
                --value.kept;
        else
            while (value.kept > 0 && value.bytes[value.kept - 1] == ' ') --value.kept;
        value.fill = vrCode == VRCode::UI ? '\0' : ' ';
        value.length = value.kept + (value.kept & 1);
        return value;
    }
    value.width = MDDEntry::ValueWidth(vrCode);
    value.length = (value.kept + value.width - 1) / value.width * value.width;
    value.length += value.length & 1;
    return value;
}

class Encoder {
public:
    Encoder(TransferSyntax transferSyntax, SequenceLengths lengths, FileSink* sink = nullptr,
            const SequenceOrder* order = nullptr)
        : itsTransferSyntax(transferSyntax),
          itsExplicitVR(transferSyntax != TransferSyntax::ImplicitLittle),
          itsEndian(transferSyntax == TransferSyntax::ExplicitBig ? BigEndian : LittleEndian),
          itsUndefinedLengths(lengths == SequenceLengths::Undefined),
          itsSink(sink),
          itsOrder(order) {}

    void Item(const DICOMObject& item, bool topLevel) {
        for (auto element = item.begin(); element != item.end(); ++element) {
            if (topLevel && (*element)->GetGroup() == 0x0002) continue;
            if ((*element)->GetElement() == 0x0000)
                GroupLength(element, item.end());
            else
                Element(**element, topLevel);
        }
    }

    // The encoded size of an element.
    UINT32 Size(const VR& element) const {
        const UINT16 vrCode = concreteVRCode(element.GetVRCode());
        if (vrCode == VRCode::SQ) return (itsExplicitVR ? 12 : 8) + SequenceSize(element);
        if (element.IsEncapsulated()) return 12 + element.GetLength() + 8;
        const UINT32 length = writtenValue(element, vrCode).length;
        if (!itsExplicitVR) return 8 + length;
        return (hasLongLengthField(vrCode) || length > 0xFFFF ? 12 : 8) + length;
    }

    UINT32 ItemSize(const DICOMObject& item) const {
        UINT32 size = 0;
        for (const auto& element : item) size += Size(*element);
        return size;
    }

private:
    // The items with their tags and lengths, and the delimiters.
    UINT32 SequenceSize(const VR& element) const {
        const UINT32 delimiter = itsUndefinedLengths ? 8 : 0;
        UINT32 size = delimiter;
        if (const SequenceVR* sequence = element.GetAsSequenceVR())
            for (const DICOMDataObject* item : sequence->GetSequenceItems()) size += 8 + ItemSize(*item) + delimiter;
        return size;
    }

    // A group length element: the encoded size of the elements of its group that follow it.
    template <typename Iterator>
    void GroupLength(Iterator element, Iterator end) {
        const UINT16 group = (*element)->GetGroup();
        UINT32 size = 0;
        for (Iterator next = std::next(element); next != end && (*next)->GetGroup() == group; ++next)
            size += Size(**next);
        Header(group, 0x0000, VRCode::UL, 4);
        Number32(size);
    }

    void Sequence(const VR& element, bool topLevel) {
        Header(element.GetGroup(), element.GetElement(), VRCode::SQ,
               itsUndefinedLengths ? undefinedLength : SequenceSize(element));
        if (const SequenceVR* sequence = element.GetAsSequenceVR()) {
            const auto& items = sequence->GetSequenceItems();
            const bool ordered = topLevel && itsOrder != nullptr && itsOrder->sequence == element.GetTag();
            if (ordered && itsOrder->items.size() != items.size())
                throw RuntimeException("cannot write '" + itsSink->Path() + "': element " +
                                       element.GetTag().ToString() + ": the item order does not fit");
            for (std::size_t k = 0; k < items.size(); ++k) {
                const DICOMDataObject& item = *items.at(ordered ? itsOrder->items[k] : k);
                Tag(0xFFFE, 0xE000);
                Number32(itsUndefinedLengths ? undefinedLength : ItemSize(item));
                Item(item, false);
                if (!itsUndefinedLengths) continue;
                Tag(0xFFFE, 0xE00D);
                Number32(0);
            }
        }
        if (!itsUndefinedLengths) return;
        Tag(0xFFFE, 0xE0DD);
        Number32(0);
    }

    void Element(const VR& element, bool topLevel) {
        const UINT16 vrCode = concreteVRCode(element.GetVRCode());
        if (vrCode == VRCode::SQ) {
            Sequence(element, topLevel);
            return;
        }
        if (element.IsEncapsulated()) {
            Encapsulated(element);
            return;
        }
        const WrittenValue value = writtenValue(element, vrCode);
        // A value too long for a 16-bit length field is written as UN, as DCMTK does.
        const bool tooLong = itsExplicitVR && !hasLongLengthField(vrCode) && value.length > 0xFFFF;
        Header(element.GetGroup(), element.GetElement(), tooLong ? VRCode::UN : vrCode, value.length);
        if (value.length == 0) return;
        if (value.width > 1 && element.GetEndian() != itsEndian) {
            itsScratch.assign(value.bytes, value.bytes + value.kept);
            itsScratch.resize(value.length, 0);
            reverseValueBytes(itsScratch.data(), itsScratch.size(), value.width);
            itsSink->Put(itsScratch.data(), itsScratch.size());
            return;
        }
        itsSink->Put(value.bytes, value.kept);
        if (value.length > value.kept) {
            unsigned char tail[8];
            std::memset(tail, value.fill, sizeof tail);
            itsSink->Put(tail, value.length - value.kept);
        }
    }

    // Its items as read, between an undefined-length OB header and the sequence delimiter.
    void Encapsulated(const VR& element) {
        if (itsTransferSyntax != TransferSyntax::Encapsulated)
            throw RuntimeException(
                (itsSink ? "cannot write '" + itsSink->Path() + "': " : std::string()) + "element " +
                element.GetTag().ToString() + " holds encapsulated pixel data, which can be written only in the " +
                "compressed transfer syntax it was read in, not in " + syntaxName(itsTransferSyntax));
        Header(element.GetGroup(), element.GetElement(), VRCode::OB, undefinedLength);
        if (element.GetLength() > 0) itsSink->Put(element.GetData(), element.GetLength());
        Tag(0xFFFE, 0xE0DD);
        Number32(0);
    }

    void Header(UINT16 group, UINT16 element, UINT16 vrCode, UINT32 length) {
        Tag(group, element);
        if (!itsExplicitVR) {
            Number32(length);
            return;
        }
        const unsigned char letters[2] = {UINT8(vrCode >> 8), UINT8(vrCode & 0xFF)};
        itsSink->Put(letters, 2);
        if (hasLongLengthField(vrCode)) {
            Number16(0);
            Number32(length);
        } else {
            Number16(UINT16(length));
        }
    }

    void Tag(UINT16 group, UINT16 element) {
        Number16(group);
        Number16(element);
    }

    void Number16(UINT16 number) {
        const unsigned char bytes[2] = {UINT8(number), UINT8(number >> 8)};
        const unsigned char swapped[2] = {bytes[1], bytes[0]};
        itsSink->Put(itsEndian == BigEndian ? swapped : bytes, 2);
    }

    void Number32(UINT32 number) {
        unsigned char bytes[4];
        for (int i = 0; i < 4; ++i) bytes[itsEndian == BigEndian ? 3 - i : i] = UINT8(number >> (8 * i));
        itsSink->Put(bytes, 4);
    }

    TransferSyntax itsTransferSyntax;
    bool itsExplicitVR;
    EndianType itsEndian;
    bool itsUndefinedLengths;
    FileSink* itsSink;  // null when only sizes are asked for
    const SequenceOrder* itsOrder;
    std::vector<unsigned char> itsScratch;
};

void insertConverted(DcmItem& destination, const VR& element) {
    std::unique_ptr<DcmElement> converted(newDcmElement(element));
    const OFCondition status = destination.insert(converted.get(), OFTrue);
    if (status.bad()) throw RuntimeException("element " + element.GetTag().ToString() + ": " + status.text());
    converted.release();
}

}  // namespace

std::string encodeFileHeader(const DICOMDataObject& dataSet, TransferSyntax transferSyntax) {
    // DCMTK writes a file of the meta group and the two UIDs it completes the meta group from;
    // the header is the part before the data set.
    DcmFileFormat file;
    DcmMetaInfo& meta = *file.getMetaInfo();
    for (const auto& element : dataSet) {
        const UINT16 group = element->GetGroup();
        if (group > 0x0008) break;
        if (group == 0x0002) insertConverted(meta, *element);
        if (group == 0x0008 && (element->GetElement() == 0x0016 || element->GetElement() == 0x0018))
            insertConverted(*file.getDataset(), *element);
    }
    const E_TransferSyntax syntax = dcmtkSyntax(transferSyntax, dataSet);
    OFCondition status = meta.putAndInsertString(DCM_TransferSyntaxUID, DcmXfer(syntax).getXferID());
    std::string bytes;
    char buffer[4096];
    DcmOutputBufferStream stream(buffer, sizeof buffer);
    auto drain = [&] {
        void* filled = nullptr;
        offile_off_t length = 0;
        stream.flushBuffer(filled, length);
        bytes.append(static_cast<const char*>(filled), std::size_t(length));
    };
    file.transferInit();
    while (status.good()) {
        status = file.write(stream, syntax, EET_UndefinedLength, nullptr, EGL_recalcGL, EPD_noChange, 0, 0, 0,
                            EWM_fileformat);
        drain();
        if (status != EC_StreamNotifyClient) break;
        status = EC_Normal;
    }
    while (status.good() && !stream.isFlushed()) {
        stream.flush();
        drain();
    }
    file.transferEnd();
    if (status.bad()) throw RuntimeException(std::string("file meta information: ") + status.text());
    const std::size_t headerLength = 132 + meta.getLength(EXS_LittleEndianExplicit, EET_ExplicitLength);
    if (bytes.size() < headerLength) throw RuntimeException("file meta information: incomplete");
    bytes.resize(headerLength);
    return bytes;
}

void encodeDataSet(const DICOMObject& dataSet, TransferSyntax transferSyntax, FileSink& sink, SequenceLengths lengths,
                   const SequenceOrder* order) {
    Encoder(transferSyntax, lengths, &sink, order).Item(dataSet, true);
}

UINT32 encodedLength(const VR& element, TransferSyntax transferSyntax, SequenceLengths lengths) {
    return Encoder(transferSyntax, lengths).Size(element);
}

UINT32 encodedItemLength(const DICOMObject& item, TransferSyntax transferSyntax, SequenceLengths lengths) {
    return Encoder(transferSyntax, lengths).ItemSize(item);
}

void writeEncodedFile(const std::string& path, const std::string& header, const DICOMDataObject& dataSet,
                      TransferSyntax transferSyntax, SequenceLengths lengths, const SequenceOrder* order) {
    replaceFileAtomically(path, [&](int descriptor) {
        FileSink sink(descriptor, path);
        sink.Put(header.data(), header.size());
        encodeDataSet(dataSet, transferSyntax, sink, lengths, order);
        sink.Flush();
    });
}

}  // namespace refcntr
