#include "refcntr/platform/AtomicFile.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "refcntr/platform/Exceptions.h"

namespace refcntr {

namespace {

[[noreturn]] void failToWrite(const std::string& path, const std::string& reason) {
    throw RuntimeException("cannot write '" + path + "': " + reason);
}

// An empty file with a fresh name beside the destination, open for writing.
struct TemporaryFile {
    std::string name;
    int descriptor;
};

TemporaryFile createTemporaryFile(const std::string& path) {
    static std::atomic<unsigned> counter{0};
    const std::string::size_type slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string candidate = directory + "." + name + ".tmp" + std::to_string(getpid()) + "-" +
                                      std::to_string(counter.fetch_add(1));
        const int descriptor = ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0) return {candidate, descriptor};
        if (errno != EEXIST) failToWrite(path, errno == ENOENT ? "no such directory" : std::strerror(errno));
    }
    failToWrite(path, "cannot create a temporary file");
}

}  // namespace

void replaceFileAtomically(const std::string& path, const std::function<void(int descriptor)>& write) {
    const TemporaryFile temporary = createTemporaryFile(path);
    try {
        write(temporary.descriptor);
        if (::fsync(temporary.descriptor) != 0) failToWrite(path, std::string("cannot flush: ") + std::strerror(errno));
    } catch (...) {
        ::close(temporary.descriptor);
        std::remove(temporary.name.c_str());
        throw;
    }
    const bool closed = ::close(temporary.descriptor) == 0;
    if (!closed || std::rename(temporary.name.c_str(), path.c_str()) != 0) {
        const int error = errno;
        std::remove(temporary.name.c_str());
        failToWrite(path, std::strerror(error));
    }
}

}  // namespace refcntr
