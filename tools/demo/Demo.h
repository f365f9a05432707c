/// The scenes of the demo. Each works in the current directory, prints what it does and sees, and says whether
/// everything came out as it should.
#ifndef TAL_TOOLS_DEMO_DEMO_H
#define TAL_TOOLS_DEMO_DEMO_H

#include <cstddef>
#include <filesystem>
#include <nlohmann/json_fwd.hpp>

namespace tal::demo {

struct Setting {
    const nlohmann::json& description;  ///< Of the database.
    std::size_t rowLimit;               ///< Of each table.
};

/// Through an XML file and back.
[[nodiscard]] bool ShowXmlRoundTrip(const Setting& setting);
/// What a host is told of an XML file that is cut, and of one with a wrong value in it.
[[nodiscard]] bool ShowDamagedXml(const Setting& setting);
/// The same database in all three formats: sizes, first bytes, and back.
[[nodiscard]] bool ShowAllFormats(const Setting& setting);
/// A secure file restored into a database whose layout has changed.
[[nodiscard]] bool ShowChangedLayout(const Setting& setting);
/// The board-support provider on a played board, with one variable missing and one of the wrong type.
[[nodiscard]] bool ShowBoard();

/// Stores the files of some hundred units, of which a third run the layout and the others a changed one, and
/// descriptions of both: units/*, old.json and new.json, for a survey of what the former lose. Shows nothing.
/// @param folder  Is made.
[[nodiscard]] bool StoreFleet(const Setting& setting, const std::filesystem::path& folder);

}  // namespace tal::demo

#endif
