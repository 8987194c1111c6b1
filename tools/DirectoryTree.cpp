#include "DirectoryTree.h"

#include <utility>
#include <vector>

#include "JsonText.h"
#include "TerminalText.h"
#include "refcntr/directory/DirectoryRecords.h"

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

void printDirectoryTree(const DirectoryFile& directory, std::ostream& out) {
    // Depth first without recursion, as a directory may nest its records deep: a record's
    // children are taken from the stack before its next sibling.
    std::vector<std::pair<const DirectoryFile::Record*, unsigned>> pending;
    const auto pushAll = [&pending](const std::vector<DirectoryFile::Record*>& records, unsigned depth) {
        for (auto record = records.rbegin(); record != records.rend(); ++record) pending.emplace_back(*record, depth);
    };
    pushAll(directory.roots(), 0);
    while (!pending.empty()) {
        const auto [record, depth] = pending.back();
        pending.pop_back();
        // Past a depth a line can show by indentation, the depth is given as a number.
        if (depth <= deepestIndented)
            out << std::string(2 * depth, ' ');
        else
            out << std::string(2 * deepestIndented, ' ') << '[' << depth << "] ";
        out << cli::escaped(describeRecord(*record)) << '\n';
        pushAll(directory.children(*record), depth + 1);
    }
}

void printDirectoryTreeAsJson(const DirectoryFile& directory, std::ostream& out) {
    // Depth first without recursion, as printDirectoryTree goes; a null record closes the
    // children of the record above it.
    std::vector<std::pair<const DirectoryFile::Record*, unsigned>> pending;
    std::vector<bool> firstAtDepth{true};
    const auto pushAll = [&pending](const std::vector<DirectoryFile::Record*>& records, unsigned depth) {
        for (auto record = records.rbegin(); record != records.rend(); ++record) pending.emplace_back(*record, depth);
    };
    out << '[';
    pushAll(directory.roots(), 0);
    while (!pending.empty()) {
        const auto [record, depth] = pending.back();
        pending.pop_back();
        if (record == nullptr) {
            out << "]}";
            continue;
        }
        if (!firstAtDepth[depth]) out << ',';
        firstAtDepth[depth] = false;
        out << "\n{\"record\": " << cli::jsonString(describeRecord(*record)) << ", \"children\": [";
        const std::vector<DirectoryFile::Record*>& children = directory.children(*record);
        if (children.empty()) {
            out << "]}";
            continue;
        }
        if (firstAtDepth.size() <= depth + 1) firstAtDepth.resize(depth + 2);
        firstAtDepth[depth + 1] = true;
        pending.emplace_back(nullptr, depth);
        pushAll(children, depth + 1);
    }
    out << "\n]\n";
}

}  // namespace refcntr
