#include "IODExercise.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string_view>
#include <vector>

#include "refcntr/codegen/GeneratedClassList.h"
#include "refcntr/core/DumpStream.h"
#include "refcntr/platform/MDDEntry.h"
#include "refcntr/platform/SequenceVR.h"

namespace refcntr::fuzz {

namespace {

[[noreturn]] void fail(const std::string& message) {
    std::fprintf(stderr, "fuzz invariant broken: %s\n", message.c_str());
    std::abort();
}

// getItems never returns a stranger, and finds every item under each key it was filed under.
// Each distinct key is asked once (at most 256 of them).
template <class T>
void probe(const char* name, const ImageIndexedSequence<T>& sequence) {
    constexpr int wholeImage = INT_MIN;
    const std::set<const T*> members(sequence.items().begin(), sequence.items().end());
    std::map<std::pair<RWCString, int>, std::vector<const T*>> filed;
    for (const T* item : sequence.items()) {
        const ReferencedImageSequence& images = item->getReferencedImageSequenceElement();
        if (!images.isPresent()) continue;
        for (const ReferencedImageSequenceItem* reference : images.items()) {
            const RWCString uid = reference->getReferencedSOPInstanceUIDElement();
            const int* frames = reference->getReferencedFrameNumberElement();
            const unsigned frameCount = reference->getReferencedFrameNumberElementLength();
            const bool byFrame = reference->isReferencedFrameNumberElementPresent() && frames && frameCount > 0;
            for (unsigned i = 0; i < (byFrame ? frameCount : 1u); ++i) {
                const auto key = std::make_pair(uid, byFrame ? frames[i] : wholeImage);
                if (filed.size() < 256 || filed.count(key)) filed[key].push_back(item);
            }
        }
    }
    RWTPtrOrderedVector<T> result;
    auto expectMembers = [&](const RWCString& uid) {
        for (const T* found : result)
            if (members.count(found) == 0) fail(std::string(name) + ".getItems('" + uid + "') returned a foreign item");
    };
    for (const auto& [key, items] : filed) {
        if (key.second == wholeImage)
            sequence.getItems(result, key.first);
        else
            sequence.getItems(result, key.first, key.second);
        expectMembers(key.first);
        const std::set<const T*> found(result.begin(), result.end());
        for (const T* item : items)
            if (found.count(item) == 0)
                fail(std::string(name) + ".getItems('" + key.first + "') misses an item that references it");
    }
    for (const char* uid : {"", "1.2.3", "\\"}) {
        for (int frame : {0, 1, -1, 2147483647}) {
            sequence.getItems(result, uid, frame);
            expectMembers(uid);
        }
        sequence.getItems(result, uid);
        expectMembers(uid);
    }
}

template <class Entity>
void probePresentationEntity(const Entity* entity) {
    if (!entity) return;
    if (const auto* module = entity->getPresentationStateRelationshipModule())
        probe("ReferencedSeriesSequence", module->getReferencedSeriesSequenceElement());
    if (const auto* module = entity->getDisplayedAreaModule())
        probe("DisplayedAreaSelectionSequence", module->getDisplayedAreaSelectionSequenceElement());
    if (const auto* module = entity->getGraphicAnnotationModule())
        probe("GraphicAnnotationSequence", module->getGraphicAnnotationSequenceElement());
}

template <class Entity>
void probeVOILUT(const Entity* entity) {
    if (!entity) return;
    if (const auto* module = entity->getSoftcopyVOILUTModule())
        probe("SoftcopyVOILUTSequence", module->getSoftcopyVOILUTSequenceElement());
}

void probeIndexedSequences(const GrayscaleSoftcopyPresentationStateCompositeIOD& iod) {
    probePresentationEntity(iod.getPresentationInformationEntity());
    probeVOILUT(iod.getPresentationInformationEntity());
}

void probeIndexedSequences(const ColorSoftcopyPresentationStateCompositeIOD& iod) {
    probePresentationEntity(iod.getColorPresentationInformationEntity());
}

void probeIndexedSequences(const PseudoColorSoftcopyPresentationStateCompositeIOD& iod) {
    probePresentationEntity(iod.getPseudoColorPresentationInformationEntity());
    probeVOILUT(iod.getPseudoColorPresentationInformationEntity());
}

void probeIndexedSequences(const BasicDirectoryCompositeIOD& iod) {
    const DirectoryInformationEntity* entity = iod.getDirectoryInformationEntity();
    const DirectoryInformationModule* module = entity ? entity->getDirectoryInformationModule() : nullptr;
    if (!module) return;
    for (const DirectoryRecordSequenceItem* record : module->getDirectoryRecordSequenceElement().items()) {
        probe("DirectoryRecord.ReferencedSeriesSequence", record->getReferencedSeriesSequenceElement());
        for (const BlendingSequenceItem* blending : record->getBlendingSequenceElement().items())
            probe("Blending.ReferencedSeriesSequence", blending->getReferencedSeriesSequenceElement());
    }
}

// Nothing that was read is lost or changed by save and create: every dump line of the first
// container that holds a value appears, in order, in the dump of the second. Lines may be
// added (save writes absent type 2 attributes empty), items that hold nothing are not saved
// (so item headers and braces are not compared), and byte values of odd length may be saved
// padded to even length ("<83 bytes>" reads back as "<84 bytes>"; word arrays keep their count).
// An empty value of a multi-valued text is not compared, nor the comma after a value: a text
// that ends in a separator loses its empty last value when it is split (roundtrip reports it).
bool endsWith(std::string_view line, std::string_view end) {
    return line.size() >= end.size() && line.substr(line.size() - end.size()) == end;
}

bool holdsNoValue(std::string_view line) {
    if (endsWith(line, "= <not present>") || endsWith(line, "= <empty>")) return true;
    const std::size_t start = line.find_first_not_of(' ');
    if (start == std::string_view::npos) return true;
    const std::string_view text = line.substr(start, line.find_last_not_of(' ') + 1 - start);
    return text == "{" || text == "}" || text == "}," || text.substr(0, 5) == "Item " || endsWith(line, "] = \"\"") ||
           endsWith(line, "] = \"\",");
}

// The line as compared: without a trailing comma, and a quoted text without its closing quote
// and the blanks and NULs (dumped as \000) before it. A value's trailing blanks and NULs are
// padding in DICOM, and where a multi-valued text ends in a backslash, its last value's padding
// becomes the element's once saved.
std::string_view comparable(std::string_view line) {
    if (!line.empty() && line.back() == ',') line.remove_suffix(1);
    if (line.size() < 2 || line.back() != '"' || line.find('"') == line.size() - 1) return line;
    line.remove_suffix(1);
    for (;;) {
        if (!line.empty() && line.back() == ' ')
            line.remove_suffix(1);
        else if (line.size() >= 4 && line.substr(line.size() - 4) == "\\000")
            line.remove_suffix(4);
        else
            return line;
    }
}

// The line as it reads back when its byte value of odd length is saved padded; empty otherwise.
std::string paddedByteCount(std::string_view line) {
    if (!endsWith(line, " bytes>")) return {};
    const std::size_t open = line.rfind("= <");
    const std::size_t close = line.size() - 7;
    if (open == std::string_view::npos || close <= open + 3) return {};
    const std::string_view digits = line.substr(open + 3, close - open - 3);
    if (digits.find_first_not_of("0123456789") != std::string_view::npos || digits.size() > 9) return {};
    const unsigned long count = std::stoul(std::string(digits));
    if (count % 2 == 0) return {};
    return std::string(line.substr(0, open + 3)) + std::to_string(count + 1) + std::string(line.substr(close));
}

std::vector<std::string_view> linesOf(const std::string& text) {
    std::vector<std::string_view> lines;
    std::size_t from = 0;
    while (from < text.size()) {
        std::size_t end = text.find('\n', from);
        if (end == std::string::npos) end = text.size();
        lines.emplace_back(text.data() + from, end - from);
        from = end + 1;
    }
    return lines;
}

// Line by line, so that the work stays linear in the dumps' size (a search of each line in the
// rest of the second dump was quadratic on long repetitive values).
void requireKept(const std::string& name, const std::string& first, const std::string& second) {
    const std::vector<std::string_view> secondLines = linesOf(second);
    std::size_t at = 0;
    for (const std::string_view line : linesOf(first)) {
        if (holdsNoValue(line)) continue;
        const std::string padded = paddedByteCount(line);
        const std::string_view wanted = comparable(line), paddedWanted = comparable(padded);
        while (at < secondLines.size() && comparable(secondLines[at]) != wanted &&
               (padded.empty() || comparable(secondLines[at]) != paddedWanted))
            ++at;
        if (at == secondLines.size()) {
            reportDifference(name + " after create, save, create", first, second);
            fail(name + ": save and create lost or changed: " + std::string(line));
        }
        ++at;
    }
}

// The container's dump, streamed into one string rather than built level by level.
std::string dumpOf(const PSChangeHandler& container) {
    std::ostringstream out;
    writeDump(out, container, 0);
    return std::move(out).str();
}

std::string_view trimmedText(const VR& element) {
    std::string_view text(reinterpret_cast<const char*>(element.GetData()),
                          element.GetData() ? element.GetLength() : 0);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\0')) text.remove_suffix(1);
    return text;
}

// The same value; for a text, the same up to its padding blanks (the last value of a text that
// ended in a separator keeps its blanks, which become padding when saved), or one that lost the
// empty value after its last separator, as the split drops it on every read.
bool sameValue(const VR& first, const VR& second) {
    if (first.GetLength() == second.GetLength() &&
        (first.GetLength() == 0 || std::memcmp(first.GetData(), second.GetData(), first.GetLength()) == 0))
        return true;
    if (!MDDEntry::IsStringType(first.GetVRCode())) return false;
    const std::string_view a = trimmedText(first), b = trimmedText(second);
    return a == b || (!a.empty() && a.back() == '\\' && a.substr(0, a.size() - 1) == b);
}

bool sameElements(const DICOMObject& first, const DICOMObject& second) {
    if (first.GetNumberOfVRs() != second.GetNumberOfVRs() || first.GetEndian() != second.GetEndian()) return false;
    for (auto left = first.begin(), right = second.begin(); left != first.end(); ++left, ++right) {
        const VR& a = **left;
        const VR& b = **right;
        if (a.GetTag() != b.GetTag() || a.GetVRCode() != b.GetVRCode() || a.GetEndian() != b.GetEndian() ||
            !sameValue(a, b))
            return false;
        const SequenceVR* sa = a.GetAsSequenceVR();
        const SequenceVR* sb = b.GetAsSequenceVR();
        if ((sa == nullptr) != (sb == nullptr)) return false;
        if (!sa) continue;
        if (sa->GetNumberOfItems() != sb->GetNumberOfItems()) return false;
        for (unsigned i = 0; i < sa->GetNumberOfItems(); ++i)
            if (!sameElements(*sa->GetSequenceItems()[i], *sb->GetSequenceItems()[i])) return false;
    }
    return true;
}

template <class IOD>
std::unique_ptr<DICOMDataObject> saved(const std::string& name, const IOD& iod, EndianType endian) {
    auto data = std::make_unique<DICOMDataObject>(endian);
    try {
        iod.save(*data);
    } catch (const std::exception& error) {
        fail(name + "::save threw: " + error.what());
    }
    return data;
}

template <class IOD>
void roundTrip(const std::string& name, const DICOMDataObject& data) {
    std::unique_ptr<IOD> first(IOD::create(data));
    if (!first) fail(name + "::create returned null");
    const std::string firstDump = dumpOf(*first);
    const auto firstSaved = saved(name, *first, data.GetEndian());
    std::unique_ptr<IOD> second(IOD::create(*firstSaved));
    requireKept(name, firstDump, dumpOf(*second));
    // What save writes, create reads back whole, and a copy holds the same values: a copy of
    // the second container saves the same data set. One save checks both, at a third less work
    // per input than a save of each.
    const IOD copy(*second);
    if (!sameElements(*firstSaved, *saved(name, copy, data.GetEndian())))
        fail(name + ": a copy of what was read from a saved data set saves a different data set");
    probeIndexedSequences(*first);
    probeIndexedSequences(*second);
}

template <class... Classes>
struct Rows {
    static void into(std::vector<KnownAttribute>& rows) { (add(Classes::description(), rows), ...); }
    static void add(const ClassDescription& description, std::vector<KnownAttribute>& rows) {
        for (unsigned i = 0; i < description.attributeCount; ++i) {
            const AttributeDescription& row = description.attributes[i];
            if (row.kind == AttributeKind::Module || row.kind == AttributeKind::Entity) continue;
            rows.push_back({row.group, row.element, row.vr, row.privateCreator, row.kind == AttributeKind::Sequence});
        }
    }
};

}  // namespace

IODChoice iodOf(const DICOMDataObject& data, IODChoice fallback) {
    RWCString sopClass;
    if (!data.GetString(0x0008, 0x0016, sopClass)) data.GetString(0x0002, 0x0002, sopClass);
    if (sopClass == "1.2.840.10008.1.3.10") return IODChoice::Directory;
    if (sopClass == "1.2.840.10008.5.1.4.1.1.11.1") return IODChoice::GrayscaleState;
    if (sopClass == "1.2.840.10008.5.1.4.1.1.11.2") return IODChoice::ColorState;
    if (sopClass == "1.2.840.10008.5.1.4.1.1.11.3") return IODChoice::PseudoColorState;
    return fallback;
}

// One IOD per input: each costs as much as the data set is large, and the fuzzer reaches every
// IOD through the inputs that choose it.
void exerciseIOD(const DICOMDataObject& data, IODChoice iod) {
    switch (iod) {
    case IODChoice::Directory: roundTrip<BasicDirectoryCompositeIOD>("BasicDirectoryCompositeIOD", data); break;
    case IODChoice::GrayscaleState:
        roundTrip<GrayscaleSoftcopyPresentationStateCompositeIOD>("GrayscaleSoftcopyPresentationStateCompositeIOD",
                                                                  data);
        break;
    case IODChoice::ColorState:
        roundTrip<ColorSoftcopyPresentationStateCompositeIOD>("ColorSoftcopyPresentationStateCompositeIOD", data);
        break;
    case IODChoice::PseudoColorState:
        roundTrip<PseudoColorSoftcopyPresentationStateCompositeIOD>("PseudoColorSoftcopyPresentationStateCompositeIOD",
                                                                    data);
        break;
    }
}

const std::vector<KnownAttribute>& knownAttributes() {
    static const std::vector<KnownAttribute> rows = [] {
        std::vector<KnownAttribute> all;
        generated::Items<Rows>::into(all);
        generated::Modules<Rows>::into(all);
        return all;
    }();
    return rows;
}

void reportDifference(const std::string& what, const std::string& first, const std::string& second) {
    std::size_t at = 0;
    while (at < first.size() && at < second.size() && first[at] == second[at]) ++at;
    const std::size_t lineStart = first.rfind('\n', at) == std::string::npos ? 0 : first.rfind('\n', at) + 1;
    const std::size_t contextStart = lineStart > 400 ? lineStart - 400 : 0;
    std::fprintf(stderr, "%s: dumps differ at byte %zu\n--- before:\n%s\n--- first: %s\n--- second: %s\n", what.c_str(),
                 at, first.substr(contextStart, lineStart - contextStart).c_str(), first.substr(lineStart, 300).c_str(),
                 second.substr(lineStart, 300).c_str());
}

}  // namespace refcntr::fuzz
