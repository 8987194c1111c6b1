#include "CommandLine.h"

#include <algorithm>
#include <iostream>

#include "TerminalText.h"
#include "refcntr/platform/Exceptions.h"

namespace refcntr::cli {

bool asksForHelp(const std::vector<std::string>& arguments) {
    for (const std::string& argument : arguments) {
        if (argument == "--") return false;
        if (argument == "--help" || argument == "-h") return true;
    }
    return false;
}

CommandArguments::CommandArguments(const std::vector<std::string>& arguments, std::size_t operandCount,
                                   const std::set<std::string>& flags, const std::set<std::string>& valuedOptions) {
    bool optionsEnded = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (optionsEnded || argument.size() < 2 || argument.compare(0, 2, "--") != 0) {
            itsOperands.push_back(argument);
            continue;
        }
        if (argument == "--") {
            optionsEnded = true;
            continue;
        }
        if (flags.count(argument) != 0) {
            if (!itsFlags.insert(argument).second) throw UsageError(argument + " given twice");
            continue;
        }
        if (valuedOptions.count(argument) == 0) throw UsageError("unknown option " + argument);
        if (i + 1 == arguments.size()) throw UsageError(argument + " needs a value");
        if (!itsValues.emplace(argument, arguments[++i]).second) throw UsageError(argument + " given twice");
    }
    if (operandCount == oneOrMore) {
        if (itsOperands.empty()) throw UsageError("expected 1 or more files, got 0");
    } else if (itsOperands.size() != operandCount) {
        throw UsageError("expected " + std::to_string(operandCount) + (operandCount == 1 ? " file" : " files") +
                         ", got " + std::to_string(itsOperands.size()));
    }
}

std::optional<std::string> CommandArguments::value(const std::string& option) const {
    auto found = itsValues.find(option);
    if (found == itsValues.end()) return std::nullopt;
    return found->second;
}

int forEachFile(const CommandArguments& command, const std::function<int(const std::string&)>& each) {
    const std::vector<std::string>& paths = command.operands();
    if (paths.size() == 1) return each(paths.front());
    int worst = exitSuccess;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        std::cout << (i ? "\n" : "") << "==> " << escaped(paths[i]) << " <==\n";
        try {
            worst = std::max(worst, each(paths[i]));
        } catch (const Failure& error) {
            std::cout.flush();
            std::cerr << "refcntr: " << escaped(error.what()) << '\n';
            worst = exitFailure;
        } catch (const ExceptionBase& error) {
            std::cout.flush();
            std::cerr << "refcntr: " << escaped(error.what()) << '\n';
            worst = exitFailure;
        }
    }
    return worst;
}

}  // namespace refcntr::cli
