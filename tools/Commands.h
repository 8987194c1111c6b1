// The commands of refcntr. Each runs on the arguments after its name, prints its results on
// standard output and returns the exit code. It throws UsageError when the arguments do not
// fit its synopsis, and Failure or the library's exceptions (which name the file) when the
// input is bad or a check fails.
#pragma once

#include <string>
#include <vector>

namespace refcntr::cli {

struct Command {
    const char* name;
    const char* synopsis;  // "refcntr dump FILE [--raw]"
    const char* summary;   // one line for the overall usage
    const char* details;   // what --help prints below the synopsis
    int (*run)(const std::vector<std::string>& arguments);
};

extern const Command dumpCommand;
extern const Command roundtripCommand;
extern const Command appliesCommand;
extern const Command treeCommand;
extern const Command checkCommand;

}  // namespace refcntr::cli
