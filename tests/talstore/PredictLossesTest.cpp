/// What is predicted of a change of layouts is what a store by the old one and a retrieve by the new one really do.

#include "board/PredictLosses.h"
#include "support/CaseStep.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <set>

#include "DatabaseDescription.h"
#include "Support.h"
#include "TypeTable.h"
#include "board/ProviderSession.h"
#include "board/Restore.h"
#include "board/Value.h"
#include "formats/StorageFile.h"

namespace tal::test {

namespace {

using host::Database;
using host::TypeInfo;
using host::TypeKind;
using talstore::Certainty;
using talstore::Format;
using talstore::Outcome;
using talstore::PredictedLoss;
using talstore::Prediction;

// ---- What a value means, whatever its type

bool IsString(const host::Variable& variable) {
    return variable.Type() == VARIABLE_TYPE_STRING;
}

std::vector<double> NumbersOf(const host::Variable& variable) {
    const TypeInfo& type = *host::FindType(variable.Type());
    std::vector<double> numbers;
    host::VisitElementType(type, [&](auto zero) {
        for (std::uint32_t i = 0; i < variable.ElementCount(); ++i) {
            numbers.push_back(static_cast<double>(variable.Get<decltype(zero)>(i)));
        }
    });
    return numbers;
}

bool IsSameNumber(double was, double is, const host::Variable& wasVariable) {
    if (host::FindType(wasVariable.Type())->kind != TypeKind::Real || std::isnan(was)) {
        return was == is || (std::isnan(was) && std::isnan(is));
    }
    // Rounding is no loss, but what is out of range is.
    const bool isOut = (std::isinf(is) && !std::isinf(was)) || (is == 0 && was != 0);
    return !isOut && static_cast<float>(was) == static_cast<float>(is);
}

bool AreSameNumbers(const host::Variable& was, const host::Variable& is) {
    const std::vector<double> before = NumbersOf(was);
    const std::vector<double> after = NumbersOf(is);
    bool areSame = before.size() == after.size();
    for (std::size_t i = 0; areSame && i < before.size(); ++i) {
        areSame = IsSameNumber(before[i], after[i], was);
    }
    return areSame;
}

bool IsTextOfNumber(const std::string& text, const host::Variable& variable) {
    if (host::FindType(variable.Type())->isArray) {
        return false;
    }
    if (variable.Type() == VARIABLE_TYPE_BOOL) {
        return text == (variable.Get<bool>() ? "TRUE" : "FALSE");
    }
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    const double value = NumbersOf(variable).front();
    const bool isSame =
        number == value || (std::isnan(number) && std::isnan(value)) || IsSameNumber(value, number, variable);
    return !text.empty() && *end == '\0' && isSame;
}

bool IsTextOfBytes(const host::Variable& text, const host::Variable& characters) {
    const bool hasEnd = talstore::BytesOf(text).find('\0') != std::string_view::npos;
    return host::FindType(characters.Type())->kind == TypeKind::Char && hasEnd &&
           talstore::BytesOf(text) == talstore::BytesOf(characters);
}

bool MeansTheSame(Format format, const host::Variable& was, const host::Variable& is) {
    if (IsString(was) != IsString(is)) {
        const host::Variable& text = IsString(was) ? was : is;
        const host::Variable& other = IsString(was) ? is : was;
        return format == Format::Xml ? IsTextOfNumber(text.Text(), other)
                                     : text.SizeInBytes() == 0 || IsTextOfBytes(text, other);
    }
    return IsString(was) ? was.Text() == is.Text() : AreSameNumbers(was, is);
}

// ---- What really happens

/// What became of variables of either layout, by path; "kept" when nothing is lost.
using Outcomes = std::map<std::string, std::string>;

struct Tried {
    Outcomes outcomes;
    bool fails = false;  ///< Where a retrieve into the old layout does not.
};

struct Retrieved {
    talstore::StoredContents contents;
    talstore::RestoreReport report;
};

Retrieved Retrieve(const talstore::ProviderSession& session, const talstore::StorageFile& file, Database& layout) {
    Retrieved retrieved;
    retrieved.contents = talstore::Inspect(file, &layout);
    retrieved.report = talstore::Restore(session, file, retrieved.contents, layout);
    return retrieved;
}

/// A board with the old layout, into which its own file has been retrieved.
class OldBoard {
public:
    /// @param before     What was stored.
    /// @param retrieved  The same layout with what came back.
    OldBoard(Format format, Database& before, Database& retrieved, const talstore::StoredContents& contents)
        : before_(before), retrieved_(retrieved) {
        std::map<std::string, int> counts;
        for (const host::Variable* const variable : before.Variables()) {
            ++counts[variable->Path()];
        }
        for (const talstore::StoredItem& item : contents.items) {
            ++counts[item.path];
        }
        std::size_t item = 0;
        talstore::VisitVariables(before, [&](const host::Variable& variable, bool isWritable) {
            if (!isWritable && !talstore::InfoOf(format).storesReadOnlyObjects) {
                return;
            }
            while (item < contents.items.size() && contents.items[item].holdsObjects) {
                ++item;
            }
            const bool isOwn = item < contents.items.size() && contents.items[item++].path == variable.Path();
            if (isOwn && counts[variable.Path()] == 2) {
                paths_.insert(variable.Path());
            }
        });
    }

    /// @return what it got back for the path. Null when that is nothing, or not what was stored, or when the path is
    ///         that of several variables, as a secure file has it: all this says nothing about the change.
    [[nodiscard]] const host::Variable* Has(const std::string& path) const {
        if (paths_.count(path) == 0) {
            return nullptr;
        }
        const host::Variable& is = retrieved_.At(path);
        const bool isAsStored =
            talstore::AreSameInXml(is.Type(), talstore::BytesOf(before_.At(path)), talstore::BytesOf(is));
        return is.Retrieved() && isAsStored ? &is : nullptr;
    }

    [[nodiscard]] const std::set<std::string>& Paths() const { return paths_; }

private:
    Database& before_;
    Database& retrieved_;
    std::set<std::string> paths_;
};

/// Adds what the new layout has no variable with a value for.
void AddIgnored(const Retrieved& changed, const OldBoard& old, Database& after, Outcomes& outcomes) {
    for (const std::string& path : old.Paths()) {
        const host::Variable* const now = after.Find(path);
        const bool hasValue = now != nullptr && !host::HoldsObjects(now->Type());
        if (!hasValue && old.Has(path) != nullptr) {
            outcomes[path] = "ignored";
        }
    }
    for (const std::size_t item : changed.report.LostItems()) {
        const auto found = outcomes.find(changed.contents.items[item].path);
        if (changed.report.items[item].fate == talstore::Fate::Refused && found != outcomes.end()) {
            found->second = "refused";
        }
    }
}

/// Stores what `before` holds, and retrieves it into a board with the same layout and one with the new layout.
/// @param unchanged  The same layout as `before`.
Tried Try(Format format, Database& before, Database& unchanged, Database& after) {
    const talstore::ProviderSession session(talstore::ProviderOf(format), 0, 0, "file");
    const talstore::StorageFile file = {"file", session.Store(before).bytes.value_or(""), format};
    const bool failedBefore = QBF_IsFailure(session.Retrieve(file.bytes, unchanged).result);
    const OldBoard old(format, before, unchanged, talstore::Inspect(file, &unchanged));
    const Retrieved changed = Retrieve(session, file, after);
    Tried tried;
    tried.fails = !failedBefore && QBF_IsFailure(changed.report.run.result);
    for (const talstore::VariableReport& report : changed.report.variables) {
        const std::string& path = report.variable->Path();
        const host::Variable* const was = old.Has(path);
        if (was == nullptr) {
            continue;
        }
        const bool isRestored = report.outcome == Outcome::Restored || report.outcome == Outcome::Changed;
        // Of several variables with one path, files reach the first.
        tried.outcomes.emplace(path, !isRestored                                    ? talstore::NameOf(report.outcome)
                                     : MeansTheSame(format, *was, *report.variable) ? "kept"
                                                                                    : "changed");
    }
    if (talstore::InfoOf(format).looksItemsUp) {
        AddIgnored(changed, old, after, tried.outcomes);
    }
    return tried;
}

// ---- Every type as every other one

/// A type with a number of elements.
struct Shape {
    VariableType type;
    std::uint32_t count;

    [[nodiscard]] std::string Text() const {
        return std::string(host::FindType(type)->name) + '[' + std::to_string(count) + ']';
    }
};

std::vector<Shape> AllShapes() {
    std::vector<Shape> shapes;
    for (VariableType code = 0; const TypeInfo* const type = host::FindType(code); ++code) {
        if (type->kind == TypeKind::Object) {
            continue;
        }
        const std::vector<std::uint32_t> counts = type->kind == TypeKind::String
                                                      ? std::vector<std::uint32_t>{1, 4, 8, 16}
                                                  : type->isArray ? std::vector<std::uint32_t>{0, 1, 2, 4}
                                                                  : std::vector<std::uint32_t>{1};
        for (const std::uint32_t count : counts) {
            shapes.push_back({code, count});
        }
    }
    return shapes;
}

void AddShape(host::Object& object, const std::string& name, Shape shape) {
    const TypeInfo& type = *host::FindType(shape.type);
    const std::size_t size = std::size_t{shape.count} * type.elementSize;
    object.Raw(name, shape.type, shape.count, std::vector<std::uint8_t>(size));
}

constexpr double kInfinity = std::numeric_limits<double>::infinity();

const std::vector<double> kNumbers = {0,
                                      1,
                                      5,
                                      -1,
                                      -5,
                                      12,
                                      127,
                                      128,
                                      200,
                                      255,
                                      256,
                                      300,
                                      -128,
                                      -129,
                                      32767,
                                      32768,
                                      65535,
                                      65536,
                                      -32768,
                                      1.5,
                                      1e30,
                                      -1e30,
                                      1e300,
                                      1e-300,
                                      16777216,
                                      16777217,
                                      2147483647,
                                      2147483648.0,
                                      4294967295.0,
                                      -2147483648.0,
                                      kInfinity,
                                      -kInfinity,
                                      std::numeric_limits<double>::quiet_NaN()};
const std::vector<std::string> kTexts = {
    "x", "TRUE", "7", "", "-1", "12x", "FALSE", "300", "70000", "1e99", "abcdefg", "99999999999", "abcdefghijklmno"};

/// @return whether the type has the number.
bool SetNumber(host::Variable& variable, double number) {
    return host::VisitElementType(*host::FindType(variable.Type()), [&](auto zero) {
        using Number = decltype(zero);
        using Limits = std::numeric_limits<Number>;
        const bool isWhole = number == std::floor(number);
        const bool isIn = std::is_floating_point_v<Number>
                              ? !std::isfinite(number) || std::abs(number) <= static_cast<double>(Limits::max())
                              : isWhole && number >= static_cast<double>(Limits::min()) &&
                                    number <= static_cast<double>(Limits::max());
        for (std::uint32_t i = 0; isIn && i < variable.ElementCount(); ++i) {
            variable.Set(static_cast<Number>(number), i);
        }
        return isIn;
    });
}

bool SetWord(host::Variable& variable, std::uint32_t word) {
    for (std::uint32_t i = 0; i < variable.ElementCount(); ++i) {
        variable.Set(word, i);
    }
    return true;
}

bool SetTextIfItFits(host::Variable& variable, const std::string& text) {
    const bool fits = text.size() < std::max(1U, variable.ElementCount());
    if (fits) {
        variable.SetText(text);
    }
    return fits;
}

/// @return whether there are that many values and the type has this one.
bool SetNthValue(host::Variable& variable, std::size_t n) {
    if (IsString(variable)) {
        return n < kTexts.size() && SetTextIfItFits(variable, kTexts[n]);
    }
    if (n == kNumbers.size()) {
        // TRUE is any word but 0.
        return host::FindType(variable.Type())->kind == TypeKind::Bool && SetWord(variable, 7);
    }
    return n < kNumbers.size() && SetNumber(variable, kNumbers[n]);
}

/// Of one variable: every kind of loss with "always" or "sometimes".
using Losses = std::map<std::string, std::string>;

std::map<std::string, Losses> LossesIn(const Prediction& prediction) {
    std::map<std::string, Losses> losses;
    for (const PredictedLoss& loss : prediction.losses) {
        std::string& certainty = losses[loss.path][loss.kind];
        certainty = loss.isCertain || certainty == "always" ? "always" : "sometimes";
    }
    return losses;
}

/// What happened to one variable with one value after the other.
Losses LossesIn(const std::set<std::string>& outcomes) {
    Losses losses;
    for (const std::string& outcome : outcomes) {
        if (outcome != "kept") {
            losses[outcome] = outcomes.size() == 1 ? "always" : "sometimes";
        }
    }
    return losses;
}

/// Layouts with an object for each value, whose variables are those of `to` in the new one, and all of them `from` with
/// that value in the old one.
struct Pair {
    Pair(Shape from, const std::vector<Shape>& to, const std::vector<std::size_t>& values) {
        for (Database* const layout : {&before, &unchanged, &after}) {
            host::Region& region = layout->AddRegion("R");
            for (const std::size_t value : values) {
                host::Object& object = region.AddObject(std::to_string(value));
                for (const Shape& shape : to) {
                    AddShape(object, shape.Text(), layout == &after ? shape : from);
                }
            }
        }
    }
    Database before;
    Database unchanged;
    Database after;
};

/// @return the numbers of the values that a variable of the shape can have.
std::vector<std::size_t> ValuesOf(Shape shape) {
    Database database;
    AddShape(database.AddRegion("R").AddObject("O"), "v", shape);
    std::vector<std::size_t> values;
    for (std::size_t n = 0; n <= kNumbers.size(); ++n) {
        if (SetNthValue(database.At("R/O/v"), n)) {
            values.push_back(n);
        }
    }
    return values;
}

/// What happened to each shape with one value after the other.
using ByShape = std::map<std::string, std::set<std::string>>;

/// Stores these values of the one type in one file, and retrieves it.
void TryValues(Format format, Shape from, const std::vector<Shape>& to, const std::vector<std::size_t>& values,
               ByShape& happened) {
    Pair pair(from, to, values);
    for (host::Variable* const variable : pair.before.Variables()) {
        SetNthValue(*variable, std::stoul(variable->Path().substr(2)));
    }
    for (const auto& [path, outcome] : Try(format, pair.before, pair.unchanged, pair.after).outcomes) {
        happened[path.substr(path.rfind('/') + 1)].insert(outcome);
    }
}

void ExpectPrediction(Format format, Shape from, const std::vector<Shape>& to, const ByShape& happened) {
    Pair pair(from, to, {0});
    const std::map<std::string, Losses> predicted =
        LossesIn(talstore::PredictLosses(format, 0, pair.before, pair.after));
    for (const auto& [shape, outcomes] : happened) {
        const auto found = predicted.find("R/0/" + shape);
        EXPECT_EQ(found == predicted.end() ? Losses() : found->second, LossesIn(outcomes))
            << talstore::NameOf(format) << ": " << from.Text() << " as " << shape;
    }
}

bool IsBool(Shape shape) {
    return host::FindType(shape.type)->kind == TypeKind::Bool;
}

TEST(EveryTypeAsEveryOther, LosesInASecureFileWhatIsPredicted) {
    for (const Shape& from : AllShapes()) {
        ByShape happened;
        TryValues(Format::Secure, from, AllShapes(), ValuesOf(from), happened);
        ExpectPrediction(Format::Secure, from, AllShapes(), happened);
    }
}

TEST(EveryTypeAsEveryOther, LosesInADocumentWhatIsPredicted) {
    std::vector<Shape> shapes = AllShapes();
    shapes.erase(std::remove_if(shapes.begin(), shapes.end(), IsBool), shapes.end());
    for (const Shape& from : AllShapes()) {
        ByShape happened;
        TryValues(Format::Xml, from, shapes, ValuesOf(from), happened);
        ExpectPrediction(Format::Xml, from, shapes, happened);
    }
}

/// What is refused takes all that follows with it, so each value has a document of its own.
TEST(EveryTypeAsEveryOther, LosesAsABoolInADocumentWhatIsPredicted) {
    for (const Shape& from : AllShapes()) {
        for (const Shape& to : {Shape{VARIABLE_TYPE_BOOL, 1}, Shape{VARIABLE_TYPE_BOOL_ARRAY, 2}}) {
            ByShape happened;
            for (const std::size_t value : {std::size_t{0}, std::size_t{1}}) {
                TryValues(Format::Xml, from, {to}, {value}, happened);
            }
            ExpectPrediction(Format::Xml, from, {to}, happened);
        }
    }
}

// ---- Whole layouts

/// Descriptions with few names, so that much of one is in another one, in its place or elsewhere.
class LayoutGenerator {
public:
    explicit LayoutGenerator(std::uint32_t seed) : random_(seed) {}

    nlohmann::json Layout() {
        nlohmann::json regions = nlohmann::json::array();
        for (const char* const name : {"R", "S"}) {
            nlohmann::json objects = nlohmann::json::array();
            for (const char* const object : {"O", "P"}) {
                objects.push_back(Object(object, 0));
            }
            regions.push_back({{"name", name}, {"objects", std::move(objects)}});
        }
        return {{"regions", std::move(regions)}};
    }

    /// The same with something else here and there.
    nlohmann::json Changed(nlohmann::json layout) {
        for (nlohmann::json& region : layout["regions"]) {
            for (nlohmann::json& object : region["objects"]) {
                ChangeObject(object, 0);
            }
            if (OneIn(8)) {
                std::swap(region["objects"][0], region["objects"][1]);
            }
        }
        return layout;
    }

    std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_() % limit); }

private:
    bool OneIn(std::uint32_t count) { return Below(count) == 0; }

    nlohmann::json Object(const std::string& name, int depth) {
        nlohmann::json variables = nlohmann::json::array();
        for (const char* const variable : {"a", "b", "c", "d", "e", "f"}) {
            if (!OneIn(4)) {
                variables.push_back(Variable(variable, depth));
            }
        }
        return {{"name", name}, {"writable", !OneIn(8)}, {"variables", std::move(variables)}};
    }

    nlohmann::json Variable(const std::string& name, int depth) {
        // Most are of a few types, so that a change often meets one that takes it.
        constexpr VariableType kCommon[] = {VARIABLE_TYPE_U8,     VARIABLE_TYPE_U32,      VARIABLE_TYPE_BOOL,
                                            VARIABLE_TYPE_STRING, VARIABLE_TYPE_U8_ARRAY, VARIABLE_TYPE_U32_ARRAY};
        const VariableType code = OneIn(2) ? kCommon[Below(std::size(kCommon))] : Below(VARIABLE_TYPE_OBJECT_ARRAY + 1);
        const TypeInfo& type = *host::FindType(code);
        nlohmann::json variable = {{"name", name}, {"type", type.name}};
        if (type.kind == TypeKind::Object && depth == 2) {
            variable["type"] = "U16";
        } else if (type.kind == TypeKind::Object && type.isArray) {
            variable["objects"] = nlohmann::json::array();
            for (const char* const element : {"N", "M"}) {
                variable["objects"].push_back(Object(element, depth + 1));
            }
        } else if (type.kind == TypeKind::Object) {
            variable["object"] = Object(OneIn(2) ? "N" : name, depth + 1);
        } else if (host::HasElementCount(type)) {
            variable["count"] = type.kind == TypeKind::String ? 1 + Below(8) : Below(4);
        }
        return variable;
    }

    void ChangeObject(nlohmann::json& object, int depth) {
        nlohmann::json& variables = object["variables"];
        for (nlohmann::json& variable : variables) {
            if (OneIn(8)) {
                variable = Variable(variable["name"], depth);
            } else if (variable.contains("object")) {
                ChangeObject(variable["object"], depth + 1);
            }
        }
        if (!variables.empty() && OneIn(4)) {
            variables.erase(Below(static_cast<std::uint32_t>(variables.size())));
        }
        if (variables.size() > 1 && OneIn(4)) {
            std::swap(variables.front(), variables.back());
        }
        if (OneIn(4)) {
            variables.insert(variables.begin() + Below(static_cast<std::uint32_t>(variables.size() + 1)),
                             Variable("g", depth));
        }
        if (OneIn(16)) {
            object["writable"] = !object["writable"];
        }
    }

    std::mt19937 random_;
};

void SetRandomValues(Database& layout, LayoutGenerator& random) {
    const auto valueCount = static_cast<std::uint32_t>(kNumbers.size() + 1);
    for (host::Variable* const variable : layout.Variables()) {
        if (!host::HoldsObjects(variable->Type())) {
            SetNthValue(*variable, random.Below(IsString(*variable) ? 5 : valueCount));
        }
    }
}

/// What was predicted, and what happened, of one file.
void ExpectNoSurprise(const Prediction& predicted, const Tried& tried) {
    const std::map<std::string, Losses> losses = LossesIn(predicted);
    for (const auto& [path, outcome] : tried.outcomes) {
        const auto found = losses.find(path);
        const Losses expected = found == losses.end() ? Losses() : found->second;
        EXPECT_TRUE(outcome == "kept" || expected.count(outcome) == 1)
            << path << ": " << outcome << ", predicted " << testing::PrintToString(expected);
        for (const auto& [kind, certainty] : expected) {
            EXPECT_TRUE(certainty == "sometimes" || outcome == kind) << path << ": " << outcome << ", not " << kind;
        }
    }
    EXPECT_TRUE(predicted.fails == Certainty::Maybe || tried.fails == (predicted.fails == Certainty::Yes));
}

class AnyTwoLayouts : public testing::TestWithParam<Format> {};

TEST_P(AnyTwoLayouts, LoseWhatIsPredicted) {
    constexpr std::uint32_t kPairs = 200;
    std::size_t outcomeCount = 0;
    std::set<std::string> seen;
    for (std::uint32_t seed = 1; seed <= kPairs && !HasFailure(); seed += static_cast<std::uint32_t>(CaseStep())) {
        LayoutGenerator random(seed);
        const nlohmann::json description = random.Layout();
        const auto before = host::LoadDatabase(description);
        const auto unchanged = host::LoadDatabase(description);
        const nlohmann::json changed = random.Changed(description);
        const auto after = host::LoadDatabase(changed);
        const Prediction predicted = talstore::PredictLosses(GetParam(), 0, *before, *after);
        SetRandomValues(*before, random);
        const Tried tried = Try(GetParam(), *before, *unchanged, *after);
        SCOPED_TRACE("seed " + std::to_string(seed) + "\n" + description.dump() + "\n" + changed.dump());
        ExpectNoSurprise(predicted, tried);
        outcomeCount += tried.outcomes.size();
        for (const auto& [path, outcome] : tried.outcomes) {
            seen.insert(outcome);
        }
    }
    // The layouts are such that there is something to predict.
    EXPECT_GT(outcomeCount, kPairs / CaseStep() * 10);
    EXPECT_GE(seen.size(), 3U) << testing::PrintToString(seen);
}

INSTANTIATE_TEST_SUITE_P(OfEachFormat, AnyTwoLayouts, testing::Values(Format::Xml, Format::Secure, Format::Binary),
                         [](const auto& format) { return std::string(talstore::NameOf(format.param)); });

}  // namespace

}  // namespace tal::test
