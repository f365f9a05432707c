/// @file
/// One of two files that are compared.
#ifndef TALSTORE_DIFF_SIDE_H
#define TALSTORE_DIFF_SIDE_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ReferenceHost.h"
#include "board/Restore.h"
#include "commands/PathFilter.h"
#include "commands/Report.h"
#include "formats/KeptTexts.h"
#include "formats/StorageFile.h"
#include "formats/StoredContents.h"

namespace tal::talstore {

/// One variable's value on one side. What it refers to is kept by its side.
struct DiffEntry {
    KeptText path;
    std::optional<VariableType> type;
    /// As a board reads it; none for a document's value that no board takes.
    std::optional<std::string_view> bytes;
    TextList texts;  ///< Of a document's value that no board takes.

    /// @param knownType  Of a variable whose type may be known only on the other side.
    [[nodiscard]] std::string Text(std::optional<VariableType> knownType) const;
    [[nodiscard]] Json ToJson(std::optional<VariableType> knownType) const;
};

/// It keeps no more than what is compared: all of one file beside all of the other would take twice the memory.
class DiffSide {
public:
    /// @param layout  Null for none; both sides may have the same one after each other.
    DiffSide(const StorageFile& file, StoredContents contents, std::uint32_t channel, host::Database* layout,
             PathFilter& filter);

    [[nodiscard]] const std::string& Name() const { return name_; }
    [[nodiscard]] const FormatInfo& Format() const { return format_; }
    [[nodiscard]] bool IsXml() const { return format_.hasTexts; }
    [[nodiscard]] bool IsWhole() const { return isWhole_; }
    [[nodiscard]] const std::vector<Finding>& Findings() const { return findings_; }
    /// In the order of the file.
    [[nodiscard]] const std::vector<DiffEntry>& Entries() const { return entries_; }
    /// @return null when there is none.
    [[nodiscard]] const DiffEntry* Find(std::string_view path) const;

private:
    void KeepEntries(const StoredContents& contents, const RestoreReport& restored, const RestoreReport& read,
                     PathFilter& filter);
    [[nodiscard]] DiffEntry EntryOfTexts(const StoredItem& item, const host::Variable* variable);
    [[nodiscard]] DiffEntry EntryOfBytes(const StoredItem& item, const host::Variable* variable);
    void Add(const DiffEntry& entry);

    std::string name_;
    const FormatInfo& format_;
    bool isWhole_;
    std::vector<Finding> findings_;
    KeptTexts kept_;
    std::vector<DiffEntry> entries_;
    PathIndex index_;
};

}  // namespace tal::talstore

#endif
