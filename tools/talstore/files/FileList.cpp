#include "files/FileList.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>

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
    void Add(const std::string& name, const std::string& parent) {
        std::error_code ignored;
        if (std::filesystem::is_directory(name, ignored)) {
            Walk(name, std::make_shared<const GivenPlace>(GivenPlace{parent, name}));
        } else {
            if (named_ == nullptr || named_->parent != parent) {
                named_ = std::make_shared<const GivenPlace>(GivenPlace{parent, {}});
            }
            files_.push_back({name, {}, named_});
        }
    }

    std::vector<ListedFile> Take() {
        // What was given first says what it is called.
        std::stable_sort(files_.begin(), files_.end());
        files_.erase(std::unique(files_.begin(), files_.end()), files_.end());
        return std::move(files_);
    }

private:
    void Walk(const std::filesystem::path& folder, const std::shared_ptr<const GivenPlace>& given) {
        StopIfInterrupted();
        std::error_code error;
        for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
             entry.increment(error)) {
            std::error_code ignored;
            if (entry->is_directory(ignored) && !entry->is_symlink(ignored)) {
                Walk(entry->path(), given);
            } else if (entry->is_regular_file(ignored)) {
                files_.push_back({entry->path().string(), {}, given});
            }
        }
        if (error) {
            files_.push_back({folder.string(), error.message(), given});
        }
    }

    std::vector<ListedFile> files_;
    std::shared_ptr<const GivenPlace> named_;  ///< Of the file that was named last.
};

}  // namespace

std::string ListedFile::Inside() const {
    return given->parent.empty() ? name : std::filesystem::path(name).lexically_relative(given->parent).string();
}

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
        lister.Add(path, isLikeFolder ? path : std::filesystem::path(path).parent_path().string());
    }
    for (const std::string& name : listed) {
        lister.Add(name, {});
    }
    return lister.Take();
}

}  // namespace tal::talstore
