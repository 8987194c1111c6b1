// A file written beside its destination that replaces the destination only when committed.
#pragma once

#include <string>

namespace refcntr::cli {

class PendingFile {
public:
    // Creates an empty file with a fresh hidden name in the directory of `destination`.
    // Throws Failure naming `destination` when the directory does not allow it.
    explicit PendingFile(std::string destination);
    // Removes the file unless it was committed.
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    const std::string& path() const { return itsPath; }
    // Renames the file onto the destination, in one step.
    void commit();

private:
    std::string itsDestination;
    std::string itsPath;
    bool itsCommitted = false;
};

}  // namespace refcntr::cli
