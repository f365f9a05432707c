/// The file of --accept.

#include "commands/AcceptedLosses.h"

#include "Support.h"
#include "files/InputError.h"

namespace tal::test {

namespace {

using talstore::AcceptedLoss;
using talstore::AcceptedLosses;
using talstore::Format;

constexpr const char* kAccepted = R"({"accepted": [
  {"variable": "R/O/gone", "kind": "ignored", "reason": "nobody reads it"},
  {"variable": "R/Old", "kind": "ignored", "reason": "the whole object goes"},
  {"variable": "R/O/*", "kind": "refused", "reason": "all get wider", "format": "secure"}]})";

std::string ReasonFor(AcceptedLosses& accepted, Format format, const std::string& path, const std::string& kind) {
    const AcceptedLoss* const found = accepted.Find(format, path, kind);
    return found == nullptr ? "" : found->reason;
}

TEST(Accepted, LossesAreThoseOfVariableAndKind) {
    AcceptedLosses accepted = AcceptedLosses::Parse("accepted.json", kAccepted);
    EXPECT_EQ(ReasonFor(accepted, Format::Xml, "R/O/gone", "ignored"), "nobody reads it");
    EXPECT_EQ(ReasonFor(accepted, Format::Xml, "R/O/gone", "refused"), "");
    EXPECT_EQ(ReasonFor(accepted, Format::Xml, "R/O/goner", "ignored"), "");
}

TEST(Accepted, LossesMayBeThoseOfAnObjectOrAPattern) {
    AcceptedLosses accepted = AcceptedLosses::Parse("accepted.json", kAccepted);
    EXPECT_EQ(ReasonFor(accepted, Format::Xml, "R/Old/Deep/x", "ignored"), "the whole object goes");
    EXPECT_EQ(ReasonFor(accepted, Format::Secure, "R/O/gain", "refused"), "all get wider");
}

TEST(Accepted, LossesOfOneFormatAreNotAcceptedInAnother) {
    AcceptedLosses accepted = AcceptedLosses::Parse("accepted.json", kAccepted);
    EXPECT_EQ(ReasonFor(accepted, Format::Binary, "R/O/gain", "refused"), "");
}

std::vector<std::string> Variables(const std::vector<AcceptedLoss>& losses) {
    std::vector<std::string> variables;
    variables.reserve(losses.size());
    for (const AcceptedLoss& loss : losses) {
        variables.push_back(loss.variable);
    }
    return variables;
}

TEST(Accepted, LossesThatMatchNothingAreTold) {
    AcceptedLosses accepted = AcceptedLosses::Parse("accepted.json", kAccepted);
    ASSERT_EQ(ReasonFor(accepted, Format::Xml, "R/O/gone", "ignored"), "nobody reads it");
    EXPECT_THAT(Variables(accepted.Unmatched({Format::Xml, Format::Secure})), testing::ElementsAre("R/Old", "R/O/*"));
}

TEST(Accepted, LossesOfAFormatThatNobodyLooksAtAreNotTold) {
    const AcceptedLosses accepted = AcceptedLosses::Parse("accepted.json", kAccepted);
    EXPECT_THAT(Variables(accepted.Unmatched({Format::Xml})), testing::ElementsAre("R/O/gone", "R/Old"));
}

TEST(Accepted, LossesOfTwoEntriesMatchBoth) {
    AcceptedLosses accepted = AcceptedLosses::Parse("accepted.json", R"({"accepted": [
        {"variable": "R/O", "kind": "ignored", "reason": "first"},
        {"variable": "R/O/x", "kind": "ignored", "reason": "second"}]})");
    EXPECT_EQ(ReasonFor(accepted, Format::Xml, "R/O/x", "ignored"), "first");
    EXPECT_THAT(accepted.Unmatched({Format::Xml}), testing::IsEmpty());
}

TEST(Accepted, LossesWithoutAFileAreNone) {
    AcceptedLosses accepted = AcceptedLosses::Load("");
    EXPECT_EQ(accepted.Find(Format::Xml, "R/O/x", "ignored"), nullptr);
}

std::string RefusalOfAccepted(const std::string& text) {
    try {
        static_cast<void>(AcceptedLosses::Parse("accepted.json", text));
    } catch (const talstore::InputError& error) {
        return error.what();
    }
    return "accepted";
}

TEST(Accepted, LossesAreRefusedWithTheirPlace) {
    EXPECT_EQ(RefusalOfAccepted("{"), "accepted.json: is no JSON");
    EXPECT_EQ(RefusalOfAccepted("[]"), "accepted.json: has to be {\"accepted\": [...]}");
    EXPECT_EQ(RefusalOfAccepted(R"({"accepted": [], "more": 1})"), "accepted.json: has to be {\"accepted\": [...]}");
    EXPECT_EQ(RefusalOfAccepted(R"({"accepted": [1]})"), "accepted.json: accepted[0]: is no object");
    EXPECT_EQ(RefusalOfAccepted(R"({"accepted": [{"variable": "R", "kind": "ignored"}]})"),
              "accepted.json: accepted[0]: reason has to be a text");
    EXPECT_EQ(RefusalOfAccepted(R"({"accepted": [{"variable": "", "kind": "ignored", "reason": "x"}]})"),
              "accepted.json: accepted[0]: variable has to be a text");
    EXPECT_EQ(RefusalOfAccepted(R"({"accepted": [{"variable": "R", "kind": "restored", "reason": "x"}]})"),
              "accepted.json: accepted[0].kind: \"restored\" is no kind of loss");
    EXPECT_EQ(RefusalOfAccepted(R"({"accepted": [{"variable": "R", "kind": "left", "reason": "x", "format": "zip"}]})"),
              "accepted.json: accepted[0].format: unknown format \"zip\"");
    EXPECT_EQ(RefusalOfAccepted(R"({"accepted": [{"variable": "R", "kind": "left", "reason": "x", "why": "y"}]})"),
              "accepted.json: accepted[0]: unknown key \"why\"");
}

}  // namespace

}  // namespace tal::test
