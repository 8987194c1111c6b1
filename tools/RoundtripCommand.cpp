// refcntr roundtrip: read a file into its containers, save them into the data set that was
// read and write it out, listing every element of the input that the written file lacks.
#include <iostream>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "CommandLine.h"
#include "Commands.h"
#include "DataSetDifference.h"
#include "InputFile.h"
#include "StoredObject.h"
#include "TerminalText.h"
#include "refcntr/directory/DirectoryFile.h"
#include "refcntr/factory/UnmodelledAttributes.h"
#include "refcntr/platform/AtomicFile.h"
#include "refcntr/platform/DicomFile.h"
#include "refcntr/platform/Exceptions.h"

namespace refcntr::cli {

namespace {

const char* const explicitLittleUID = "1.2.840.10008.1.2.1";
const char* const explicitBigUID = "1.2.840.10008.1.2.2";
const char* const implicitLittleUID = "1.2.840.10008.1.2";

TransferSyntax namedTransferSyntax(const std::string& name) {
    if (name == "explicit-le") return TransferSyntax::ExplicitLittle;
    if (name == "explicit-be") return TransferSyntax::ExplicitBig;
    if (name == "implicit-le") return TransferSyntax::ImplicitLittle;
    throw UsageError("unknown transfer syntax '" + name + "' (explicit-le, explicit-be or implicit-le)");
}

const char* transferSyntaxOption(TransferSyntax syntax) {
    switch (syntax) {
    case TransferSyntax::ExplicitBig: return "explicit-be";
    case TransferSyntax::ImplicitLittle: return "implicit-le";
    default: return "explicit-le";
    }
}

// The input's own: its compressed one when it holds encapsulated pixel data, else from its meta
// header, else from its byte order. Other syntaxes (deflated, or compressed ones without pixel
// data) are written as explicit VR little endian.
TransferSyntax inputTransferSyntax(const DICOMDataObject& data) {
    const VR* pixelData = data.GetVR(0x7FE0, 0x0010);
    if (pixelData != nullptr && pixelData->IsEncapsulated()) return TransferSyntax::Encapsulated;
    RWCString uid;
    if (data.GetString(0x0002, 0x0010, uid)) {
        if (uid == implicitLittleUID) return TransferSyntax::ImplicitLittle;
        if (uid == explicitBigUID) return TransferSyntax::ExplicitBig;
        if (uid == explicitLittleUID) return TransferSyntax::ExplicitLittle;
    }
    return data.GetEndian() == BigEndian ? TransferSyntax::ExplicitBig : TransferSyntax::ExplicitLittle;
}

std::string counted(std::size_t count, const char* noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

// Saves the containers over a copy of what was read, so that elements no container holds stay,
// and carries those inside items across.
void writeSaved(const DICOMDataObject& input, StoredObjectKind kind, const std::string& inPath, const std::string& path,
                TransferSyntax syntax) {
    DICOMDataObject result(input);
    try {
        createCompositeIOD(input)->save(result);
        carryUnmodelledAttributes(input, result);
    } catch (const std::exception& error) {
        throw Failure("cannot roundtrip '" + inPath + "' as a " + kindName(kind) + ": " + error.what());
    }
    writeDicomFile(path, result, syntax);
}

int roundtrip(const std::vector<std::string>& arguments) {
    const CommandArguments command(arguments, 2, {"--strict"}, {"--transfer-syntax"});
    const std::string& inPath = command.operand(0);
    const std::string& outPath = command.operand(1);
    const std::optional<std::string> syntaxName = command.value("--transfer-syntax");
    // Checked before the input is read; used only when given.
    const TransferSyntax chosenSyntax = syntaxName ? namedTransferSyntax(*syntaxName) : TransferSyntax::ExplicitLittle;

    std::vector<std::string> notes;
    std::vector<UINT32> recordOffsets;
    const auto input = readDicomFile(inPath, &notes, recordOffsets);
    // A directory is written through DirectoryFile, which lays its records out anew and sets
    // every offset that links them for the encoding written; its notes add the damaged links.
    std::unique_ptr<DirectoryFile> directory;
    if (storedObjectKind(*input) == StoredObjectKind::MediaDirectory)
        directory = DirectoryFile::read(inPath, *input, recordOffsets, notes);
    warnOfReadNotes(inPath, notes);
    const StoredObjectKind kind = containerKindFor(*input, "roundtrip", inPath);

    // The file written is read back before it replaces OUT, so that the check covers the file
    // as written; with --strict, OUT stays as it was when anything would be lost or changed.
    struct Refused {};
    const TransferSyntax syntax = syntaxName ? chosenSyntax : inputTransferSyntax(*input);
    std::vector<std::string> missing, changed;
    const ReplacementCheck check([&](const std::string& writtenFile) {
        std::unique_ptr<DICOMDataObject> written;
        try {
            written = readDicomFile(writtenFile);
        } catch (const std::exception& error) {
            throw Failure("cannot read back '" + outPath + "': " + error.what());
        }
        if (directory) std::cout << "record offsets recomputed for " << transferSyntaxOption(syntax) << '\n';
        Differences found = differences(*input, *written, [&directory](const MAttributeTag& tag) {
            // Group lengths and the transfer syntax follow the file written; a directory's offsets
            // are recomputed, as reported above.
            const UINT16 group = tag.GetGroup(), element = tag.GetElement();
            if (element == 0x0000 || (group == 0x0002 && element == 0x0010)) return true;
            return directory && group == 0x0004 &&
                   (element == 0x1200 || element == 0x1202 || element == 0x1400 || element == 0x1420);
        });
        missing = std::move(found.missing);
        changed = std::move(found.changed);
        for (const std::string& path : missing) std::cout << path << " missing\n";
        for (const std::string& path : changed) std::cout << path << " changed\n";
        std::cout << counted(missing.size(), "attribute") << " missing, " << changed.size() << " changed\n";
        std::cout.flush();
        if ((!missing.empty() || !changed.empty()) && command.has("--strict")) throw Refused{};
    });
    try {
        if (directory)
            directory->write(outPath, syntax);
        else
            writeSaved(*input, kind, inPath, outPath, syntax);
    } catch (const Refused&) {
        std::cerr << "refcntr: '" << escaped(outPath) << "' not written: " << counted(missing.size(), "attribute")
                  << " of '" << escaped(inPath) << "' would be lost and " << changed.size() << " changed\n";
        return exitFailure;
    } catch (const Failure&) {
        throw;
    } catch (const RuntimeException& error) {
        throw Failure(error.GetMessage());
    } catch (const std::exception& error) {
        throw Failure("cannot write '" + outPath + "': " + error.what());
    }
    if (!missing.empty() || !changed.empty()) {
        std::cerr << "refcntr: warning: '" << escaped(outPath) << "' lacks " << counted(missing.size(), "attribute")
                  << " of '" << escaped(inPath) << "' and changes " << changed.size() << "\n";
    }
    return exitSuccess;
}

}  // namespace

const Command roundtripCommand = {
    "roundtrip", "refcntr roundtrip IN OUT [--transfer-syntax explicit-le|explicit-be|implicit-le] [--strict]",
    "read into the containers, save and write, listing what was lost",
    "Reads IN, a media directory or a softcopy presentation state, into its containers, saves\n"
    "them back into the data set that was read (elements that no container holds are kept) and\n"
    "writes it to OUT, replacing OUT in one step; the transfer syntax is the input's unless\n"
    "given. A directory's records are laid out anew and every offset that links them is\n"
    "recomputed for the syntax written, as the report says. Containers rebuild sequences\n"
    "from their items, so elements inside sequences that no item holds are lost: every\n"
    "element of IN that OUT lacks is listed with its path through sequences and items, e.g.\n"
    "(0070,0001)[0]/(0070,0009)[1]/(0070,0295) missing, and every element whose value OUT\n"
    "changes (numbers compared by value, texts without their pad) as PATH changed, followed\n"
    "by the counts. Group lengths, the transfer syntax and a directory's offsets follow the\n"
    "file written and are not compared. With --strict, OUT is left as it was and the exit\n"
    "code is 1 when anything would be lost or changed.\n",
    roundtrip};

}  // namespace refcntr::cli
