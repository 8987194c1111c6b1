// Writes fuzz_data_set seeds: each DICOM file given is read with readDicomFile and written as
// the interpreter's code (OUTPUT_DIRECTORY/<file name>.code), choosing the IOD of its SOP class.
#include <cstdio>
#include <fstream>
#include <string>

#include "DataSetCode.h"
#include "IODExercise.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: write_seeds OUTPUT_DIRECTORY DICOM_FILE...\n");
        return 2;
    }
    for (int i = 2; i < argc; ++i) {
        const std::string path = argv[i];
        const std::string name = path.substr(path.rfind('/') + 1);
        try {
            const auto data = refcntr::readDicomFile(path);
            std::string code = refcntr::fuzz::encodeDataSet(*data);
            code[0] = char(code[0] | int(refcntr::fuzz::iodOf(*data, refcntr::fuzz::IODChoice::Directory)) << 1);
            std::ofstream(std::string(argv[1]) + "/" + name + ".code", std::ios::binary) << code;
        } catch (const refcntr::RuntimeException& error) {
            std::fprintf(stderr, "write_seeds: %s\n", error.what());
            return 1;
        }
    }
    return 0;
}
