#include "files/Archive.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <new>
#include <utility>

#include "files/InputError.h"
#include "files/Interrupt.h"
#include "files/WholeFile.h"

namespace tal::talstore {

namespace {

bool EndsWith(std::string_view name, std::string_view ending) {
    return name.size() > ending.size() && name.substr(name.size() - ending.size()) == ending;
}

/// Whatever the locale is.
std::string NameOfEntry(archive_entry* entry) {
    const char* const name = archive_entry_pathname_utf8(entry);
    const char* const raw = name == nullptr ? archive_entry_pathname(entry) : name;
    return raw == nullptr ? "" : raw;
}

}  // namespace

bool IsArchive(std::string_view name) {
    const auto endings = {".tar", ".tar.gz", ".tgz", ".zip"};
    return std::any_of(endings.begin(), endings.end(), [&](const char* ending) { return EndsWith(name, ending); });
}

Archive::Archive(std::string name) : name_(std::move(name)), reader_(archive_read_new(), archive_read_free) {
    constexpr std::size_t kBlockSize = 65536;
    if (reader_ == nullptr) {
        throw std::bad_alloc();
    }
    archive_read_support_filter_gzip(reader_.get());
    archive_read_support_format_tar(reader_.get());
    archive_read_support_format_zip(reader_.get());
    if (archive_read_open_filename(reader_.get(), name_.c_str(), kBlockSize) != ARCHIVE_OK) {
        RefuseFile(name_, Problem());
    }
}

std::optional<ArchiveMember> Archive::Next() {
    for (;;) {
        StopIfInterrupted();
        archive_entry* entry = nullptr;
        const int result = archive_read_next_header(reader_.get(), &entry);
        const bool wasDamaged = std::exchange(isDamagedHere_, result == ARCHIVE_RETRY);
        if (result == ARCHIVE_EOF) {
            return std::nullopt;
        }
        if (result == ARCHIVE_RETRY) {
            // Here is no header. Each block that follows is tried for one, and what is lost is told once.
            if (wasDamaged) {
                continue;
            }
            return ArchiveMember{{}, {}, Problem()};
        }
        if (result < ARCHIVE_WARN) {
            RefuseFile(name_, Problem());
        }
        if (archive_entry_filetype(entry) == AE_IFREG && archive_entry_hardlink(entry) == nullptr) {
            return Read(NameOfEntry(entry));
        }
    }
}

std::string Archive::Problem() const {
    const char* const text = archive_error_string(reader_.get());
    return text == nullptr || *text == '\0' ? "the archive is damaged" : text;
}

ArchiveMember Archive::Read(std::string memberName) {
    ArchiveMember member = {std::move(memberName), {}, {}};
    std::array<char, 65536> buffer = {};
    for (;;) {
        const la_ssize_t count = archive_read_data(reader_.get(), buffer.data(), buffer.size());
        if (count < 0) {
            // Also what is a mere warning elsewhere: that a checksum does not fit.
            member.problem = Problem();
        } else if (member.bytes.size() > kLargestFile) {
            member.problem = kTooLarge;
        }
        if (count <= 0 || !member.problem.empty()) {
            return member;
        }
        member.bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

}  // namespace tal::talstore
