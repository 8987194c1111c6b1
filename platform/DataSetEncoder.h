// Encoding a data set straight into the bytes of a DICOM file, without building DCMTK's
// elements first: the values of our data set are already encoded, so writing them costs one
// pass and no second copy of the data set.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "refcntr/platform/DICOMDataObject.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/MAttributeTag.h"

namespace refcntr {

// Where encoded bytes go: a buffer written out to a file descriptor whenever it fills.
class FileSink {
public:
    // `path` names the file in error messages.
    FileSink(int descriptor, std::string path);
    // Inline: the encoder puts every tag, length and value through here.
    void Put(const void* bytes, std::size_t length) {
        if (length > capacity - itsFilled) {
            PutLarge(bytes, length);
            return;
        }
        std::memcpy(itsBuffer.get() + itsFilled, bytes, length);
        itsFilled += length;
    }
    // Writes out what is buffered. Throws RuntimeException naming the file and the system's reason.
    void Flush();
    const std::string& Path() const { return itsPath; }

private:
    static constexpr std::size_t capacity = 1 << 16;

    void PutLarge(const void* bytes, std::size_t length);
    void WriteOut(const unsigned char* bytes, std::size_t length);

    int itsDescriptor;
    std::string itsPath;
    std::unique_ptr<unsigned char[]> itsBuffer;
    std::size_t itsFilled = 0;
};

// The preamble, "DICM" and the file meta information of a file holding `dataSet`, exactly as
// DCMTK writes them: the meta header is built by DCMTK from the data set's group 0002, its SOP
// class and instance UIDs, and the transfer syntax.
std::string encodeFileHeader(const DICOMDataObject& dataSet, TransferSyntax transferSyntax);

// How sequences and items are delimited: with an undefined length and a delimiter (what DCMTK
// writes by default, and what needs no length computed), or with explicit lengths (which a
// directory's record offsets count).
enum class SequenceLengths { Undefined, Explicit };

// The order in which the items of one top-level sequence are written: items[k] is the index,
// in the sequence, of the k-th item written.
struct SequenceOrder {
    MAttributeTag sequence;
    std::vector<unsigned> items;
};

// Every element of `dataSet` outside group 0002, encoded as DCMTK writes them in
// `transferSyntax`: trailing blanks of texts dropped and odd lengths padded (NUL for UI, blank
// for other texts, a zero byte otherwise), numbers completed to whole values, group lengths
// computed, and a value too long for a 16-bit length field written as UN.
void encodeDataSet(const DICOMObject& dataSet, TransferSyntax transferSyntax, FileSink& sink,
                   SequenceLengths lengths = SequenceLengths::Undefined, const SequenceOrder* order = nullptr);

// The bytes an element takes when encoded so, header included.
UINT32 encodedLength(const VR& element, TransferSyntax transferSyntax, SequenceLengths lengths);
// The bytes the elements of an item take when encoded so, without the item's own tag and length.
UINT32 encodedItemLength(const DICOMObject& item, TransferSyntax transferSyntax, SequenceLengths lengths);

// Writes `header` (from encodeFileHeader) and the data set as a file at `path`, atomically.
// Throws RuntimeException naming the file and the reason.
void writeEncodedFile(const std::string& path, const std::string& header, const DICOMDataObject& dataSet,
                      TransferSyntax transferSyntax, SequenceLengths lengths, const SequenceOrder* order = nullptr);

}  // namespace refcntr
