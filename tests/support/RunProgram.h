// Running a program of the build as a separate process and collecting what it printed.
#pragma once

#include <string>

#include "platform/TestFiles.h"

namespace refcntr::testfiles {

struct Outcome {
    int exitCode;
    std::string out;
    std::string err;
};

// Runs `program` (a path) with `arguments` (already quoted as needed) through the shell, its
// standard output and error captured in files of `scratch`.
inline Outcome runProgram(const std::string& program, const std::string& arguments, const ScratchDirectory& scratch) {
    const std::string out = scratch.File("stdout");
    const std::string err = scratch.File("stderr");
    const int code = runCommand(quoted(program) + " " + arguments + " >" + quoted(out) + " 2>" + quoted(err));
    return {code, readWholeFile(out), readWholeFile(err)};
}

// The refcntr tool of the build run with `arguments`, as runProgram runs a program.
inline Outcome runRefcntr(const std::string& arguments, const ScratchDirectory& scratch) {
    return runProgram(std::string(REFCNTR_BINARY_DIR) + "/tools/refcntr", arguments, scratch);
}

// The grayscale presentation state shipped with the project, as the build copies it.
inline std::string samplePath() {
    return std::string(REFCNTR_BINARY_DIR) + "/samples/grayscale-presentation-state.dcm";
}

inline bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace refcntr::testfiles
