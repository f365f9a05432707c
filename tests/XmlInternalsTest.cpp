// What the XML provider does after something that no document and no host can bring about: its state is changed from
// outside, in the library itself.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <link.h>

#include "Device/DeviceSupport/private/CXmlFileStorageProviderBase.h"
#include "support/SharedLibrary.h"
#include "support/XmlReaderFixture.h"

namespace tal::test {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// Where this process has loaded the library.
std::uintptr_t LoadAddress() {
    void* const library = dlopen(TAL_TEST_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    link_map* map = nullptr;
    EXPECT_EQ(dlinfo(library, RTLD_DI_LINKMAP, &map), 0) << dlerror();
    dlclose(library);
    return map->l_addr;
}

/// The state of the library's own XML provider; null, which fails the test, in a library without local symbols.
xml::XmlProviderState* StateOfTheLibrary() {
    for (const SharedLibrary::LocalSymbol& symbol : SharedLibrary(TAL_TEST_LIBRARY).locals) {
        if (symbol.name == "_ZN3tal3xml5stateE") {
            return reinterpret_cast<xml::XmlProviderState*>(LoadAddress() + symbol.address);
        }
    }
    ADD_FAILURE() << TAL_TEST_LIBRARY << " has no symbol of the state";
    return nullptr;
}

class XmlInternals : public XmlReaderFixture {
protected:
    /// Sets the flag of the parse again and again while the library traces.
    void SetParseErrorWheneverItTraces() {
        traces_.MapLevelsBy([this](QBFResult) {
            state_->parseError = 1;
            return 0;
        });
    }

    xml::XmlProviderState* state_ = StateOfTheLibrary();
};

TEST_F(XmlInternals, ErrorsOfTheParseAreReportedBeforeThoseOfVariablesAndFailTheRetrieve) {
    ASSERT_NE(state_, nullptr);
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
    ASSERT_NE(state_, nullptr);
    object_.U8("a");
    SetParseErrorWheneverItTraces();
    EXPECT_EQ(RetrieveVariables(Value("a", "5")), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures(),
                ElementsAre("0x8000 CXmlFileStorageProviderBase_ManageRetrieve: Error(s) during XML Parsing",
                            "0x8000 CXmlFileStorageProviderBase_RetrieveAll: Error when calling ManageRetrieve"));
    EXPECT_TRUE(At("a").Retrieved());
}

TEST_F(XmlInternals, ErrorsOfAnEarlierRetrieveAreForgotten) {
    ASSERT_NE(state_, nullptr);
    state_->parseError = 1;
    state_->retrievalError = 1;
    EXPECT_EQ(RetrieveVariables(""), QBFResult{QBF_OK});
    EXPECT_THAT(traces_.Failures(), IsEmpty());
}

TEST_F(XmlInternals, InitializeForgetsErrors) {
    ASSERT_NE(state_, nullptr);
    state_->parseError = 1;
    state_->retrievalError = 1;
    EXPECT_EQ(provider_->Initialize(0), QBFResult{QBF_OK});
    EXPECT_EQ(state_->parseError, 0U);
    EXPECT_EQ(state_->retrievalError, 0U);
}

}  // namespace

}  // namespace tal::test
