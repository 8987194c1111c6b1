// Replacing a file so that no one ever sees it half written.
#pragma once

#include <functional>
#include <string>

namespace refcntr {

// Writes the file at `path` through `write`, which fills a temporary file beside it through its
// descriptor; the temporary file is flushed to disk and renamed into place. On any failure, the
// exception of `write` included, the temporary file is removed and `path` is left as it was.
// Throws RuntimeException naming `path` and the reason.
// - The data reach the disk before the name does, so whatever a crash or a power cut leaves at
//   `path` is a whole file, the old one or the new one. The directory is not flushed as well:
//   that would only make the new name last sooner, at the cost of a second flush.
// - A symbolic link at `path` is followed: the file it leads to is replaced, and the link stays.
//   Anything else that is not a regular file (a directory, a FIFO, a device) is refused.
// - The replaced file's permission bits are kept, and its owner where the process may set it.
// - The temporary file is ".NAME.refcntr-tmp" (NAME cut short if the whole would be too long a
//   name), locked while it is written. One left behind by a write that was killed is removed by
//   the next write to the same path; a write still in progress is not disturbed, and the second
//   write fails.
void replaceFileAtomically(const std::string& path, const std::function<void(int descriptor)>& write);

// While it lives, every file this thread writes through replaceFileAtomically is handed to
// `check` (by the temporary file's name) after it is flushed and before it replaces its
// destination. If `check` throws, the destination is left as it was and the exception passes
// on. So a writer can read back what it wrote, and keep it only if it is right.
class ReplacementCheck {
public:
    explicit ReplacementCheck(std::function<void(const std::string& writtenFile)> check);
    ~ReplacementCheck();
    ReplacementCheck(const ReplacementCheck&) = delete;
    ReplacementCheck& operator=(const ReplacementCheck&) = delete;

private:
    friend void replaceFileAtomically(const std::string&, const std::function<void(int)>&);
    std::function<void(const std::string&)> itsCheck;
    ReplacementCheck* itsOuter;
};

// Removes the temporary files of the writes in progress. Safe to call from a signal handler:
// the CLI calls it on SIGTERM, SIGINT and SIGHUP.
void removeUnfinishedFiles();

}  // namespace refcntr
