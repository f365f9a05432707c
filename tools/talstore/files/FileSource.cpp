#include "files/FileSource.h"

#include <algorithm>
#include <array>

#include "files/InputError.h"
#include "files/Packed.h"

namespace tal::talstore {

namespace {

/// The texts of a file, or of one that cannot be changed.
template <class File>
auto TextsOf(File& file) {
    return std::array{&file.name, &file.inside, &file.archive, &file.problem};
}

/// What was listed itself: a file, or an archive that is told of.
SourceFile SourceOf(const ListedFile& file, std::string problem, std::string archive = {}) {
    return {file.name, file.Inside(), std::move(archive), std::move(problem)};
}

}  // namespace

std::string Packed(const SourceFile& file) {
    Packer packer;
    for (const std::string* const text : TextsOf(file)) {
        packer.Text(*text);
    }
    packer.Number(file.bytes ? 1 : 0);
    packer.Text(file.bytes.value_or(""));
    return packer.Take();
}

SourceFile UnpackedFile(std::string_view bytes) {
    Unpacker unpacker(bytes);
    SourceFile file;
    for (std::string* const text : TextsOf(file)) {
        *text = unpacker.Text();
    }
    const bool hasBytes = unpacker.Number() != 0;
    std::string content = unpacker.Text();
    if (hasBytes) {
        file.bytes = std::move(content);
    }
    return file;
}

std::string ProblemOf(const std::string& name, const std::string& what) {
    const std::string start = name + ": ";
    return what.compare(0, start.size(), start) == 0 ? what.substr(start.size()) : what;
}

FileSource::FileSource(std::vector<ListedFile> files) : files_(std::move(files)) {
    hasArchives_ =
        std::any_of(files_.begin(), files_.end(), [](const ListedFile& file) { return IsArchive(file.name); });
}

std::optional<SourceFile> FileSource::Next() {
    for (;;) {
        if (archive_) {
            if (std::optional<SourceFile> member = NextMember()) {
                return member;
            }
        }
        if (count_ == files_.size()) {
            return std::nullopt;
        }
        const ListedFile& file = files_[count_++];
        if (!file.problem.empty() || !IsArchive(file.name)) {
            return SourceOf(file, file.problem);
        }
        if (std::optional<SourceFile> unreadable = Open(file)) {
            return unreadable;
        }
    }
}

std::optional<SourceFile> FileSource::Open(const ListedFile& file) {
    try {
        archive_.emplace(file.name);
        isEmpty_ = true;
        return std::nullopt;
    } catch (const InputError& error) {
        return SourceOf(file, ProblemOf(file.name, error.what()), file.name);
    }
}

std::optional<SourceFile> FileSource::NextMember() {
    const ListedFile& file = files_[count_ - 1];
    try {
        std::optional<ArchiveMember> member = archive_->Next();
        if (!member) {
            archive_.reset();
            return isEmpty_ ? std::optional(SourceOf(file, "there is no file in it", file.name)) : std::nullopt;
        }
        isEmpty_ = false;
        if (member->name.empty()) {
            return SourceOf(file, std::move(member->problem), file.name);
        }
        const std::string inside = file.Inside();
        return SourceFile{file.name + ':' + member->name, inside.empty() ? member->name : inside + '/' + member->name,
                          file.name, std::move(member->problem), std::move(member->bytes)};
    } catch (const InputError& error) {
        archive_.reset();
        return SourceOf(file, ProblemOf(file.name, error.what()), file.name);
    }
}

}  // namespace tal::talstore
