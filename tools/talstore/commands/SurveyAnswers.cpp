#include "commands/SurveyAnswers.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "commands/Report.h"
#include "commands/UseError.h"
#include "common/Text.h"
#include "files/InputError.h"
#include "files/Interrupt.h"
#include "formats/Formats.h"

namespace tal::talstore {

namespace {

/// Ends the reading of a record that no survey has printed.
class RecordError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

std::uint64_t NumberAt(const Json& json, const char* key) {
    const Json& number = json.at(key);
    if (!number.is_number_unsigned()) {
        throw RecordError(std::string(key) + " is no number that a survey prints");
    }
    return number;
}

std::optional<std::uint64_t> OptionalNumber(const Json& json, const char* key) {
    return json.contains(key) ? std::optional(NumberAt(json, key)) : std::nullopt;
}

/// @param text  Of HexBytes.
std::string BytesOfHex(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 3) {
        bytes += static_cast<char>(std::strtoul(text.substr(i, 2).c_str(), nullptr, 16));
    }
    if (tools::HexBytes(bytes) != text) {
        throw RecordError("nameBytes are no bytes in hexadecimal");
    }
    return bytes;
}

/// A file's record, and how many records of losses follow it.
struct FileRecord {
    UnitReport unit;
    std::uint64_t lossCount = 0;
};

FileRecord FileOf(const Json& json) {
    FileRecord record;
    UnitReport& unit = record.unit;
    unit.file = json.at("file");
    unit.archive = json.value("archive", "");
    unit.nameBytes = BytesOfHex(json.value("nameBytes", ""));
    unit.problem = json.value("problem", "");
    if (unit.IsReadable()) {
        unit.format = json.at("format");
        if (!FormatNamed(unit.format)) {
            throw RecordError(tools::Quoted(unit.format) + " is no format");
        }
        unit.size = NumberAt(json, "size");
        unit.channel = NumberAt(json, "channel");
        unit.damage = json.at("damage");
        for (std::size_t i = 0; i < unit.counts.size(); ++i) {
            unit.counts[i] = NumberAt(json.at("counts"), NameOf(static_cast<Outcome>(i)));
        }
        record.lossCount = NumberAt(json, "losses");
    }
    return record;
}

UnitLoss LossOf(const Json& json) {
    const std::vector<std::string>& kinds = KindsOfLoss();
    if (std::find(kinds.begin(), kinds.end(), json.at("kind")) == kinds.end()) {
        throw RecordError(json.at("kind").dump() + " is no kind of loss");
    }
    UnitLoss loss = {json.at("kind"), json.at("path"), json.at("reason"), json.value("cause", "")};
    loss.bytesInFile = OptionalNumber(json, "bytesInFile");
    loss.bytesInLayout = OptionalNumber(json, "bytesInLayout");
    if (json.contains("differs")) {
        loss.differs = json["differs"].get<bool>();
    }
    return loss;
}

SurveyFrame FrameOf(const Json& json) {
    return {json.at("layout"), json.at("digest"), json.value("from", ""), json.at("complete")};
}

/// Reads one answer, a unit at a time.
class AnswerReader {
public:
    /// Throws InputError.
    explicit AnswerReader(std::string name) : name_(std::move(name)) {
        RequireRereadable();
        stream_.open(name_, std::ios::binary);
        if (!stream_) {
            RefuseFile(name_, std::strerror(errno));
        }
        ReadFrame();
        ReadUnit();
    }

    [[nodiscard]] const std::string& Name() const { return name_; }
    [[nodiscard]] const SurveyFrame& Frame() const { return frame_; }
    /// The next unit; none after the last one.
    [[nodiscard]] const std::optional<UnitReport>& Unit() const { return unit_; }

    [[nodiscard]] UnitReport Take() {
        UnitReport unit = std::move(*unit_);
        ReadUnit();
        return unit;
    }

private:
    /// A pipe gives its lines once.
    void RequireRereadable() const {
        std::error_code ignored;
        const std::filesystem::file_status status = std::filesystem::status(name_, ignored);
        const bool isThere = std::filesystem::exists(status) || name_ == "-";
        if (isThere && !std::filesystem::is_regular_file(status)) {
            RefuseFile(name_, "an answer to merge has to be a regular file");
        }
    }

    /// What the answer is about is said at its end.
    void ReadFrame() {
        std::string last;
        for (std::string line; std::getline(stream_, line);) {
            StopIfInterrupted();
            last = std::move(line);
            ++line_;
        }
        Understand(last, "summary", [&](const Json& json) {
            frame_ = FrameOf(json);
            unitsLeft_ = NumberAt(json, "files");
        });
        stream_.clear();
        stream_.seekg(0);
        lineCount_ = std::exchange(line_, 0);
    }

    void ReadUnit() {
        unit_.reset();
        const std::string line = NextLine();
        if (line_ == lineCount_) {
            if (unitsLeft_ != 0) {
                Refuse("the answer lacks " + tools::Count(unitsLeft_, "file") + " that its summary counts");
            }
            return;
        }
        FileRecord record;
        Understand(line, "file", [&](const Json& json) { record = FileOf(json); });
        if (unitsLeft_-- == 0) {
            Refuse("the answer has more files than its summary says");
        }
        if (!MayFollow(placeBefore_, record.unit)) {
            Refuse("the file comes before the one above it");
        }
        placeBefore_ = record.unit.Order();
        for (; record.lossCount > 0; --record.lossCount) {
            Understand(NextLine(), "loss", [&](const Json& json) { record.unit.losses.push_back(LossOf(json)); });
        }
        unit_ = std::move(record.unit);
    }

    static bool MayFollow(const std::string& placeBefore, const UnitReport& unit) {
        return placeBefore < unit.Order() || (placeBefore == unit.Order() && !unit.archive.empty());
    }

    std::string NextLine() {
        std::string line;
        std::getline(stream_, line);
        ++line_;
        return line;
    }

    void Understand(const std::string& line, const char* record,
                    const std::function<void(const Json& json)>& use) const {
        try {
            const Json json = Json::parse(line);
            if (json.at("schema") == "talstore/survey/1" && json.at("record") == record) {
                use(json);
                return;
            }
        } catch (const Json::exception&) {
            // Said below, for people.
        } catch (const RecordError& error) {
            Refuse(error.what());
        }
        Refuse("this is no whole answer of a survey with --partial or --json");
    }

    [[noreturn]] void Refuse(const std::string& problem) const {
        RefuseFile(name_, "line " + std::to_string(line_) + ": " + problem);
    }

    std::string name_;
    std::ifstream stream_;
    std::uint64_t line_ = 0;  ///< Of the line that was read last, from 1 on.
    std::uint64_t lineCount_ = 0;
    std::uint64_t unitsLeft_ = 0;  ///< Of those that the summary counts.
    SurveyFrame frame_;
    std::optional<UnitReport> unit_;
    std::string placeBefore_;  ///< Where the unit before it stands among others.
};

void RequireTheSameSubject(const AnswerReader& first, const AnswerReader& other) {
    if (first.Frame().digest != other.Frame().digest) {
        RefuseFile(other.Name(), "is about another layout than " + first.Name());
    }
    if (first.Frame().before != other.Frame().before) {
        RefuseFile(other.Name(), "has another --from than " + first.Name());
    }
}

/// @return the answer whose unit comes next; null when none is left.
AnswerReader* FirstOf(const std::vector<std::unique_ptr<AnswerReader>>& readers) {
    AnswerReader* first = nullptr;
    for (const auto& reader : readers) {
        if (!reader->Unit()) {
            continue;
        }
        if (first != nullptr && first->Unit()->Order() == reader->Unit()->Order()) {
            RefuseFile(reader->Unit()->Order(), "is in " + first->Name() + " and in " + reader->Name());
        }
        if (first == nullptr || reader->Unit()->Order() < first->Unit()->Order()) {
            first = reader.get();
        }
    }
    return first;
}

}  // namespace

SurveyFrame MergeUnits(const std::vector<std::string>& names, const TakeUnit& take) {
    if (names.empty()) {
        throw UseError("the answers to merge are needed");
    }
    std::vector<std::unique_ptr<AnswerReader>> readers;
    for (const std::string& name : names) {
        readers.push_back(std::make_unique<AnswerReader>(name));
        RequireTheSameSubject(*readers.front(), *readers.back());
    }
    SurveyFrame frame = readers.front()->Frame();
    for (const auto& reader : readers) {
        frame.isComplete = frame.isComplete && reader->Frame().isComplete;
    }
    for (AnswerReader* first = nullptr; (first = FirstOf(readers)) != nullptr;) {
        if (InterruptingSignal() != 0) {
            frame.isComplete = false;
            break;
        }
        take(first->Take());
    }
    return frame;
}

}  // namespace tal::talstore
