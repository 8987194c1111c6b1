#include "CommandLine.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "ProgressLine.h"
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

namespace {

// Standard input, copied to a temporary file for the readers, which read files; messages name
// it "-" again.
class StandardInputCopy {
public:
    StandardInputCopy() {
        const char* directory = std::getenv("TMPDIR");
        std::string pattern = std::string(directory && *directory ? directory : "/tmp") + "/refcntr-stdin-XXXXXX";
        const int descriptor = ::mkstemp(pattern.data());
        if (descriptor < 0) throw Failure("cannot read '-': " + describeSystemError(errno));
        itsPath = pattern;
        char buffer[1 << 16];
        for (;;) {
            const ssize_t count = ::read(0, buffer, sizeof buffer);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) {
                const int error = errno;
                ::close(descriptor);
                throw Failure("cannot read '-': " + describeSystemError(error));
            }
            if (count == 0) break;
            for (ssize_t written = 0; written < count;) {
                const ssize_t now = ::write(descriptor, buffer + written, std::size_t(count - written));
                if (now < 0 && errno == EINTR) continue;
                if (now < 0) {
                    const int error = errno;
                    ::close(descriptor);
                    throw Failure("cannot read '-': " + describeSystemError(error));
                }
                written += now;
            }
        }
        ::close(descriptor);
    }
    ~StandardInputCopy() {
        if (!itsPath.empty()) std::remove(itsPath.c_str());
    }
    const std::string& path() const { return itsPath; }

private:
    std::string itsPath;
};

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

// Runs `each` on the file, or on a copy of standard input for "-", naming it "-" in messages.
int runOnFile(const std::string& operand, const std::function<int(const std::string&)>& each) {
    const ProgressLine progress("refcntr: '" + operand + "'");
    if (operand != "-") return each(operand);
    const StandardInputCopy input;
    const ShownPath shown(input.path(), "-");
    try {
        return each(input.path());
    } catch (const Failure& error) {
        throw Failure(replaced(error.what(), input.path(), "-"));
    } catch (const ExceptionBase& error) {
        throw Failure(replaced(error.what(), input.path(), "-"));
    }
}

}  // namespace

thread_local std::pair<std::string, std::string> ShownPath::current;

int forEachFile(const CommandArguments& command, const std::function<int(const std::string&)>& each) {
    const std::vector<std::string>& paths = command.operands();
    if (paths.size() == 1) return runOnFile(paths.front(), each);
    int worst = exitSuccess;
    for (std::size_t i = 0; i < paths.size(); ++i) {
        std::cout << (i ? "\n" : "") << "==> " << escaped(paths[i]) << " <==\n";
        try {
            worst = std::max(worst, runOnFile(paths[i], each));
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
