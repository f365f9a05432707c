/// What the tests of the XML provider have in common.
#ifndef TAL_TEST_XML_FIXTURE_H
#define TAL_TEST_XML_FIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "host/ReferenceHost.h"
#include "support/Files.h"
#include "support/TraceRecorder.h"

namespace tal::test {

/// What surrounds the regions of every XML document.
constexpr const char* kDocumentStart = R"(<?xml version="1.0" encoding="UTF-8"?><storage name = "RV20">)";
constexpr const char* kDocumentEnd = "</storage>\n";

/// The file of location 0 in the fixture below.
constexpr const char* kXmlFile = "slot0.xml";

/// An empty database and the initialised XML provider in an empty working directory, where slot n is the file
/// "slot<n>.xml". Only what the test itself does is traced.
class XmlFixture : public ::testing::Test {
protected:
    XmlFixture() {
        CXmlFileStorageProviderBase_GetInterface(&provider_);
        CXmlFileStorageProviderBase_SetStorageFilenames(kXmlFile, "slot1.xml", "slot2.xml", "slot3.xml", "slot4.xml",
                                                        "slot5.xml", "slot6.xml", "slot7.xml", "slot8.xml",
                                                        "slot9.xml");
        provider_->Initialize(0);
        traces_.Clear();
    }

    QBFResult Store(StorageLocation location = 0, unsigned long channelInjector = 0) {
        return provider_->StoreAll(location, database_.Handle(), channelInjector);
    }

    QBFResult Retrieve(StorageLocation location = 0, unsigned long channelInjector = 0) {
        return provider_->RetrieveAll(location, database_.Handle(), channelInjector);
    }

    /// Stores into location 0, which has to succeed.
    /// @return the document.
    std::string StoredDocument(unsigned long channelInjector = 0) {
        EXPECT_EQ(Store(0, channelInjector), QBFResult{QBF_OK});
        return ReadFile(kXmlFile);
    }

    /// Retrieves from location 0, whose file becomes `document`.
    QBFResult RetrieveFrom(std::string_view document, unsigned long channelInjector = 0) {
        WriteFile(kXmlFile, document);
        return Retrieve(0, channelInjector);
    }

    TemporaryDirectory directory_;
    host::Database database_;
    IStorageProvider* provider_ = nullptr;
    TraceRecorder traces_;
};

}  // namespace tal::test

#endif
