// The input is read as a media directory (DICOMDIR) through DirectoryFile, written back, and
// read again: the file written reads without a note about its links and holds the same records
// in the same hierarchy. A refused input must be refused with the file's
// name in the message. The transfer syntax written is chosen by the input's size.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/oflog/oflog.h>

#include "refcntr/directory/DirectoryFile.h"
#include "refcntr/directory/DirectoryRecords.h"
#include "refcntr/platform/Exceptions.h"

using namespace refcntr;

namespace {

std::string inputFile, writtenFile;

[[noreturn]] void fail(const std::string& message) {
    std::fprintf(stderr, "fuzz invariant broken: %s\n", message.c_str());
    std::abort();
}

void writeInput(const uint8_t* bytes, size_t size) {
    std::FILE* file = std::fopen(inputFile.c_str(), "wb");
    if (!file) std::abort();
    if (size && std::fwrite(bytes, 1, size, file) != size) std::abort();
    std::fclose(file);
}

// The hierarchy as text: each record's type and referenced instance, its children in braces.
void describe(const DirectoryFile& directory, const std::vector<DirectoryFile::Record*>& records, std::string& out) {
    for (const DirectoryFile::Record* record : records) {
        out += record->getDirectoryRecordTypeElement();
        out += ':';
        // DCMTK removes white space from a UID when it reads one (with a note), and the NULs
        // (a UID's padding) among white space at its end: a UID stored under another VR keeps
        // them until the file written is read again.
        std::string uid = record->getReferencedSOPInstanceUIDInFileElement();
        while (!uid.empty() && (uid.back() == '\0' || uid.back() == ' ' || (uid.back() >= '\t' && uid.back() <= '\r')))
            uid.pop_back();
        for (char c : uid)
            if (c != ' ' && (c < '\t' || c > '\r')) out += c;
        const auto& children = directory.children(*record);
        if (!children.empty()) {
            out += '{';
            describe(directory, children, out);
            out += '}';
        }
        out += ';';
    }
}

// The hierarchy with every byte outside printable ASCII as \xHH, so that a report shows it.
std::string hierarchyOf(const DirectoryFile& directory) {
    std::string out, shown;
    describe(directory, directory.roots(), out);
    for (unsigned char c : out) {
        char escaped[5];
        std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
        shown += c >= 0x20 && c < 0x7F ? std::string(1, char(c)) : std::string(escaped);
    }
    return shown;
}

bool namesFile(const RuntimeException& error, const std::string& path) {
    return std::string(error.what()).find(path) != std::string::npos;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    const char* directory = std::getenv("TMPDIR");
    const std::string stem = std::string(directory && *directory ? directory : "/tmp") + "/refcntr-fuzz-directory-" +
                             std::to_string(::getpid());
    inputFile = stem + "-in";
    writtenFile = stem + "-out";
    std::atexit([] {
        std::remove(inputFile.c_str());
        std::remove(writtenFile.c_str());
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    writeInput(bytes, size);
    std::unique_ptr<DirectoryFile> first;
    std::vector<std::string> notes;
    try {
        first = DirectoryFile::read(inputFile, notes);
    } catch (const RuntimeException& error) {
        if (!namesFile(error, inputFile)) fail(std::string("a refusal does not name the file: ") + error.what());
        return 0;
    }
    const TransferSyntax syntaxes[] = {TransferSyntax::ExplicitLittle, TransferSyntax::ExplicitBig,
                                       TransferSyntax::ImplicitLittle};
    try {
        first->write(writtenFile, syntaxes[size % 3]);
    } catch (const RuntimeException& error) {
        if (!namesFile(error, writtenFile)) fail(std::string("a failed write does not name the file: ") + error.what());
        return 0;
    }
    std::vector<std::string> secondNotes;
    std::unique_ptr<DirectoryFile> second;
    try {
        second = DirectoryFile::read(writtenFile, secondNotes);
    } catch (const RuntimeException& error) {
        fail(std::string("the directory written cannot be read: ") + error.what());
    }
    for (const std::string& note : secondNotes)
        if (note.find("link") != std::string::npos || note.find("no link reaches") != std::string::npos)
            fail("the directory written has a damaged link: " + note);
    if (hierarchyOf(*first) != hierarchyOf(*second))
        fail("the records are in another hierarchy after writing:\n" + hierarchyOf(*first) + "\n" +
             hierarchyOf(*second));
    return 0;
}
