#include "refcntr/core/DumpStream.h"

#include "refcntr/core/PSChangeHandler.h"

namespace refcntr {

namespace {
thread_local std::ostream* dumpStream = nullptr;
}

void writeDump(std::ostream& out, const PSChangeHandler& container, int indent) {
    struct Streaming {
        std::ostream* outer;
        explicit Streaming(std::ostream& out) : outer(dumpStream) { dumpStream = &out; }
        ~Streaming() { dumpStream = outer; }
    } streaming(out);
    const RWCString rest = container.toString(indent);
    out << rest;
}

void flushDumpText(RWCString& text) {
    if (dumpStream == nullptr || text.empty()) return;
    dumpStream->write(text.data(), std::streamsize(text.size()));
    text.clear();
}

}  // namespace refcntr
