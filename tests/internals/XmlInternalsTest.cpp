// What the XML provider does after something that no document and no host can bring about: its state is changed from
// outside.

#include "Device/DeviceSupport/private/CXmlFileStorageProviderBase.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/XmlReaderFixture.h"

namespace tal::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using xml::state;

class XmlInternals : public XmlReaderFixture {
protected:
    /// Sets the flag of the parse again and again while the library traces.
    void SetParseErrorWheneverItTraces() {
        traces_.MapLevelsBy([](QBFResult) {
            state.parseError = 1;
            return 0;
        });
    }
};

TEST_F(XmlInternals, ErrorsOfTheParseAreReportedBeforeThoseOfVariablesAndFailTheRetrieve) {
    object_.U8("a").Bool("b");
    SetParseErrorWheneverItTraces();
    EXPECT_EQ(RetrieveVariables(Value("a", "5") + Value("b", "neither")), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_UpdateVariable: Wrong BOOL value: neither, expected "
                            "TRUE or FALSE",
                            "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error(s) during XML Parsing",
                            "0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error(s) during variable retrieval",
                            "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
    EXPECT_EQ(At("a").Get<std::uint8_t>(), 5);
}

TEST_F(XmlInternals, AnErrorOfTheParseAloneFailsTheRetrieve) {
    object_.U8("a");
    SetParseErrorWheneverItTraces();
    EXPECT_EQ(RetrieveVariables(Value("a", "5")), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error(s) during XML Parsing",
                            "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
    EXPECT_TRUE(At("a").Retrieved());
}

TEST_F(XmlInternals, ErrorsOfAnEarlierRetrieveAreForgotten) {
    state.parseError = 1;
    state.retrievalError = 1;
    EXPECT_EQ(RetrieveVariables(""), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), IsEmpty());
}

TEST_F(XmlInternals, InitializeForgetsErrors) {
    state.parseError = 1;
    state.retrievalError = 1;
    EXPECT_EQ(provider_->Initialize(0), QBFResult{QBF_OK});
    EXPECT_EQ(state.parseError, 0U);
    EXPECT_EQ(state.retrievalError, 0U);
}

}  // namespace

}  // namespace tal::test
