// refcntr tree: the patients, studies, series and images of a media directory, by following
// the offsets that link its records.
#include <iostream>
#include <memory>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>

#include "CommandLine.h"
#include "Commands.h"
#include "DirectoryTree.h"
#include "InputFile.h"
#include "StoredObject.h"
#include "refcntr/directory/DirectoryEntities.h"

namespace refcntr::cli {

namespace {

// Where each record starts in the file. The containers store the links between records but
// not where a record was read from; DCMTK notes it for every item of (0004,1220) it parses.
std::vector<UINT32> recordOffsets(const std::string& path) {
    DcmFileFormat file;
    const OFCondition status = file.loadFile(path.c_str());
    if (status.bad()) throw Failure("cannot read '" + path + "': " + status.text());
    std::vector<UINT32> offsets;
    DcmSequenceOfItems* records = nullptr;
    if (file.getDataset()->findAndGetSequence(DCM_DirectoryRecordSequence, records).bad() || records == nullptr)
        return offsets;
    for (unsigned long i = 0; i < records->card(); ++i) {
        const auto* record = dynamic_cast<const DcmDirectoryRecord*>(records->getItem(i));
        if (record == nullptr) throw Failure("'" + path + "': item " + std::to_string(i) + " is not a directory record");
        offsets.push_back(record->getFileOffset());
    }
    return offsets;
}

int tree(const std::vector<std::string>& arguments) {
    const CommandArguments command(arguments, 1, {}, {});
    const std::string& path = command.operand(0);
    const auto data = readInputFile(path);
    const StoredObjectKind kind = storedObjectKind(*data);
    if (kind != StoredObjectKind::MediaDirectory) {
        throw Failure("'" + path + "' is not a media directory (" +
                      (isPresentationState(kind) ? "it is a " + std::string(kindName(kind)) : describeSOPClass(*data)) +
                      ")");
    }
    const std::unique_ptr<BasicDirectoryCompositeIOD> directory(BasicDirectoryCompositeIOD::create(*data));
    const DirectoryInformationModule& module = *directory->getDirectoryInformationEntity()->getDirectoryInformationModule();
    const unsigned recordCount = module.getDirectoryRecordSequenceElement().length();
    const std::vector<UINT32> offsets = recordOffsets(path);
    if (offsets.size() != recordCount)
        throw Failure("'" + path + "': DCMTK finds " + std::to_string(offsets.size()) + " directory records, refcntr " +
                      std::to_string(recordCount));

    DirectoryTree found{std::string(), 0};
    try {
        found = directoryTree(module, offsets);
    } catch (const Failure& error) {
        throw Failure("'" + path + "': " + error.what());
    }
    std::cout << found.text;
    std::cout.flush();
    if (!std::cout) throw Failure("cannot list '" + path + "': standard output failed");
    if (found.reached < recordCount) {
        const unsigned unreached = recordCount - found.reached;
        std::cerr << "refcntr: warning: '" << path << "': " << unreached << (unreached == 1 ? " record is" : " records are")
                  << " not linked from the root\n";
    }
    return exitSuccess;
}

}  // namespace

const Command treeCommand = {
    "tree", "refcntr tree DICOMDIR", "list the patients, studies, series and images of a directory",
    "Lists the records of a media directory as a tree, one record per line and two spaces\n"
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
    "A link that leads where no record starts, or back to a record already listed, is an\n"
    "error (exit code 1); records that no link reaches are counted in a warning.\n",
    tree};

}  // namespace refcntr::cli
