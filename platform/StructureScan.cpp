#include "refcntr/platform/StructureScan.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include <zlib.h>

#include "refcntr/platform/ByteOrder.h"
#include "refcntr/platform/DataDictionary.h"
#include "refcntr/platform/LengthField.h"
#include "refcntr/platform/MAttributeTag.h"
#include "refcntr/platform/MDDEntry.h"

namespace refcntr {

namespace {

constexpr UINT32 undefinedLength = 0xFFFFFFFF;
constexpr std::size_t noEnd = std::size_t(-1);

// The bytes the scan follows, read forward: what lies before a released position is not
// asked for again.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    // Whether the bytes up to `end` exist.
    virtual bool Has(std::size_t end) = 0;
    // The byte at `position`, which Has covered and which was not released.
    virtual const unsigned char* At(std::size_t position) = 0;
    virtual void Release(std::size_t before) = 0;
    // Every byte's count.
    virtual std::size_t Size() = 0;
};

class MemorySource : public ByteSource {
public:
    MemorySource(const unsigned char* bytes, std::size_t size) : itsBytes(bytes), itsSize(size) {}
    bool Has(std::size_t end) override { return end <= itsSize; }
    const unsigned char* At(std::size_t position) override { return itsBytes + position; }
    void Release(std::size_t) override {}
    std::size_t Size() override { return itsSize; }

private:
    const unsigned char* itsBytes;
    std::size_t itsSize;
};

// A deflated data set, inflated as the scan goes and kept only from the last released position
// on, so that a file that inflates a thousandfold costs no more memory than a small one.
class InflatingSource : public ByteSource {
public:
    InflatingSource(const unsigned char* bytes, std::size_t size) {
        itsStream.next_in = const_cast<unsigned char*>(bytes);
        itsStream.avail_in = uInt(std::min<std::size_t>(size, UINT_MAX));
        itsFinished = inflateInit2(&itsStream, -MAX_WBITS) != Z_OK;  // raw deflate, no header
        itsStarted = !itsFinished;
    }
    ~InflatingSource() override {
        if (itsStarted) inflateEnd(&itsStream);
    }
    bool Has(std::size_t end) override {
        while (itsStart + itsWindow.size() < end && Inflate()) {}
        return itsStart + itsWindow.size() >= end;
    }
    const unsigned char* At(std::size_t position) override { return itsWindow.data() + (position - itsStart); }
    void Release(std::size_t before) override {
        if (before <= itsStart) return;
        const std::size_t drop = std::min(before - itsStart, itsWindow.size());
        itsWindow.erase(itsWindow.begin(), itsWindow.begin() + std::ptrdiff_t(drop));
        itsStart += drop;
        itsSkipTo = std::max(itsSkipTo, before);
    }
    std::size_t Size() override {
        while (Inflate()) {}
        return itsStart + itsWindow.size();
    }

private:
    // Inflates one more chunk; false at the end of the stream or on damage.
    bool Inflate() {
        if (itsFinished) return false;
        unsigned char chunk[1 << 16];
        itsStream.next_out = chunk;
        itsStream.avail_out = sizeof chunk;
        const int status = inflate(&itsStream, Z_NO_FLUSH);
        const std::size_t produced = sizeof chunk - itsStream.avail_out;
        if (status != Z_OK || produced == 0) itsFinished = true;
        // Bytes before a released position are dropped as they come.
        std::size_t from = 0;
        if (itsWindow.empty() && itsStart < itsSkipTo) {
            from = std::min(produced, itsSkipTo - itsStart);
            itsStart += from;
        }
        itsWindow.insert(itsWindow.end(), chunk + from, chunk + produced);
        return produced > 0;
    }

    z_stream itsStream{};
    bool itsStarted = false;
    bool itsFinished = false;
    std::size_t itsStart = 0;   // position of the window's first byte
    std::size_t itsSkipTo = 0;  // bytes before it are not kept
    std::vector<unsigned char> itsWindow;
};

class StructureScanner {
public:
    StructureScanner(const unsigned char* bytes, std::size_t size, bool implicitLittleEndian)
        : itsBytes(bytes),
          itsSize(size),
          itsImplicitLittleEndian(implicitLittleEndian) {}

    StructureScan Scan(std::size_t limit) {
        StructureScan scan;
        const std::size_t start = Start();
        if (itsDeflated) {
            // The deflated data set is explicit VR little endian.
            InflatingSource source(itsBytes + start, itsSize - start);
            itsExplicitVR = true;
            itsBigEndian = false;
            ScanDataSet(source, 0, limit, scan);
        } else {
            MemorySource source(itsBytes, itsSize);
            ScanDataSet(source, start, limit, scan);
        }
        return scan;
    }

private:
    void ScanDataSet(ByteSource& source, std::size_t position, std::size_t limit, StructureScan& scan) {
        itsSource = &source;
        std::size_t depth = 0, deepest = 0;
        while (source.Has(position + 8)) {
            source.Release(position);
            while (!itsFrames.empty() && itsFrames.back().end != noEnd && position >= itsFrames.back().end)
                depth -= Close();
            const UINT16 group = Number16(position), element = Number16(position + 2);
            if (group == 0xFFFE) {
                const UINT32 length = Number32(position + 4);
                position += 8;
                if (element == 0xE000) {
                    const std::size_t end = length == undefinedLength ? noEnd : position + length;
                    if (!itsFrames.empty() && itsFrames.back().sequence && end != noEnd &&
                        itsFrames.back().end != noEnd && end > itsFrames.back().end)
                        Fault(scan, itsFrames.back().tag,
                              "an item's length runs past the end of this sequence; what "
                              "follows the sequence was read into the item");
                    itsFrames.push_back({end, false, false, 0});
                } else if (element == 0xE00D && !itsFrames.empty() && !itsFrames.back().sequence)
                    depth -= Close();
                else if (element == 0xE0DD)
                    depth -= CloseSequence();
                continue;
            }
            UINT32 length = 0;
            bool sequence = false;
            if (itsExplicitVR) {
                const UINT16 vrCode = VRCode::make(char(*source.At(position + 4)), char(*source.At(position + 5)));
                if (hasLongLengthField(vrCode)) {
                    if (!source.Has(position + 12)) break;
                    length = Number32(position + 8);
                    position += 12;
                } else {
                    length = Number16(position + 6);
                    position += 8;
                }
                sequence = vrCode == VRCode::SQ || (vrCode == VRCode::UN && length == undefinedLength);
            } else {
                length = Number32(position + 4);
                position += 8;
                sequence =
                    length == undefinedLength || InstanceSpecificDataDictionary::TypeVR(group, element) == VRCode::SQ;
            }
            // Encapsulated pixel data holds items too, but DCMTK reads them without recursing.
            const bool counts = sequence && !(group == 0x7FE0 && element == 0x0010);
            if (sequence || length == undefinedLength) {
                itsFrames.push_back({length == undefinedLength ? noEnd : position + length, true, counts,
                                     UINT32(group) << 16 | element});
                if (counts && ++depth > deepest) deepest = depth;
                if (deepest > limit) break;
                continue;
            }
            source.Release(position + length);
            if (!source.Has(position + length)) {
                if (itsDeflated) scan.overlongDeflatedElement = MAttributeTag(group, element).ToString();
                break;
            }
            position += length;
        }
        scan.deepestNesting = deepest;
        if (deepest > limit) return;
        const std::size_t size = source.Size();
        scan.whole = position == size;
        // Sequences still open at the end of the file: it ends inside them.
        for (const Frame& frame : itsFrames)
            if (frame.sequence && frame.counts && (frame.end == noEnd || frame.end > size))
                Fault(scan, frame.tag, "the file ends inside this sequence; it was read as far as it goes");
    }

    struct Frame {
        std::size_t end;  // noEnd when closed by a delimiter
        bool sequence;    // a sequence, or an item
        bool counts;      // a level of nesting
        UINT32 tag;       // of a sequence
    };

    static void Fault(StructureScan& scan, UINT32 tag, const char* what) {
        const UINT16 group = UINT16(tag >> 16), element = UINT16(tag & 0xFFFF);
        std::string line = MAttributeTag(group, element).ToString();
        const RWCString keyword = InstanceSpecificDataDictionary::Keyword(group, element);
        if (!keyword.empty()) line += " " + keyword;
        scan.faults.push_back(line + ": " + what);
    }

    // The first byte of the data set, after the meta header; sets the encoding.
    std::size_t Start() {
        std::size_t position = 0;
        if (itsImplicitLittleEndian) {
            itsExplicitVR = itsBigEndian = false;
            return position;
        }
        if (itsSize >= 132 && std::memcmp(itsBytes + 128, "DICM", 4) == 0) {
            position = 132;
            std::string syntax;
            while (position + 8 <= itsSize && Number16(position) == 0x0002) {
                const UINT16 element = Number16(position + 2);
                const UINT16 vrCode = VRCode::make(char(itsBytes[position + 4]), char(itsBytes[position + 5]));
                const bool longLength = hasLongLengthField(vrCode);
                if (longLength && position + 12 > itsSize) break;
                const std::size_t length = longLength ? Number32(position + 8) : Number16(position + 6);
                position += longLength ? 12 : 8;
                if (length > itsSize - position) break;
                if (element == 0x0010) syntax.assign(reinterpret_cast<const char*>(itsBytes + position), length);
                position += length;
            }
            while (!syntax.empty() && (syntax.back() == '\0' || syntax.back() == ' ')) syntax.pop_back();
            itsExplicitVR = syntax != "1.2.840.10008.1.2";
            itsBigEndian = syntax == "1.2.840.10008.1.2.2";
            itsDeflated = syntax == "1.2.840.10008.1.2.1.99";
            return position;
        }
        // A bare data set: explicit VR when two capital letters follow the first tag.
        itsBigEndian = itsSize >= 2 && itsBytes[0] == 0 && itsBytes[1] != 0;
        itsExplicitVR =
            itsSize >= 6 && itsBytes[4] >= 'A' && itsBytes[4] <= 'Z' && itsBytes[5] >= 'A' && itsBytes[5] <= 'Z';
        return 0;
    }

    // Closes the innermost frame; returns the levels that closes.
    std::size_t Close() {
        const std::size_t levels = itsFrames.back().counts ? 1 : 0;
        itsFrames.pop_back();
        return levels;
    }

    // Closes frames up to and including the innermost sequence.
    std::size_t CloseSequence() {
        std::size_t levels = 0;
        while (!itsFrames.empty()) {
            const bool sequence = itsFrames.back().sequence;
            levels += Close();
            if (sequence) break;
        }
        return levels;
    }

    // Numbers of the data set being scanned; the meta header is read from memory before that.
    UINT16 Number16(std::size_t at) const {
        return storedNumber16(itsSource ? itsSource->At(at) : itsBytes + at, itsBigEndian);
    }
    UINT32 Number32(std::size_t at) const {
        return storedNumber32(itsSource ? itsSource->At(at) : itsBytes + at, itsBigEndian);
    }

    const unsigned char* itsBytes;
    std::size_t itsSize;
    bool itsImplicitLittleEndian;
    bool itsExplicitVR = true;
    bool itsBigEndian = false;
    bool itsDeflated = false;
    ByteSource* itsSource = nullptr;
    std::vector<Frame> itsFrames;
};

}  // namespace

StructureScan scanStructure(const unsigned char* bytes, std::size_t size, std::size_t nestingLimit) {
    return StructureScanner(bytes, size, false).Scan(nestingLimit);
}

StructureScan scanImplicitLittleEndian(const unsigned char* bytes, std::size_t size, std::size_t nestingLimit) {
    return StructureScanner(bytes, size, true).Scan(nestingLimit);
}

}  // namespace refcntr
