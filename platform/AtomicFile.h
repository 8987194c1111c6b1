// Replacing a file so that no one ever sees it half written.
#pragma once

#include <functional>
#include <string>

namespace refcntr {

// Creates a temporary file beside `path` (with the permissions a new file gets), lets `write`
// fill it through its descriptor, flushes it to disk, renames it into place and flushes the
// directory. On any failure, the exception of `write` included, the temporary file is removed
// and `path` is left as it was. Throws RuntimeException naming `path` and the reason.
void replaceFileAtomically(const std::string& path, const std::function<void(int descriptor)>& write);

}  // namespace refcntr
