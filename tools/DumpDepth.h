// Cutting a container dump down to its first levels of nesting.
#pragma once

#include <string>

namespace refcntr::cli {

// The dump with at most `levels` levels of nesting shown (1: the top-level lines only). Each
// braced block that would open a level beyond is replaced by "{...}" at the end of the line
// that names it, keeping the comma that follows an item. A dump nests blocks in lines that
// hold only "{" and "}" (or "},"); values never span lines, as dumps escape line breaks.
std::string limitDumpDepth(const std::string& dump, unsigned levels);

}  // namespace refcntr::cli
