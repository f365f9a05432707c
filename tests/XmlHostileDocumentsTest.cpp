#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "support/AllocationFaults.h"
#include "support/CLibraryFaults.h"
#include "support/CaseStep.h"
#include "support/HostCalls.h"
#include "support/XmlReaderFixture.h"

namespace tal::test {

namespace {

using testing::_;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Ne;
using testing::Pair;

/// A database with a variable of every type, and a small document that restores them all.
class XmlHostileDocuments : public XmlReaderFixture {
protected:
    XmlHostileDocuments() {
        // Only failures: these tests retrieve many thousand documents.
        traces_.MapLevelsBy([](QBFResult code) { return code >= QBF_E_FAILED ? 0 : 1; });
        traces_.SetThreshold(0);
        object_.U8("a").U8Array("b", {0, 0}).U16("c").U16Array("d", {0}).U32("e").U32Array("f", {0});
        object_.S8("g").S8Array("h", {0}).S16("i").S16Array("j", {0}).S32("k").S32Array("l", {0});
        object_.Bool("m").BoolArray("n", {0}).Char("o").CharArray("p", {0}).String("q", 4);
        object_.Float("r").FloatArray("s", {0}).Double("t").DoubleArray("u", {0});
        object_.AddNested("v").U8("a");
        object_.AddToArray("w", "x").U8("a");
        WriteFile("slot1.xml", kDocument);
    }

    const std::string kDocument =
        DocumentOf(Value("a", "1") + Array("b", {"2", "3"}) + Value("c", "4") + Array("d", {"5"}) + Value("e", "6") +
                   Array("f", {"7"}) + Value("g", "8") + Array("h", {"9"}) + Value("i", "10") + Array("j", {"11"}) +
                   Value("k", "12") + Array("l", {"13"}) + Value("m", "TRUE") + Array("n", {"TRUE"}) +
                   Value("o", "14") + Array("p", {"15"}) + Value("q", "xyz") + Value("r", "1.5e+00") +
                   Array("s", {"2.5e+00"}) + Value("t", "3.5e+00") + Array("u", {"4.5e+00"}) +
                   ObjectElement("v", Value("a", "16")) + ObjectArray("w", {ObjectElement("x", Value("a", "17"))}));

    using Content = std::map<std::string, std::vector<std::uint8_t>>;
    Content ContentNow() {
        Content content;
        database_.ForEachVariable([&](const std::string& path, host::Variable& variable) {
            if (variable.Type() != VARIABLE_TYPE_OBJECT && variable.Type() != VARIABLE_TYPE_OBJECT_ARRAY) {
                content[path] = variable.Bytes();
            }
        });
        return content;
    }

    /// Retrieves the document, whatever it is, and then the good one.
    /// @return the result of the first.
    QBFResult ExpectNoHarmFrom(std::string_view document, unsigned long channelInjector = 0) {
        AllocationFaults memory;
        const QBFResult result = RetrieveFrom(document, channelInjector);
        EXPECT_TRUE(result == QBF_OK || result == QBF_E_FAILED) << result;
        EXPECT_EQ(result == QBF_OK, traces_.LinesOf("CXmlFileStorageProviderBase_RetrieveAll").empty());
        EXPECT_TRUE(database_.GuardsIntact());
        EXPECT_EQ(memory.LiveAllocations(), 0);
        ExpectWholeRetrieve();
        return result;
    }

    /// Retrieves the good document from location 3.
    void ExpectWholeRetrieve() {
        database_.SetAllToZero();
        traces_.Clear();
        EXPECT_EQ(Retrieve(3), QBFResult{QBF_OK});
        EXPECT_THAT(traces_.Failures(), IsEmpty());
        if (whole_.empty()) {
            whole_ = ContentNow();
            EXPECT_THAT(whole_, Each(Pair(_, Contains(Ne(0)))));
        }
        EXPECT_EQ(ContentNow(), whole_);
        traces_.Clear();
    }

    Content whole_;
};

// ---- A good document that was damaged

/// Promise 12
TEST_F(XmlHostileDocuments, CutAtAnyByteItIsAParseErrorAndEveryVariableIsEitherOldOrNew) {
    const std::size_t rootEnd = kDocument.rfind('>') + 1;
    ExpectWholeRetrieve();
    for (std::size_t length = 0; length <= kDocument.size() && !HasFailure(); length += CaseStep()) {
        SCOPED_TRACE(length);
        database_.SetAllToZero();
        const Content old = ContentNow();
        AllocationFaults memory;
        traces_.Clear();
        const QBFResult result = RetrieveFrom(kDocument.substr(0, length));
        EXPECT_EQ(result, length < rootEnd ? QBFResult{QBF_E_FAILED} : QBFResult{QBF_OK});
        if (length < rootEnd) {
            EXPECT_THAT(traces_.Failures(), ElementsAre(HasSubstr("Parse error in file slot0.xml at line "),
                                                        HasSubstr("Error when calling ManageRetrieve")));
        }
        for (const auto& [path, bytes] : ContentNow()) {
            EXPECT_TRUE(bytes == old.at(path) || bytes == whole_.at(path)) << path;
        }
        EXPECT_TRUE(database_.GuardsIntact());
        EXPECT_EQ(memory.LiveAllocations(), 0);
        ExpectWholeRetrieve();
    }
}

/// Promise 12
TEST_F(XmlHostileDocuments, WithAnyByteChangedItDoesNoHarm) {
    for (std::size_t i = 0; i < kDocument.size() && !HasFailure(); i += CaseStep()) {
        for (const char byte : {'\0', '<', '&', '"', '/', '9', '\xFF', static_cast<char>(kDocument[i] ^ 1)}) {
            SCOPED_TRACE(testing::Message() << "byte " << i << " is " << static_cast<int>(byte));
            std::string document = kDocument;
            document[i] = byte;
            ExpectNoHarmFrom(document);
        }
    }
}

TEST_F(XmlHostileDocuments, WithAnyByteRemovedOrDoubledItDoesNoHarm) {
    for (std::size_t i = 0; i < kDocument.size() && !HasFailure(); i += CaseStep()) {
        SCOPED_TRACE(i);
        ExpectNoHarmFrom(kDocument.substr(0, i) + kDocument.substr(i + 1), 1);
        ExpectNoHarmFrom(kDocument.substr(0, i + 1) + kDocument.substr(i), 1);
    }
}

TEST_F(XmlHostileDocuments, WithALineOfItMissingOrDoubledItDoesNoHarm) {
    for (std::size_t begin = 0; begin < kDocument.size() && !HasFailure();) {
        const std::size_t end = std::min(kDocument.find('\n', begin), kDocument.size() - 1) + 1;
        SCOPED_TRACE(begin);
        ExpectNoHarmFrom(kDocument.substr(0, begin) + kDocument.substr(end));
        ExpectNoHarmFrom(kDocument.substr(0, end) + kDocument.substr(begin));
        begin = end;
    }
}

// ---- Documents that only use the right words

/// A well-formed tree of the format's elements in any order.
class SoupDocument {
public:
    explicit SoupDocument(std::uint32_t seed) : engine_(seed) {}

    std::string Element(int depth) {
        static constexpr const char* kElements[] = {"region",  "object", "variable",      "array", "objectElement",
                                                    "element", "value",  "objectElement", "type",  "size"};
        static constexpr const char* kNames[] = {"R", "O", "a", "b", "m", "n", "q", "v", "w", "x", "u", "Rf1"};
        static constexpr const char* kTexts[] = {"1", "TRUE", "no", "", "\n", "1.5", "99999999999", "text"};
        const std::string element = depth == 8 ? "region" : Pick(kElements);
        std::string document = "<" + element;
        if (Below(8) > 0) {
            document += std::string(" name=\"") + Pick(kNames) + "\"";
        }
        document += ">";
        for (int children = depth > 0 ? Below(5) : 0; children > 0; --children) {
            document += Element(depth - 1);
        }
        return document + Pick(kTexts) + "</" + element + ">";
    }

private:
    int Below(int limit) { return static_cast<int>(engine_() % static_cast<unsigned>(limit)); }

    template <std::size_t Count>
    std::string Pick(const char* const (&texts)[Count]) {
        return texts[Below(static_cast<int>(Count))];
    }

    std::mt19937 engine_;
};

TEST_F(XmlHostileDocuments, WithItsElementsInAnyOrderItDoesNoHarm) {
    for (std::uint32_t seed = 1; seed <= 400 && !HasFailure(); ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        ExpectNoHarmFrom(Document(SoupDocument(seed).Element(8)), seed % 2);
    }
}

TEST_F(XmlHostileDocuments, RandomBytesDoNoHarm) {
    std::mt19937 engine(1);
    for (int i = 0; i < 300; ++i) {
        std::string document = i % 2 == 0 ? "" : "<storage>";
        for (auto length = engine() % 200; length > 0; --length) {
            document += static_cast<char>(engine());
        }
        EXPECT_EQ(ExpectNoHarmFrom(document), QBFResult{QBF_E_FAILED});
    }
}

// ---- Names

/// @return the paths that the retrieve looks up.
std::vector<std::string> LookUps(const HostCalls& host) {
    const std::string function = "CDatabase_GetVariableByPath ";
    std::vector<std::string> paths;
    for (const std::string& call : host.Calls()) {
        if (call.rfind(function, 0) == 0) {
            paths.push_back(call.substr(function.size()));
        }
    }
    return paths;
}

TEST_F(XmlHostileDocuments, RegionNamesOfAnyLengthAreCutToALevelOf759Characters) {
    for (std::size_t length : {0U, 1U, 39U, 40U, 119U, 120U, 756U, 757U, 758U, 759U, 760U, 761U, 2048U, 5000U}) {
        const std::string name(length, 'r');
        HostCalls host;
        EXPECT_EQ(RetrieveFrom(Document(RegionElement(name, Value("d", "1") + ObjectElement("O", Value("v", "1"))))),
                  QBFResult{QBF_OK});
        const std::string level0 = name.substr(0, 759);
        const std::string level1 = (level0 + "/O").substr(0, 759);
        EXPECT_THAT(LookUps(host), ElementsAre(level0 + "/d", level1 + "/v")) << length;
    }
}

TEST_F(XmlHostileDocuments, ObjectNamesOfAnyLengthAreCutToALevelOf759Characters) {
    for (std::size_t length : {0U, 1U, 119U, 120U, 756U, 757U, 758U, 759U, 2048U, 5000U}) {
        const std::string name(length, 'o');
        HostCalls host;
        EXPECT_EQ(RetrieveFrom(Document(
                      RegionElement("R", ObjectElement(name, Value("v", "1") + ObjectElement("N", Value("w", "1")))))),
                  QBFResult{QBF_OK});
        const std::string level1 = ("R/" + name).substr(0, 759);
        const std::string level2 = (level1 + "/N").substr(0, 759);
        EXPECT_THAT(LookUps(host), ElementsAre(level1 + "/v", level2 + "/w")) << length;
    }
}

TEST_F(XmlHostileDocuments, VariableNamesOfAnyLengthAreCutTo119Characters) {
    for (std::size_t length : {0U, 1U, 118U, 119U, 120U, 121U, 880U, 2048U, 100000U}) {
        const std::string name(length, 'z');
        HostCalls host;
        EXPECT_EQ(RetrieveVariables(Value(name, "1")), QBFResult{QBF_OK});
        EXPECT_THAT(LookUps(host), ElementsAre("R/O/" + name.substr(0, 119))) << length;
    }
}

TEST_F(XmlHostileDocuments, TheLongestPathHasRoomForItsVariable) {
    const std::string region(3000, 'r');
    const std::string variable(3000, 'v');
    HostCalls host;
    EXPECT_EQ(RetrieveFrom(Document(RegionElement(region, ObjectElement("O", Value(variable, "1"))))),
              QBFResult{QBF_OK});
    EXPECT_THAT(LookUps(host), ElementsAre(std::string(759, 'r') + "/" + std::string(119, 'v')));
}

TEST_F(XmlHostileDocuments, LongNamesOnEveryLevelAndWithAChannelDoNoHarm) {
    std::string nested =
        ObjectArray("Rf1" + std::string(300, 'w'), {}) + Value(std::string(115, 'v') + "channel.1.", "1");
    for (int level = 0; level < 5; ++level) {
        nested = ObjectElement(".Channel1Rf1" + std::string(400, 'o'), nested);
    }
    const std::string document = Document(RegionElement("Rf1" + std::string(400, 'r'), nested));
    EXPECT_EQ(ExpectNoHarmFrom(document), QBFResult{QBF_OK});
    EXPECT_EQ(ExpectNoHarmFrom(document, 1), QBFResult{QBF_OK});
    EXPECT_EQ(ExpectNoHarmFrom(document, 4294967295UL), QBFResult{QBF_OK});
}

TEST_F(XmlHostileDocuments, NamesWithPrintfConversionsAreOnlyText) {
    object_.U8("%s%n%d");
    EXPECT_EQ(RetrieveVariables(Value("%s%n%d", "1") + Value("m", "%s%n")), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(At("%s%n%d").Get<std::uint8_t>(), 1);
    EXPECT_THAT(traces_.Failures().front(), HasSubstr("Wrong BOOL value: %s%n, expected"));
}

TEST_F(XmlHostileDocuments, ADoubledNameIsAParseError) {
    EXPECT_EQ(RetrieveVariables("<variable name=\"a\" name=\"c\"><value>1</value></variable>"),
              QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures().front(), HasSubstr("\nduplicate attribute\n"));
}

TEST_F(XmlHostileDocuments, ElementsWithoutNamesAnywhereDoNoHarm) {
    EXPECT_EQ(ExpectNoHarmFrom("<storage><region><object><variable><value>1</value><array><objectElement><object>"
                               "<variable/></object></objectElement></array></variable></object></region></storage>"),
              QBFResult{QBF_OK});
}

// ---- Texts

TEST_F(XmlHostileDocuments, VeryLongTextsAreCut) {
    const std::string text(3000000, '7');
    EXPECT_EQ(ExpectNoHarmFrom(DocumentOf(Value("q", text) + Value("r", text) + Value("k", text) +
                                          Array("b", {text, text, text}) + Value("unknown", text))),
              QBFResult{QBF_OK});
}

TEST_F(XmlHostileDocuments, VeryLongTypesSizesAndNamesAreCut) {
    const std::string text(200000, 'x');
    EXPECT_EQ(ExpectNoHarmFrom(DocumentOf("<variable name=\"a\"><type>" + text + "</type><size>" + text +
                                          "</size><value>1</value></variable>")),
              QBFResult{QBF_OK});
    EXPECT_EQ(ExpectNoHarmFrom("<storage><" + text + "/>" + RegionElement(text, "") + "</storage>"), QBFResult{QBF_OK});
}

TEST_F(XmlHostileDocuments, ALongLineBreakSequenceDoesNoHarm) {
    EXPECT_EQ(ExpectNoHarmFrom(DocumentOf(Value("q", std::string(100000, '\n')))), QBFResult{QBF_OK});
}

TEST_F(XmlHostileDocuments, ZeroBytesAreAParseError) {
    EXPECT_EQ(ExpectNoHarmFrom(std::string(5000, '\0')), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(ExpectNoHarmFrom(kDocument + std::string(5000, '\0')), QBFResult{QBF_E_FAILED});
}

TEST_F(XmlHostileDocuments, ControlCharactersInNamesAreAParseError) {
    for (const char* name : {"\x01", "&#1;"}) {
        EXPECT_EQ(ExpectNoHarmFrom(DocumentOf(Value(name, "1"))), QBFResult{QBF_E_FAILED});
    }
}

/// Surprise: A string with `<` or `&`, a name with those or `"`
TEST_F(XmlHostileDocuments, BytesThatAreNoUtf8AreAParseError) {
    EXPECT_EQ(ExpectNoHarmFrom(DocumentOf(Value("q", "\xFF\xFE"))), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(ExpectNoHarmFrom(DocumentOf(Value("q", "\xC3"))), QBFResult{QBF_E_FAILED});
}

TEST_F(XmlHostileDocuments, AnEncodingThatNobodyKnowsIsAParseError) {
    EXPECT_EQ(RetrieveFrom("<?xml version=\"1.0\" encoding=\"klingon\"?><storage/>"), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures().front(), HasSubstr("\nunknown encoding\n"));
}

// ---- Document types

TEST_F(XmlHostileDocuments, EntitiesOfTheDocumentAreExpanded) {
    EXPECT_EQ(RetrieveFrom("<!DOCTYPE storage [<!ENTITY e \"42\">]>" +
                           RegionElement("R", ObjectElement("O", Value("a", "&e;")))),
              QBFResult{QBF_OK});
    EXPECT_EQ(At("a").Get<std::uint8_t>(), 42);
}

TEST_F(XmlHostileDocuments, EntitiesThatAreNotDeclaredAreAParseError) {
    EXPECT_EQ(RetrieveVariables(Value("a", "&nothing;")), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures().front(), HasSubstr("\nundefined entity\n"));
}

TEST_F(XmlHostileDocuments, EntitiesThatContainThemselvesAreAParseError) {
    EXPECT_EQ(RetrieveFrom("<!DOCTYPE s [<!ENTITY a \"&b;\"><!ENTITY b \"&a;\">]><s>&a;</s>"), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures().front(), HasSubstr("\nrecursive entity reference\n"));
}

/// Promise 14
TEST_F(XmlHostileDocuments, FilesThatADocumentNamesAreNotOpened) {
    WriteFile("other.xml", "7");
    CLibraryFaults files;
    EXPECT_EQ(RetrieveFrom("<!DOCTYPE region SYSTEM \"other.xml\" [<!ENTITY % p SYSTEM \"other.xml\">"
                           "<!ENTITY e SYSTEM \"other.xml\">]>" +
                           RegionElement("R", ObjectElement("O", Value("a", "&e;")))),
              QBFResult{QBF_OK});
    EXPECT_EQ(files.Count("fopen"), 1);
    EXPECT_NE(At("a").Get<std::uint8_t>(), 7);
}

/// Promise 14
TEST_F(XmlHostileDocuments, ABillionLaughsAreRefused) {
    std::string document = "<!DOCTYPE storage [<!ENTITY l0 \"ha ha ha ha ha ha ha ha ha ha\">";
    for (int i = 1; i < 10; ++i) {
        const std::string reference = "&l" + std::to_string(i - 1) + ";";
        document += "<!ENTITY l" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j) {
            document += reference;
        }
        document += "\">";
    }
    document += "]>" + RegionElement("R", ObjectElement("O", Value("q", "&l9;")));
    AllocationFaults memory;
    EXPECT_EQ(RetrieveFrom(document), QBFResult{QBF_E_FAILED});
    EXPECT_THAT(traces_.Failures().front(), HasSubstr("limit on input amplification factor"));
    EXPECT_LT(memory.PeakBytes(), 1000000U);
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

TEST_F(XmlHostileDocuments, DefaultAttributesOfADocumentTypeCountAsNames) {
    EXPECT_EQ(RetrieveFrom("<!DOCTYPE region [<!ATTLIST variable name CDATA \"a\">]><region name=\"R\"><object "
                           "name=\"O\"><variable><value>42</value></variable></object></region>"),
              QBFResult{QBF_OK});
    EXPECT_EQ(At("a").Get<std::uint8_t>(), 42);
}

// ---- Shapes

TEST_F(XmlHostileDocuments, TwentyThousandElementsInsideOneAnotherDoNoHarm) {
    constexpr int kLevels = 20000;
    for (const char* element : {"object", "array", "objectElement", "variable", "x"}) {
        std::string document = "<region name=\"R\">";
        for (int i = 0; i < kLevels; ++i) {
            document += std::string("<") + element + " name=\"n\">";
        }
        for (int i = 0; i < kLevels; ++i) {
            document += std::string("</") + element + ">";
        }
        AllocationFaults memory;
        const QBFResult result = RetrieveFrom(document + "</region>");
        // Only variables are missed when they are nested too deep.
        const bool isReported = element == std::string_view("variable");
        EXPECT_EQ(result, isReported ? QBFResult{QBF_E_FAILED} : QBFResult{QBF_OK}) << element;
        EXPECT_EQ(memory.LiveAllocations(), 0);
    }
}

TEST_F(XmlHostileDocuments, UnclosedElementsAreAParseErrorHoweverManyTheyAre) {
    std::string document = "<region name=\"R\">";
    for (int i = 0; i < 20000; ++i) {
        document += "<object name=\"O\"><variable name=\"a\"><array><element>";
    }
    AllocationFaults memory;
    EXPECT_EQ(RetrieveFrom(document), QBFResult{QBF_E_FAILED});
    EXPECT_EQ(memory.LiveAllocations(), 0);
}

}  // namespace

}  // namespace tal::test
