// refcntr: command-line access to DICOM files through the refcntr library.
#include <cstring>
#include <exception>
#include <iostream>
#include <string>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/oflog/oflog.h>

#include "DataSetPrinter.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"

namespace {

constexpr int exitSuccess = 0;
constexpr int exitFailure = 1;
constexpr int exitUsage = 2;

const char* const usageText =
    "usage: refcntr dump FILE\n"
    "       refcntr --help\n"
    "\n"
    "commands:\n"
    "  dump FILE   print every element of a DICOM file: tag, VR, value and keyword,\n"
    "              with sequence items indented below their sequence\n";

bool isHelp(const char* argument) { return std::strcmp(argument, "--help") == 0 || std::strcmp(argument, "-h") == 0; }

int usageError(const std::string& problem) {
    std::cerr << "refcntr: " << problem << "\n" << usageText;
    return exitUsage;
}

int dump(const std::string& path) {
    auto dataSet = refcntr::readDicomFile(path);
    refcntr::printDataSet(std::cout, *dataSet);
    std::cout.flush();
    return std::cout ? exitSuccess : exitFailure;
}

}  // namespace

int main(int argc, char** argv) {
    // The reasons DCMTK logs on its own are part of the messages this tool prints.
    OFLog::configure(OFLogger::FATAL_LOG_LEVEL);

    if (argc < 2) return usageError("no command given");
    const std::string command = argv[1];
    if (isHelp(argv[1])) {
        std::cout << usageText;
        return exitSuccess;
    }
    if (command != "dump") return usageError("unknown command '" + command + "'");
    if (argc == 3 && isHelp(argv[2])) {
        std::cout << usageText;
        return exitSuccess;
    }
    if (argc != 3) return usageError("dump needs exactly one FILE");

    try {
        return dump(argv[2]);
    } catch (const refcntr::ExceptionBase& error) {
        std::cerr << "refcntr: " << error.what() << '\n';
    } catch (const std::exception& error) {
        std::cerr << "refcntr: cannot dump '" << argv[2] << "': " << error.what() << '\n';
    }
    return exitFailure;
}
