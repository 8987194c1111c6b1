// refcntr check: the attributes of a file that no container of its IOD holds.
#include <iostream>

#include "CommandLine.h"
#include "Commands.h"
#include "DataSetDifference.h"
#include "InputFile.h"
#include "JsonText.h"
#include "StoredObject.h"
#include "ValueFaults.h"
#include "refcntr/platform/DataDictionary.h"

namespace refcntr::cli {

namespace {

bool isPrivateCreator(const VR& element) {
    return element.GetTag().IsPrivate() && element.GetElement() >= 0x0010 && element.GetElement() <= 0x00FF;
}

// The top-level private creators of `input`, for the containers to find their block where the
// input has it: a private module writes into the block its creator reserves, or reserves the
// first free one.
DICOMDataObject withPrivateCreatorsOf(const DICOMDataObject& input) {
    DICOMDataObject result(input.GetEndian());
    for (const auto& element : input)
        if (isPrivateCreator(*element)) result.ReplaceVR(element->Clone());
    return result;
}

// Removes the creators whose block holds nothing after the containers saved, so that they are
// reported with the rest of the block.
void dropUnusedCreators(DICOMDataObject& saved) {
    std::vector<MAttributeTag> unused;
    for (const auto& element : saved) {
        if (!isPrivateCreator(*element)) continue;
        const UINT16 first = UINT16(element->GetElement() << 8);
        bool used = false;
        for (const auto& other : saved)
            used = used || (other->GetGroup() == element->GetGroup() && other->GetElement() >= first &&
                            other->GetElement() <= first + 0xFF);
        if (!used) unused.push_back(element->GetTag());
    }
    for (const MAttributeTag& tag : unused) saved.RemoveVR(tag.GetGroup(), tag.GetElement());
}

// The keyword of the element at the end of a path such as "(0070,0001)[0]/(0070,0295)", or
// "" for a whole item, a private element or a tag the dictionary does not know.
std::string keywordAtEnd(const std::string& path) {
    if (path.size() < 11 || path.back() != ')') return std::string();
    const std::string tag = path.substr(path.size() - 11);
    const UINT16 group = UINT16(std::stoul(tag.substr(1, 4), nullptr, 16));
    const UINT16 element = UINT16(std::stoul(tag.substr(6, 4), nullptr, 16));
    if (group & 1) return element >= 0x0010 && element <= 0x00FF ? "PrivateCreator" : std::string();
    return InstanceSpecificDataDictionary::Keyword(group, element);
}

std::string counted(std::size_t count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

void printAsJson(const std::string& path, StoredObjectKind kind, const std::vector<std::string>& unheld,
                 const std::vector<std::string>& faults) {
    std::cout << "{\"file\": " << jsonString(path) << ", \"iod\": " << jsonString(kindName(kind))
              << ",\n \"unheld\": [";
    for (std::size_t i = 0; i < unheld.size(); ++i)
        std::cout << (i ? ",\n  " : "\n  ") << "{\"path\": " << jsonString(unheld[i])
                  << ", \"keyword\": " << jsonString(keywordAtEnd(unheld[i])) << '}';
    std::cout << "],\n \"invalid\": [";
    for (std::size_t i = 0; i < faults.size(); ++i) std::cout << (i ? ",\n  " : "\n  ") << jsonString(faults[i]);
    std::cout << "]}\n";
}

void printAsText(StoredObjectKind kind, const std::vector<std::string>& unheld,
                 const std::vector<std::string>& faults) {
    for (const std::string& element : unheld) {
        const std::string keyword = keywordAtEnd(element);
        std::cout << element << (keyword.empty() ? "" : "  # " + keyword) << '\n';
    }
    if (unheld.empty())
        std::cout << "every attribute is held by a container of the " << kindName(kind) << '\n';
    else
        std::cout << counted(unheld.size(), "attribute") << " held by no container of the " << kindName(kind) << '\n';
    // Values a validator such as dcmpschk would reject, found before the file is written.
    for (const std::string& fault : faults) std::cout << fault << '\n';
    if (!faults.empty())
        std::cout << counted(faults.size(), "value")
                  << (faults.size() == 1 ? " not valid for its VR\n" : " not valid for their VR\n");
}

int checkFile(const std::string& path, bool json) {
    const auto input = readInputFile(path);
    const StoredObjectKind kind = containerKindFor(*input, "check", path);

    // What the containers hold is what they save: saved into a data set of their own, every
    // element of the input that is not there again is held by none of them.
    DICOMDataObject saved = withPrivateCreatorsOf(*input);
    try {
        createCompositeIOD(*input)->save(saved);
    } catch (const std::exception& error) {
        throw Failure("cannot check '" + path + "' as a " + kindName(kind) + ": " + error.what());
    }
    dropUnusedCreators(saved);

    const std::vector<std::string> unheld = missingElements(*input, saved);
    const std::vector<std::string> faults = valueFaults(*input);
    if (json)
        printAsJson(path, kind, unheld, faults);
    else
        printAsText(kind, unheld, faults);
    std::cout.flush();
    if (!std::cout) throw Failure("cannot check '" + path + "': standard output failed");
    return unheld.empty() && faults.empty() ? exitSuccess : exitFailure;
}

int check(const std::vector<std::string>& arguments) {
    const CommandArguments command(arguments, CommandArguments::oneOrMore, {"--json"}, {});
    const bool json = command.has("--json");
    return forEachFile(command, [json](const std::string& path) { return checkFile(path, json); });
}

}  // namespace

const Command checkCommand = {
    "check", "refcntr check FILE... [--json]", "list the attributes that no container holds",
    "Reads each FILE, a media directory or a softcopy presentation state (the IOD is chosen by its\n"
    "SOP class, as dump does), and lists every attribute of it that no container of that IOD\n"
    "holds: private attributes of other vendors, attributes of modules the IOD does not have,\n"
    "elements inside sequence items that the item does not know, and values that cannot be\n"
    "read as their attribute's type. Then it lists the values whose syntax or length their VR\n"
    "forbids (DA, TM, DT, UI, CS, AS, IS and DS), as a validator such as dcmpschk would reject\n"
    "them. Paths go through sequences and items as in roundtrip,\n"
    "e.g. (0070,0001)[0]/(0070,0009)[0]/(0070,0295)  # GraphicGroupID. refcntr roundtrip carries\n"
    "them across, inside items too, as long as their item is still there.\n"
    "\n"
    "Several files are checked in turn, each headed by ==> FILE <==. With --json the result is\n"
    "{\"file\": ..., \"iod\": ..., \"unheld\": [{\"path\": ..., \"keyword\": ...}], \"invalid\": [LINE, ...]}.\n"
    "\n"
    "Exit code: 0 when every attribute is held and valid, 1 when some are not (or a FILE cannot be read\n"
    "or is of another kind), 2 for a usage error; with several files, the worst of them.\n",
    check};

}  // namespace refcntr::cli
