#include "PendingFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include <unistd.h>

#include "CommandLine.h"

namespace refcntr::cli {

namespace {

std::string reasonFor(int error) {
    return error == ENOENT ? std::string("no such directory") : std::string(std::strerror(error));
}

}  // namespace

PendingFile::PendingFile(std::string destination) : itsDestination(std::move(destination)) {
    const std::string::size_type slash = itsDestination.rfind('/');
    const std::string directory = slash == std::string::npos ? std::string() : itsDestination.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? itsDestination : itsDestination.substr(slash + 1);
    std::string pattern = directory + "." + name + ".pending-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    const int descriptor = ::mkstemp(buffer.data());
    if (descriptor < 0) throw Failure("cannot write '" + itsDestination + "': " + reasonFor(errno));
    ::close(descriptor);
    itsPath = buffer.data();
}

PendingFile::~PendingFile() {
    if (!itsCommitted) std::remove(itsPath.c_str());
}

void PendingFile::commit() {
    if (std::rename(itsPath.c_str(), itsDestination.c_str()) != 0)
        throw Failure("cannot write '" + itsDestination + "': " + std::strerror(errno));
    itsCommitted = true;
}

}  // namespace refcntr::cli
