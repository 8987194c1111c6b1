// What a failed read or write leaves: the message it throws, and the files in its directory.
#pragma once

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "refcntr/platform/Exceptions.h"

namespace refcntr::testfiles {

// The message of the RuntimeException that `action` throws, or "" when it throws none.
inline std::string failureOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const RuntimeException& error) {
        return error.what();
    }
    return "";
}

// The names of the files in the directory, sorted.
inline std::vector<std::string> namesIn(const std::filesystem::path& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace refcntr::testfiles
