#include "refcntr/platform/AtomicFile.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "refcntr/platform/Exceptions.h"

namespace refcntr {

namespace {

[[noreturn]] void failToWrite(const std::string& path, const std::string& reason) {
    throw RuntimeException("cannot write '" + path + "': " + reason);
}

// The names of the temporary files being written, for removeUnfinishedFiles: fixed slots, so
// that a signal handler can read them without taking a lock or allocating.
constexpr int slotCount = 16;
char unfinishedNames[slotCount][PATH_MAX];
std::atomic<bool> slotUsed[slotCount];

int claimSlot(const std::string& name) {
    if (name.size() >= PATH_MAX) return -1;
    for (int slot = 0; slot < slotCount; ++slot) {
        bool expected = false;
        if (!slotUsed[slot].load() && slotUsed[slot].compare_exchange_strong(expected, true)) {
            std::memcpy(unfinishedNames[slot], name.c_str(), name.size() + 1);
            return slot;
        }
    }
    return -1;
}

void releaseSlot(int slot) {
    if (slot >= 0) slotUsed[slot].store(false);
}

thread_local ReplacementCheck* currentCheck = nullptr;

// The file a write replaces: `path`, or where the symbolic link at `path` leads.
struct Destination {
    std::string path;
    bool exists = false;
    struct stat status {};
};

Destination destinationOf(const std::string& path) {
    Destination destination{path};
    struct stat status;
    if (::lstat(path.c_str(), &status) != 0) {
        if (errno != ENOENT) failToWrite(path, describeSystemError(errno));
        return destination;
    }
    if (S_ISLNK(status.st_mode)) {
        char* resolved = ::realpath(path.c_str(), nullptr);
        if (resolved == nullptr) failToWrite(path, "it is a symbolic link to nothing that can be written");
        destination.path = resolved;
        std::free(resolved);
        if (::stat(destination.path.c_str(), &status) != 0) {
            if (errno != ENOENT) failToWrite(path, describeSystemError(errno));
            return destination;
        }
    }
    if (!S_ISREG(status.st_mode)) failToWrite(path, "it is not a regular file");
    destination.exists = true;
    destination.status = status;
    return destination;
}

// The one temporary file of a destination: ".NAME.refcntr-tmp" beside it, with NAME cut short
// where the whole would pass the file system's limit on a name.
std::string temporaryNameOf(const std::string& path) {
    const std::string::size_type slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    static const std::string suffix = ".refcntr-tmp";
    long longest = ::pathconf(directory.empty() ? "." : directory.c_str(), _PC_NAME_MAX);
    if (longest <= 0) longest = 255;
    if (name.size() + 1 + suffix.size() > std::size_t(longest)) name.resize(std::size_t(longest) - 1 - suffix.size());
    return directory + "." + name + suffix;
}

// Creates the temporary file, after removing one left by a write that died: a live write holds
// a lock on it. A file that replaces another is created readable by its owner only until it
// gets the replaced file's permissions; a new one gets those of any new file.
int openTemporaryFile(const std::string& name, const Destination& destination, const std::string& path) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        const int descriptor = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                                      destination.exists ? 0600 : 0666);
        if (descriptor >= 0) {
            if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0) return descriptor;
            ::close(descriptor);
            failToWrite(path, "another write to it is in progress");
        }
        if (errno != EEXIST) failToWrite(path, errno == ENOENT ? "no such directory" : describeSystemError(errno));
        const int left = ::open(name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
        if (left < 0) continue;
        const bool stale = ::flock(left, LOCK_EX | LOCK_NB) == 0;
        if (stale) ::unlink(name.c_str());
        ::close(left);
        if (!stale) failToWrite(path, "another write to it is in progress");
    }
    failToWrite(path, "cannot create the temporary file " + name);
}

// The replaced file's permissions, and its owner where the process may set it.
void keepPermissions(int descriptor, const Destination& destination, const std::string& path) {
    if (!destination.exists) return;
    if (destination.status.st_uid != ::geteuid() || destination.status.st_gid != ::getegid())
        (void)::fchown(descriptor, destination.status.st_uid, destination.status.st_gid);
    if (::fchmod(descriptor, destination.status.st_mode & 07777) != 0) failToWrite(path, describeSystemError(errno));
}

}  // namespace

void replaceFileAtomically(const std::string& path, const std::function<void(int descriptor)>& write) {
    const Destination destination = destinationOf(path);
    const std::string temporary = temporaryNameOf(destination.path);
    const int descriptor = openTemporaryFile(temporary, destination, path);
    const int slot = claimSlot(temporary);
    try {
        write(descriptor);
        keepPermissions(descriptor, destination, path);
        if (::fsync(descriptor) != 0) failToWrite(path, "cannot flush: " + describeSystemError(errno));
        if (currentCheck != nullptr) currentCheck->itsCheck(temporary);
        // Renamed while still locked, so that no other write can take the file over meanwhile.
        if (std::rename(temporary.c_str(), destination.path.c_str()) != 0)
            failToWrite(path, describeSystemError(errno));
    } catch (...) {
        std::remove(temporary.c_str());
        ::close(descriptor);
        releaseSlot(slot);
        throw;
    }
    releaseSlot(slot);
    if (::close(descriptor) != 0) failToWrite(path, describeSystemError(errno));
}

ReplacementCheck::ReplacementCheck(std::function<void(const std::string& writtenFile)> check)
    : itsCheck(std::move(check)),
      itsOuter(currentCheck) {
    currentCheck = this;
}

ReplacementCheck::~ReplacementCheck() { currentCheck = itsOuter; }

void removeUnfinishedFiles() {
    for (int slot = 0; slot < slotCount; ++slot)
        if (slotUsed[slot].load()) ::unlink(unfinishedNames[slot]);
}

}  // namespace refcntr
