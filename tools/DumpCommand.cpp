// refcntr dump: a directory or presentation state through its containers, anything else (or
// with --raw) element by element.
#include <iostream>

#include "CommandLine.h"
#include "Commands.h"
#include "DataSetPrinter.h"
#include "StoredObject.h"
#include "refcntr/platform/DicomFile.h"

namespace refcntr::cli {

namespace {

int dump(const std::vector<std::string>& arguments) {
    const CommandArguments command(arguments, 1, {"--raw"}, {});
    const std::string& path = command.operand(0);
    const auto data = readDicomFile(path);
    const StoredObjectKind kind = command.has("--raw") ? StoredObjectKind::Other : storedObjectKind(*data);
    if (kind == StoredObjectKind::Other) {
        printDataSet(std::cout, *data);
    } else {
        try {
            std::cout << createContainer(kind, *data)->toString(0) << '\n';
        } catch (const std::exception& error) {
            throw Failure("cannot dump '" + path + "' as a " + kindName(kind) + ": " + error.what());
        }
    }
    std::cout.flush();
    if (!std::cout) throw Failure("cannot dump '" + path + "': standard output failed");
    return exitSuccess;
}

}  // namespace

const Command dumpCommand = {
    "dump", "refcntr dump FILE [--raw]", "print a file: as its container tree when there is one",
    "Prints a DICOM file. A media directory (DICOMDIR) and a grayscale, color or pseudo-color\n"
    "softcopy presentation state are shown as their container tree; any other file, or any\n"
    "file with --raw, element by element: tag, VR, value and keyword, with sequence items\n"
    "indented below their sequence.\n",
    dump};

}  // namespace refcntr::cli
