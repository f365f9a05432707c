#include "files/FileList.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "files/Archive.h"
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

/// Lists what is named, and what is in it.
class Lister {
public:
    /// @param parent  What is left out of the names in what was given.
    void Add(const std::string& name, const std::filesystem::path& parent) {
        std::error_code ignored;
        if (std::filesystem::is_directory(name, ignored)) {
            Walk(name, parent, name);
        } else {
            files_.push_back({name, InsideOf(name, parent), {}});
        }
    }

    std::vector<ListedFile> Take() {
        // What was given first says what it is called.
        std::stable_sort(files_.begin(), files_.end());
        files_.erase(std::unique(files_.begin(), files_.end()), files_.end());
        return std::move(files_);
    }

private:
    static std::string InsideOf(const std::filesystem::path& name, const std::filesystem::path& parent) {
        return parent.empty() ? name.string() : name.lexically_relative(parent).string();
    }

    /// @param given  The folder that was named.
    void Walk(const std::filesystem::path& folder, const std::filesystem::path& parent, const std::string& given) {
        StopIfInterrupted();
        std::error_code error;
        for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
             entry.increment(error)) {
            std::error_code ignored;
            if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
                Walk(entry->path(), parent, given);
            } else if (entry->is_regular_file(ignored)) {
                files_.push_back({entry->path().string(), InsideOf(entry->path(), parent), {}, given});
            }
        }
        if (error) {
            files_.push_back({folder.string(), {}, error.message(), given});
        }
    }

    std::vector<ListedFile> files_;
};

}  // namespace

std::vector<std::string> ReadNames(const std::string& listName, char end) {
    if (listName == "-") {
        return SplitNames(std::cin, end);
    }
    std::error_code ignored;
    if (std::filesystem::is_directory(listName, ignored)) {
        // Opening one succeeds.
        RefuseFile(listName, std::strerror(EISDIR));
    }
    std::ifstream list(listName, std::ios::binary);
    if (!list) {
        RefuseFile(listName, std::strerror(errno));
    }
    return SplitNames(list, end);
}

std::vector<ListedFile> ListFiles(const std::vector<std::string>& paths, const std::vector<std::string>& listed) {
    Lister lister;
    for (const std::string& path : paths) {
        std::error_code ignored;
        const bool isLikeFolder = std::filesystem::is_directory(path, ignored) || IsArchive(path);
        const std::filesystem::path parent = std::filesystem::path(path).parent_path();
        lister.Add(path, isLikeFolder ? std::filesystem::path(path) : parent);
    }
    for (const std::string& name : listed) {
        lister.Add(name, {});
    }
    return lister.Take();
}

}  // namespace tal::talstore
