// The arguments of one refcntr command, its exit codes and its two kinds of error.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace refcntr::cli {

constexpr int exitSuccess = 0;
constexpr int exitFailure = 1;  // bad input or a failed check
constexpr int exitUsage = 2;

// A command line that does not fit the command's usage; the message says what is wrong.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A command that could not be carried out: bad input or a failed check. The message names
// the file and the reason.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// True when one of the arguments is --help or -h.
bool asksForHelp(const std::vector<std::string>& arguments);

// The operands and options of a command. An argument that starts with "--" is an option;
// "--" alone ends the options. Options are given once, anywhere among the operands; valued
// options take the next argument as their value.
class CommandArguments {
public:
    // Throws UsageError for an unknown or repeated option, a valued option without a value,
    // or a number of operands other than `operandCount`.
    CommandArguments(const std::vector<std::string>& arguments, std::size_t operandCount,
                     const std::set<std::string>& flags, const std::set<std::string>& valuedOptions);

    // For a command that takes one file or more.
    static constexpr std::size_t oneOrMore = std::size_t(-1);

    const std::string& operand(std::size_t index) const { return itsOperands.at(index); }
    const std::vector<std::string>& operands() const { return itsOperands; }
    bool has(const std::string& flag) const { return itsFlags.count(flag) != 0; }
    std::optional<std::string> value(const std::string& option) const;

private:
    std::vector<std::string> itsOperands;
    std::set<std::string> itsFlags;
    std::map<std::string, std::string> itsValues;
};

// While alive, the warnings of this thread show `path` as `shown` (a copy of standard input as "-").
class ShownPath {
public:
    ShownPath(const std::string& path, const std::string& shown) : itsOuter(current) { current = {path, shown}; }
    ~ShownPath() { current = itsOuter; }
    // `path` as warnings show it.
    static const std::string& of(const std::string& path) { return path == current.first ? current.second : path; }

private:
    static thread_local std::pair<std::string, std::string> current;
    std::pair<std::string, std::string> itsOuter;
};

// Runs `each` on every operand in turn ("-" being standard input) and returns the worst exit code. With more than one
// file, each file's output is headed by "==> FILE <==", and a failure on one file is reported on standard error before
// the next file goes on.
int forEachFile(const CommandArguments& command, const std::function<int(const std::string&)>& each);

}  // namespace refcntr::cli
