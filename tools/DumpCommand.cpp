// refcntr dump: a directory or presentation state through its containers (all of them, one
// module, or the first levels), anything else (or with --raw) element by element.
#include <algorithm>
#include <charconv>
#include <iostream>
#include <optional>

#include "CommandLine.h"
#include "Commands.h"
#include "ContainerModules.h"
#include "DataSetPrinter.h"
#include "DumpDepth.h"
#include "InputFile.h"
#include "refcntr/core/DumpStream.h"
#include "StoredObject.h"
#include "TerminalText.h"
#include "refcntr/platform/JsonModel.h"

namespace refcntr::cli {

namespace {

unsigned levelCount(const std::string& text) {
    unsigned levels = 0;
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), levels);
    if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size() || levels < 1)
        throw UsageError("--depth needs a number of levels from 1 up, not '" + text + "'");
    return levels;
}

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

// Every element in the DICOM JSON model, texts in UTF-8.
void printJson(DICOMDataObject& data, const std::string& path) {
    if (!showTextsInUTF8(data, path))
        throw Failure("cannot dump '" + path + "' as JSON: its texts cannot be given in UTF-8");
    try {
        for (const MAttributeTag& tag : writeJsonModel(std::cout, data))
            std::cerr << "refcntr: warning: '" << escaped(ShownPath::of(path)) << "': " << tag.ToString()
                      << " holds compressed pixel data, which JSON holds only as a link; left out\n";
    } catch (const std::exception& error) {
        throw Failure("cannot dump '" + path + "' as JSON: " + error.what());
    }
}

int finish(const std::string& path) {
    std::cout.flush();
    if (!std::cout) throw Failure("cannot dump '" + path + "': standard output failed");
    return exitSuccess;
}

int dumpFile(const CommandArguments& command, const std::string& path) {
    const std::optional<std::string> depth = command.value("--depth");
    const std::optional<std::string> module = command.value("--module");
    if (command.has("--raw") && (depth || module))
        throw UsageError("--raw prints elements, not containers: it does not go with --depth or --module");
    if (command.has("--json") && (depth || module || command.has("--raw") || command.has("--stored-bytes")))
        throw UsageError(
            "--json prints every element, in UTF-8: it does not go with --depth, --module, --raw or "
            "--stored-bytes");
    const unsigned levels = depth ? levelCount(*depth) : 0;  // 0: every level
    if (module && !isModuleName(*module))
        throw UsageError("unknown module '" + *module + "' (a class name such as DisplayedAreaModule)");

    const auto data = readInputFile(path);
    if (command.has("--json")) {
        printJson(*data, path);
        return finish(path);
    }
    const bool utf8 = !command.has("--stored-bytes") && showTextsInUTF8(*data, path);
    // A container dump writes bytes from 0x80 up as octal escapes: UTF-8 text is shown as text.
    UTF8DumpOutput utf8Output(std::cout);
    std::ostream dumpOutput(&utf8Output);
    std::ostream& out = utf8 ? dumpOutput : std::cout;
    const StoredObjectKind kind = command.has("--raw") ? StoredObjectKind::Other : storedObjectKind(*data);
    if (kind == StoredObjectKind::Other && (levels || module)) {
        throw Failure("'" + path + "' has no containers to show (" + describeSOPClass(*data) +
                      "): --depth and --module apply to media directories and presentation states");
    }
    if (module) {
        const std::vector<std::string> names = moduleNamesOf(kind);
        if (std::find(names.begin(), names.end(), *module) == names.end())
            throw Failure("'" + path + "' is a " + kindName(kind) + ", which has no " + *module + "; its modules are " +
                          joined(names));
    }

    if (kind == StoredObjectKind::Other) {
        printDataSet(std::cout, *data);
    } else {
        try {
            if (module || levels) {
                const RWCString text = module ? dumpModule(*module, *data) : createCompositeIOD(*data)->toString(0);
                out << (levels ? limitDumpDepth(text, levels) : text) << '\n';
            } else {
                // The whole tree is streamed: its text can be hundreds of times the file's size.
                writeDump(out, *createCompositeIOD(*data), 0);
                out << '\n';
            }
        } catch (const std::exception& error) {
            throw Failure("cannot dump '" + path + "' as a " + kindName(kind) + ": " + error.what());
        }
    }
    return finish(path);
}

int dump(const std::vector<std::string>& arguments) {
    const CommandArguments command(arguments, CommandArguments::oneOrMore, {"--raw", "--stored-bytes", "--json"},
                                   {"--depth", "--module"});
    return forEachFile(command, [&command](const std::string& path) { return dumpFile(command, path); });
}

}  // namespace

const Command dumpCommand = {
    "dump", "refcntr dump FILE... [--depth N] [--module NAME] [--raw] [--stored-bytes] [--json]",
    "print a file: as its container tree when there is one",
    "Prints a DICOM file. A media directory (DICOMDIR) and a grayscale, color or pseudo-color\n"
    "softcopy presentation state are shown as their container tree; any other file, or any\n"
    "file with --raw, element by element: tag, VR, value and keyword, with sequence items\n"
    "indented below their sequence.\n"
    "\n"
    "  --depth N      show N levels of the tree: 1 the entities, 2 also their modules, 3 also\n"
    "                 the modules' attributes, and so on; a deeper block is shown as {...}\n"
    "  --module NAME  show only that module, by class name (DisplayedAreaModule,\n"
    "                 GeneralStudyModule, DirectoryInformationModule, ...); the levels of\n"
    "                 --depth then count from the module's attributes\n"
    "  --raw          element by element, whatever the file\n"
    "  --stored-bytes texts as the file stores them, in its character set; without it they are\n"
    "                 shown in UTF-8 (and Specific Character Set then reads ISO_IR 192)\n"
    "  --json         every element but the file meta group as one object of the DICOM JSON\n"
    "                 model, as DCMTK's dcm2json writes it: texts in UTF-8, binary values in\n"
    "                 base64; compressed pixel data are left out with a warning\n",
    dump};

}  // namespace refcntr::cli
