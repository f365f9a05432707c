/// @file
/// What a storage file holds, whatever its format.
#ifndef TALSTORE_STORED_CONTENTS_H
#define TALSTORE_STORED_CONTENTS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "formats/Finding.h"
#include "formats/KeptTexts.h"

namespace tal::talstore {

/// The table of formats has a row for each.
enum class Format { Xml, Secure, Binary };

constexpr std::size_t kNone = static_cast<std::size_t>(-1);
constexpr std::uint32_t kNoNode = static_cast<std::uint32_t>(-1);

/// A region or object of an XML document.
struct StoredNode {
    std::string name;
    Place place;
    std::size_t parent = kNone;  ///< Index of the node around it; none for regions.
    std::size_t array = kNone;   ///< Index of the object array's item that it is an element of.
    bool isRegion = false;
};

/// One variable in the file.
/// Its texts are those that the contents keep.
struct StoredItem {
    KeptText path;  ///< As the reader looks it up while no channel is replaced.
    Place place;
    std::string_view bytes;  ///< Secure and binary: its content, inside the file's bytes.

    // XML documents only.
    KeptText name;
    KeptText type;                       ///< The text of its type.
    TextList texts;                      ///< Its value, or the elements of its array.
    std::uint32_t node = kNoNode;        ///< Index of the region or object that it is in.
    const char* interruption = nullptr;  ///< What in a text makes the reader keep its last part only: "a comment".
    bool isArray = false;
    bool holdsObjects = false;
    bool isHandedOn = false;  ///< Whether the reader looks it up at all.
    /// Of all elements in the document, which ones the reader has in its list when it looks the item up, unless it has
    /// emptied the list in between.
    std::uint32_t listBegin = 0;
    std::uint32_t listEnd = 0;
};

struct StoredContents {
    KeptTexts texts;                ///< Of the items.
    std::vector<StoredNode> nodes;  ///< XML documents only; parents stand before their children.
    std::vector<StoredItem> items;  ///< In the order in which they begin in the file.
    /// Indices of the items that the reader looks up, in its order.
    std::vector<std::size_t> handedOn;
    /// How many of them come before the first variable that is nested too deep, after which the reader marks nothing.
    std::size_t handedOnInTime = kNone;
    std::vector<Finding> findings;
    bool isWhole = true;  ///< False when a reader stops before the end of the file.
};

}  // namespace tal::talstore

#endif
