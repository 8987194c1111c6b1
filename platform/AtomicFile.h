// Replacing a file so that no one ever sees it half written.
#pragma once

#include <functional>
#include <string>

namespace refcntr {

// Creates a temporary file beside `path` (with the permissions a new file gets), lets `write`
// fill it through its descriptor, flushes it to disk and renames it into place. On any failure,
// the exception of `write` included, the temporary file is removed and `path` is left as it
// was. Throws RuntimeException naming `path` and the reason.
//
// The data reach the disk before the name does, so whatever a crash or a power cut leaves at
// `path` is a whole file, the old one or the new one. The directory is not flushed as well:
// that would only make the new name last sooner, and cost as much again as writing a small file.
void replaceFileAtomically(const std::string& path, const std::function<void(int descriptor)>& write);

}  // namespace refcntr
