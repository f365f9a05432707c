#include "files/FileList.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "files/InputError.h"
#include "files/Interrupt.h"

namespace tal::talstore {

namespace {

std::vector<std::string> SplitNames(std::istream& stream, char end) {
    std::vector<std::string> names;
    for (std::string name; std::getline(stream, name, end);) {
        StopIfInterrupted();
        if (!name.empty()) {
            names.push_back(std::move(name));
        }
    }
    return names;
}

void WalkFolder(const std::filesystem::path& folder, std::vector<ListedFile>& files) {
    StopIfInterrupted();
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code ignored;
        if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
            WalkFolder(entry->path(), files);
        } else if (entry->is_regular_file(ignored)) {
            files.push_back({entry->path().string(), {}});
        }
    }
    if (error) {
        files.push_back({folder.string(), error.message()});
    }
}

}  // namespace

std::vector<std::string> ReadNames(const std::string& listName, char end) {
    if (listName == "-") {
        return SplitNames(std::cin, end);
    }
    std::ifstream list(listName, std::ios::binary);
    if (!list) {
        RefuseFile(listName, std::strerror(errno));
    }
    return SplitNames(list, end);
}

std::vector<ListedFile> ListFiles(const std::vector<std::string>& names) {
    std::vector<ListedFile> files;
    for (const std::string& name : names) {
        std::error_code ignored;
        if (std::filesystem::is_directory(name, ignored)) {
            WalkFolder(name, files);
        } else {
            files.push_back({name, {}});
        }
    }
    std::sort(files.begin(), files.end());
    files.erase(std::unique(files.begin(), files.end()), files.end());
    return files;
}

}  // namespace tal::talstore
