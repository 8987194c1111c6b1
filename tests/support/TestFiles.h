// Scratch directories, whole files, and programs of the build run as separate processes.
#pragma once

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace refcntr::testfiles {

// A fresh directory under the system's temporary directory, removed with its content.
class ScratchDirectory {
public:
    ScratchDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "refcntr-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) std::abort();
        itsPath = pattern;
    }
    ~ScratchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(itsPath, ignored);
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    std::string File(const std::string& name) const { return (itsPath / name).string(); }
    const std::filesystem::path& Path() const { return itsPath; }

private:
    std::filesystem::path itsPath;
};

// Runs a shell command and returns its exit code (-1 when it did not exit normally).
inline int runCommand(const std::string& command) {
    int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The DICOM files of a folder of pydicom's data (test_files, charset_files), sorted; none when
// pydicom is not installed.
inline std::vector<std::filesystem::path> pydicomFiles(const std::string& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code missing;
    for (const auto& entry :
         std::filesystem::directory_iterator("/usr/lib/python3/dist-packages/pydicom/data/" + folder, missing))
        if (entry.path().extension() == ".dcm") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

inline std::string quoted(const std::string& text) {
    std::string result = "'";
    for (char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

inline bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

inline std::string readWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeWholeFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

struct Outcome {
    int exitCode;
    std::string out;
    std::string err;
};

// Runs `program` (a path) with `arguments` (already quoted as needed) through the shell, its
// standard output and error captured in files of `scratch`.
inline Outcome runProgram(const std::string& program, const std::string& arguments, const ScratchDirectory& scratch) {
    const std::string out = scratch.File("stdout");
    const std::string err = scratch.File("stderr");
    const int code = runCommand(quoted(program) + " " + arguments + " >" + quoted(out) + " 2>" + quoted(err));
    return {code, readWholeFile(out), readWholeFile(err)};
}

// The refcntr tool of the build run with `arguments`, as runProgram runs a program.
inline Outcome runRefcntr(const std::string& arguments, const ScratchDirectory& scratch) {
    return runProgram(std::string(REFCNTR_BINARY_DIR) + "/tools/refcntr", arguments, scratch);
}

// The grayscale presentation state shipped with the project, as the build copies it.
inline std::string samplePath() {
    return std::string(REFCNTR_BINARY_DIR) + "/samples/grayscale-presentation-state.dcm";
}

}  // namespace refcntr::testfiles
