#include "board/Fillers.h"

#include "Support.h"

namespace tal::test {

namespace {

using talstore::Fillers;
using talstore::StoredItem;

host::Object& AddObject(host::Database& database) {
    return database.AddRegion("R").AddObject("O");
}

StoredItem ItemOfTexts(const std::vector<std::string>& texts) {
    StoredItem item;
    item.texts = KeptList(texts);
    return item;
}

const talstore::FormatInfo& kDocuments = talstore::InfoOf(talstore::Format::Xml);
const talstore::FormatInfo& kRecords = talstore::InfoOf(talstore::Format::Secure);

TEST(Fillers, AreInAVariableThatNobodyWrites) {
    host::Database database;
    AddObject(database).U32("a", 7);
    const Fillers fillers(database, &kDocuments);
    EXPECT_TRUE(fillers.AreIn(database.At("R/O/a")));
}

TEST(Fillers, AreInNoVariableThatHoldsItsDefault) {
    host::Database database;
    AddObject(database).U32("a", 7);
    const Fillers fillers(database, &kDocuments);
    database.At("R/O/a").SetToDefault();
    EXPECT_FALSE(fillers.AreIn(database.At("R/O/a")));
}

TEST(Fillers, OneByteOfANumberIsNone) {
    host::Database database;
    AddObject(database).U32("a");
    const Fillers fillers(database, &kDocuments);
    database.At("R/O/a").Set<std::uint32_t>(0xA5);
    EXPECT_FALSE(fillers.AreIn(database.At("R/O/a")));
}

TEST(Fillers, OneByteOfARecordIsOne) {
    host::Database database;
    AddObject(database).U32("a");
    const Fillers fillers(database, &kRecords);
    database.At("R/O/a").Set<std::uint32_t>(0xA5);
    EXPECT_TRUE(fillers.AreIn(database.At("R/O/a")));
}

TEST(Fillers, OneElementOfAnArrayIsEnough) {
    host::Database database;
    AddObject(database).U16Array("a", {1, 2, 3});
    const Fillers fillers(database, &kDocuments);
    database.At("R/O/a").Set<std::uint16_t>(4, 0).Set<std::uint16_t>(5, 2);
    EXPECT_TRUE(fillers.AreIn(database.At("R/O/a")));
}

TEST(Fillers, ANumberOfTheDocumentIsNone) {
    host::Database database;
    AddObject(database).U8("a");
    Fillers fillers(database, &kDocuments);
    const auto filler = database.At("R/O/a").Get<std::uint8_t>();
    fillers.Avoid(database.At("R/O/a"), ItemOfTexts({std::to_string(filler)}));
    EXPECT_TRUE(fillers.AreIn(database.At("R/O/a")));
    database.At("R/O/a").Set(filler);
    EXPECT_FALSE(fillers.AreIn(database.At("R/O/a")));
}

TEST(Fillers, TheOtherFillerIsNoneWhereItIsNotNeeded) {
    host::Database database;
    AddObject(database).U8("a").U8("b");
    Fillers fillers(database, &kDocuments);
    const auto filler = database.At("R/O/a").Get<std::uint8_t>();
    fillers.Avoid(database.At("R/O/a"), ItemOfTexts({std::to_string(filler)}));
    const auto other = database.At("R/O/a").Get<std::uint8_t>();
    database.At("R/O/b").Set(other);
    EXPECT_NE(other, filler);
    EXPECT_FALSE(fillers.AreIn(database.At("R/O/b")));
}

TEST(Fillers, BothFillersInTwoItemsLeaveOneInTheVariable) {
    host::Database database;
    AddObject(database).U8("a");
    Fillers fillers(database, &kDocuments);
    const auto filler = database.At("R/O/a").Get<std::uint8_t>();
    fillers.Avoid(database.At("R/O/a"), ItemOfTexts({std::to_string(filler)}));
    const auto other = database.At("R/O/a").Get<std::uint8_t>();
    fillers.Avoid(database.At("R/O/a"), ItemOfTexts({std::to_string(other)}));
    EXPECT_EQ(database.At("R/O/a").Get<std::uint8_t>(), filler);
    EXPECT_TRUE(fillers.AreIn(database.At("R/O/a")));
}

TEST(Fillers, AnElementOfTheDocumentIsNoneInItsPlaceOnly) {
    host::Database database;
    AddObject(database).U8Array("a", {0, 0});
    Fillers fillers(database, &kDocuments);
    host::Variable& array = database.At("R/O/a");
    const auto filler = array.Get<std::uint8_t>(0);
    fillers.Avoid(array, ItemOfTexts({"1", std::to_string(filler)}));
    EXPECT_EQ(array.Get<std::uint8_t>(0), filler);
    EXPECT_NE(array.Get<std::uint8_t>(1), filler);
}

TEST(Fillers, ACharacterOfTheTextIsNone) {
    host::Database database;
    AddObject(database).String("a", 4);
    Fillers fillers(database, &kDocuments);
    host::Variable& text = database.At("R/O/a");
    const std::string filler(1, text.Get<char>(0));
    fillers.Avoid(text, ItemOfTexts({filler}));
    text.SetText(filler);
    EXPECT_FALSE(fillers.AreIn(text));
}

TEST(Fillers, ANulAfterTheTextIsNone) {
    host::Database database;
    AddObject(database).String("a", 4, "\xA5\xA5");
    Fillers fillers(database, &kDocuments);
    host::Variable& text = database.At("R/O/a");
    fillers.Avoid(text, ItemOfTexts({"n"}));
    text.SetText("n");
    EXPECT_FALSE(fillers.AreIn(text));
}

TEST(Fillers, AByteOfARecordIsNone) {
    host::Database database;
    AddObject(database).U16("a");
    Fillers fillers(database, &kRecords);
    StoredItem item;
    item.bytes = "\x05\xA5";
    fillers.Avoid(database.At("R/O/a"), item);
    database.At("R/O/a").Set<std::uint16_t>(0xA505);
    EXPECT_FALSE(fillers.AreIn(database.At("R/O/a")));
}

TEST(Fillers, ObjectsStayAsTheyAre) {
    host::Database database;
    AddObject(database).AddNested("n");
    Fillers fillers(database, &kDocuments);
    fillers.Avoid(database.At("R/O/n"), ItemOfTexts({"1"}));
    EXPECT_TRUE(database.GuardsIntact());
}

}  // namespace

}  // namespace tal::test
