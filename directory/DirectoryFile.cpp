// The directory file layer: reading with the record hierarchy resolved, editing it, and
// writing with every record offset computed.
#include "refcntr/directory/DirectoryFile.h"

#include "refcntr/directory/DirectoryEntities.h"
#include "refcntr/directory/DirectoryModules.h"
#include "refcntr/directory/DirectoryRecords.h"
#include "refcntr/platform/Exceptions.h"

namespace refcntr {

namespace {

[[noreturn]] void notImplementedYet() { throw RuntimeException("DirectoryFile: not implemented yet"); }

const std::vector<DirectoryFile::Record*> noRecords;

}  // namespace

DirectoryFile::DirectoryFile() = default;
DirectoryFile::~DirectoryFile() = default;

std::unique_ptr<DirectoryFile> DirectoryFile::read(const std::string& path) {
    std::vector<std::string> notes;
    return read(path, notes);
}

std::unique_ptr<DirectoryFile> DirectoryFile::read(const std::string&, std::vector<std::string>&) {
    notImplementedYet();
}

std::unique_ptr<DirectoryFile> DirectoryFile::create(const RWCString&) { notImplementedYet(); }

BasicDirectoryCompositeIOD& DirectoryFile::directory() { return *itsDirectory; }
const BasicDirectoryCompositeIOD& DirectoryFile::directory() const { return *itsDirectory; }

const std::vector<DirectoryFile::Record*>& DirectoryFile::roots() const { return itsRoots; }

const std::vector<DirectoryFile::Record*>& DirectoryFile::children(const Record& record) const {
    auto found = itsLinks.find(&record);
    return found == itsLinks.end() ? noRecords : found->second.children;
}

DirectoryFile::Record* DirectoryFile::parent(const Record& record) const {
    auto found = itsLinks.find(&record);
    return found == itsLinks.end() ? nullptr : found->second.parent;
}

void DirectoryFile::addRecord(Record* record, Record*) {
    delete record;
    notImplementedYet();
}

void DirectoryFile::removeRecord(Record*) { notImplementedYet(); }

void DirectoryFile::write(const std::string&, TransferSyntax) { notImplementedYet(); }

}  // namespace refcntr
