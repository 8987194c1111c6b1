// refcntr: command-line access to DICOM files through the refcntr library.
#include <csignal>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcuid.h>
#include <dcmtk/oflog/oflog.h>

#include "CommandLine.h"
#include "Commands.h"
#include "TerminalText.h"
#include "refcntr/Version.h"
#include "refcntr/platform/AtomicFile.h"
#include "refcntr/platform/Exceptions.h"

namespace {

using refcntr::cli::Command;

const Command* const commands[] = {&refcntr::cli::dumpCommand, &refcntr::cli::treeCommand, &refcntr::cli::checkCommand,
                                   &refcntr::cli::roundtripCommand, &refcntr::cli::appliesCommand};

std::string overallUsage() {
    std::string text;
    for (const Command* command : commands)
        text += (text.empty() ? "usage: " : "       ") + std::string(command->synopsis) + "\n";
    text += "       refcntr COMMAND --help\n\ncommands:\n";
    for (const Command* command : commands) {
        const std::string name = command->name;
        text += "  " + name + std::string(11 - name.size(), ' ') + command->summary + "\n";
    }
    text += "\n  --version  print the versions of refcntr and DCMTK\n";
    text += "\nexit codes: 0 done, 1 bad input or a failed check, 2 usage error\n";
    return text;
}

std::string commandUsage(const Command& command) {
    return "usage: " + std::string(command.synopsis) + "\n\n" + command.details;
}

// A write interrupted by the user, the terminal or a shutdown leaves no temporary file: it is
// removed, then the signal does what it would have done.
extern "C" void removeUnfinishedFilesAndStop(int signalNumber) {
    refcntr::removeUnfinishedFiles();
    std::signal(signalNumber, SIG_DFL);
    std::raise(signalNumber);
}

int usageError(const std::string& problem, const std::string& usage) {
    std::cerr << "refcntr: " << refcntr::cli::escaped(problem) << "\n" << usage;
    return refcntr::cli::exitUsage;
}

}  // namespace

int main(int argc, char** argv) {
    // The reasons DCMTK logs on its own are part of the messages this tool prints.
    OFLog::configure(OFLogger::FATAL_LOG_LEVEL);
    for (int signalNumber : {SIGTERM, SIGINT, SIGHUP}) std::signal(signalNumber, removeUnfinishedFilesAndStop);

    if (argc < 2) return usageError("no command given", overallUsage());
    const std::string name = argv[1];
    if (name == "--help" || name == "-h") {
        std::cout << overallUsage();
        return refcntr::cli::exitSuccess;
    }
    if (name == "--version") {
        std::cout << "refcntr " << REFCNTR_VERSION << " (DCMTK " << OFFIS_DCMTK_VERSION_STRING << ")\n";
        return refcntr::cli::exitSuccess;
    }
    const Command* command = nullptr;
    for (const Command* candidate : commands)
        if (name == candidate->name) command = candidate;
    if (command == nullptr) return usageError("unknown command '" + name + "'", overallUsage());

    const std::vector<std::string> arguments(argv + 2, argv + argc);
    if (refcntr::cli::asksForHelp(arguments)) {
        std::cout << commandUsage(*command);
        return refcntr::cli::exitSuccess;
    }
    try {
        return command->run(arguments);
    } catch (const refcntr::cli::UsageError& error) {
        return usageError(error.what(), commandUsage(*command));
    } catch (const refcntr::cli::Failure& error) {
        std::cerr << "refcntr: " << refcntr::cli::escaped(error.what()) << '\n';
    } catch (const refcntr::ExceptionBase& error) {
        std::cerr << "refcntr: " << refcntr::cli::escaped(error.what()) << '\n';
    } catch (const std::exception& error) {
        std::cerr << "refcntr: " << name << " failed: " << refcntr::cli::escaped(error.what()) << '\n';
    }
    return refcntr::cli::exitFailure;
}
