// What no operation of the table can ask the core of the XML provider for.

#include "Device/DeviceSupport/private/CXmlFileStorageProviderBase.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/Files.h"
#include "support/TraceRecorder.h"

namespace tal::test {

namespace {

using testing::ElementsAre;
using xml::OpenFile;

constexpr auto kStore = StorageOpenMode::Store;
constexpr auto kStoreWritable = StorageOpenMode::StoreWritable;

class XmlOpenModes : public testing::Test {
protected:
    XmlOpenModes() {
        CXmlFileStorageProviderBase_SetStorageFilenames("slot0.xml", "slot1.xml", "slot2.xml", "slot3.xml", "slot4.xml",
                                                        "slot5.xml", "slot6.xml", "slot7.xml", "slot8.xml",
                                                        "slot9.xml");
        xml::state.CurrentFileName[0] = '\0';
        traces_.Clear();
    }
    ~XmlOpenModes() override {
        if (file_ != nullptr) {
            std::fclose(file_);
        }
    }

    TemporaryDirectory directory_;
    TraceRecorder traces_;
    std::FILE* file_ = nullptr;
};

TEST_F(XmlOpenModes, StoringTheWritableSubsetIsRefused) {
    EXPECT_EQ(OpenFile(0, kStoreWritable, &file_), 0x8002U);

    EXPECT_EQ(file_, nullptr);
    EXPECT_TRUE(std::filesystem::is_empty(directory_.Path()));
    EXPECT_THAT(traces_.Lines(), ElementsAre("0x8002 CXmlFileStorageProviderBase_OpenFile: "
                                             "Storage operation eSTORE_WRITABLE not supported"));
}

TEST_F(XmlOpenModes, StoringTheWritableSubsetIsRefusedForReadOnlyLocationsToo) {
    EXPECT_EQ(OpenFile(7, kStoreWritable, &file_), 0x8002U);
    EXPECT_THAT(traces_.Lines(), ElementsAre("0x8002 CXmlFileStorageProviderBase_OpenFile: "
                                             "Storage operation eSTORE_WRITABLE not supported"));
}

TEST_F(XmlOpenModes, FileIsSelectedBeforeTheModeIsLookedAt) {
    EXPECT_EQ(OpenFile(3, kStoreWritable, &file_), 0x8002U);
    EXPECT_STREQ(xml::state.CurrentFileName, "slot1.xml");
}

TEST_F(XmlOpenModes, InvalidLocationIsReportedBeforeTheModeIsLookedAt) {
    EXPECT_EQ(OpenFile(12, kStoreWritable, &file_), 0x8002U);
    EXPECT_THAT(traces_.Lines(),
                ElementsAre("0x8002 CXmlFileStorageProviderBase_OpenFile: Invalid storage location id: 12"));
    EXPECT_STREQ(xml::state.CurrentFileName, "");
}

TEST_F(XmlOpenModes, UnknownModesMeanWriting) {
    EXPECT_EQ(OpenFile(0, static_cast<StorageOpenMode>(3), &file_), 0U);

    EXPECT_NE(file_, nullptr);
    EXPECT_THAT(traces_.Lines(), ElementsAre("0x800 CXmlFileStorageProviderBase_OpenFile: "
                                             "XML file slot0.xml opened for writing (for storage location 0)"));
}

TEST_F(XmlOpenModes, FileOpenedForWritingCanBeReadBack) {
    ASSERT_EQ(OpenFile(0, kStore, &file_), 0U);

    std::fputs("text", file_);
    std::rewind(file_);

    char text[8] = {};
    EXPECT_EQ(std::fread(text, 1, 7, file_), 4U);
    EXPECT_STREQ(text, "text");
}

TEST_F(XmlOpenModes, FileOpenedForReadingHasItsSizeAndAReadBuffer) {
    WriteFile("slot0.xml", "0123456789");

    ASSERT_EQ(OpenFile(0, StorageOpenMode::Retrieve, &file_), 0U);

    EXPECT_EQ(xml::state.fileSize, 10U);
    EXPECT_NE(xml::state.readBuffer, nullptr);
    xml::ReleaseReadBuffer();
    EXPECT_EQ(xml::state.readBuffer, nullptr);
}

}  // namespace

}  // namespace tal::test
