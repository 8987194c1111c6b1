// refcntr tree: the patients, studies, series and images of a media directory, by following
// the offsets that link its records.
#include <iostream>
#include <memory>

#include "CommandLine.h"
#include "Commands.h"
#include "DirectoryTree.h"
#include "InputFile.h"
#include "refcntr/directory/DirectoryFile.h"
#include "refcntr/platform/DicomFile.h"

namespace refcntr::cli {

namespace {

int listTree(const std::string& path, bool storedBytes, bool json) {
    std::vector<std::string> notes;
    std::unique_ptr<DirectoryFile> directory;
    try {
        std::vector<UINT32> recordOffsets;
        const std::unique_ptr<DICOMDataObject> data = readDicomFile(path, &notes, recordOffsets);
        warnOfReadNotes(path, notes);
        notes.clear();
        if (!storedBytes) showTextsInUTF8(*data, path);
        directory = DirectoryFile::read(path, *data, recordOffsets, notes);
    } catch (const std::exception& error) {
        throw Failure(error.what());
    }
    warnOfReadNotes(path, notes);
    if (json)
        printDirectoryTreeAsJson(*directory, std::cout);
    else
        printDirectoryTree(*directory, std::cout);
    std::cout.flush();
    if (!std::cout) throw Failure("cannot list '" + path + "': standard output failed");
    return exitSuccess;
}

int tree(const std::vector<std::string>& arguments) {
    const CommandArguments command(arguments, CommandArguments::oneOrMore, {"--stored-bytes", "--json"}, {});
    const bool storedBytes = command.has("--stored-bytes"), json = command.has("--json");
    return forEachFile(command,
                       [storedBytes, json](const std::string& path) { return listTree(path, storedBytes, json); });
}

}  // namespace

const Command treeCommand = {
    "tree", "refcntr tree DICOMDIR... [--stored-bytes] [--json]",
    "list the patients, studies, series and images of a directory",
    "Lists the records of each media directory as a tree, one record per line and two spaces\n"
    "deeper per level: patients, their studies, their series, their images (and other\n"
    "records), each with the keys that tell it apart, for example\n"
    "\n"
    "  PATIENT Doe^Jane [P1]\n"
    "    STUDY 20240102 S1 \"CT CHEST\" [2.25.101]\n"
    "      SERIES OT 1 [2.25.1011]\n"
    "        IMAGE 1 IMAGES/IM1 [2.25.91]\n"
    "\n"
    "The hierarchy is found by following the offsets that link the records: from the root's\n"
    "first record, each record's next record at its level and first record one level down.\n"
    "A damaged link (one that leads where no record starts, or back to a record already\n"
    "reached) is reported in a warning, and the records it would lead to are not listed.\n"
    "\n"
    "  --stored-bytes texts as the file stores them, in its character set; without it they are\n"
    "                 shown in UTF-8\n"
    "  --json         the hierarchy as JSON: [{\"record\": LINE, \"children\": [...]}, ...]\n",
    tree};

}  // namespace refcntr::cli
