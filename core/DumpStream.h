// Container dumps written to a stream as they are made, so that the text of a large tree (a
// directory of 100,000 records dumps to 400 MB) never has to be held whole.
#pragma once

#include <ostream>

#include "refcntr/platform/Types.h"

namespace refcntr {

class PSChangeHandler;

// Writes container.toString(indent) to `out`: every dump that the containers build on this
// thread meanwhile goes to `out` piece by piece, before each nested dump and at its end.
void writeDump(std::ostream& out, const PSChangeHandler& container, int indent);

// For the builders of dumps: writes `text` to the stream of the writeDump running on this
// thread, if any, and empties it; without one, leaves `text` as it is.
void flushDumpText(RWCString& text);

}  // namespace refcntr
