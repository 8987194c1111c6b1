#include "DirectoryTree.h"

#include <map>
#include <stdexcept>

#include "CommandLine.h"

namespace refcntr {

namespace {

void add(std::string& line, const std::string& part) {
    if (!part.empty()) line += " " + part;
}

std::string quotedIfAny(const std::string& text) { return text.empty() ? text : "\"" + text + "\""; }

std::string bracketed(const std::string& text) { return text.empty() ? text : "[" + text + "]"; }

// "IMAGES\IM1" is held as the values IMAGES and IM1.
std::string filePath(const DirectoryRecordSequenceItem& record) {
    std::string path;
    for (const RWCString& component : record.getReferencedFileIDElement())
        path += (path.empty() ? "" : "/") + component;
    return path;
}

std::string number(int present, int value) { return present ? std::to_string(value) : std::string(); }

// A link still to follow: where it leads, how deep, and from which record (for the message).
struct Link {
    UINT32 offset;
    unsigned depth;
    std::string from;
};

}  // namespace

std::string describeRecord(const DirectoryRecordSequenceItem& record) {
    const RWCString type = record.getDirectoryRecordTypeElement();
    std::string line = type.empty() ? std::string("(no type)") : type;
    if (type == "PATIENT") {
        add(line, record.getPatientNameElement());
        add(line, bracketed(record.getPatientIDElement()));
    } else if (type == "STUDY") {
        add(line, record.getStudyDateElement());
        add(line, record.getStudyIDElement());
        add(line, quotedIfAny(record.getStudyDescriptionElement()));
        add(line, bracketed(record.getStudyInstanceUIDElement()));
    } else if (type == "SERIES") {
        add(line, record.getModalityElement());
        add(line, number(record.isSeriesNumberElementPresent(), record.getSeriesNumberElement()));
        add(line, quotedIfAny(record.getSeriesDescriptionElement()));
        add(line, bracketed(record.getSeriesInstanceUIDElement()));
    } else {
        add(line, number(record.isInstanceNumberElementPresent(), record.getInstanceNumberElement()));
        add(line, filePath(record));
        add(line, bracketed(record.getReferencedSOPInstanceUIDInFileElement()));
    }
    if (record.isRecordInUseFlagElementPresent() && record.getRecordInUseFlagElement() == 0) add(line, "(not in use)");
    return line;
}

DirectoryTree directoryTree(const DirectoryInformationModule& module, const std::vector<UINT32>& recordOffsets) {
    const DirectoryRecordSequence& records = module.getDirectoryRecordSequenceElement();
    if (recordOffsets.size() != records.length())
        throw std::invalid_argument(std::to_string(recordOffsets.size()) + " offsets for " +
                                    std::to_string(records.length()) + " records");
    std::map<UINT32, unsigned> recordAt;
    for (unsigned i = 0; i < records.length(); ++i) recordAt.emplace(recordOffsets[i], i);

    DirectoryTree tree{std::string(), 0};
    std::vector<bool> reached(records.length());
    // Depth first without recursion, as a damaged file may chain its records deep: the lower
    // level of a record is taken from the stack before its next record.
    std::vector<Link> pending{{module.getRootDirectoryFirstRecordElement(), 0, "the root"}};
    while (!pending.empty()) {
        const Link link = pending.back();
        pending.pop_back();
        if (link.offset == 0) continue;
        const auto found = recordAt.find(link.offset);
        if (found == recordAt.end())
            throw cli::Failure(link.from + " links to offset " + std::to_string(link.offset) +
                               ", where no record starts");
        if (reached[found->second])
            throw cli::Failure(link.from + " links back to the record at offset " + std::to_string(link.offset) +
                               ": the links loop");
        reached[found->second] = true;
        ++tree.reached;

        const DirectoryRecordSequenceItem& record = *records.at(found->second);
        tree.text += std::string(2 * link.depth, ' ') + describeRecord(record) + '\n';
        const std::string self = "the " + std::string(record.getDirectoryRecordTypeElement()) + " record at offset " +
                                 std::to_string(link.offset);
        pending.push_back({record.getNextDirectoryRecordOffsetElement(), link.depth, self});
        pending.push_back({record.getLowerLevelDirectoryOffsetElement(), link.depth + 1, self});
    }
    return tree;
}

}  // namespace refcntr
