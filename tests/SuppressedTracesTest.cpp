/// Whether a trace is admitted changes nothing but the trace: every failing path is walked with all records and with
/// none, and both walks end alike.

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "ReferenceHost.h"
#include "support/AllocationFaults.h"
#include "support/CLibraryFaults.h"
#include "support/FileProviders.h"
#include "support/Files.h"
#include "support/HostCalls.h"
#include "support/Sweep.h"
#include "support/TraceRecorder.h"

namespace tal::test {

namespace {

constexpr const char* kStorageFile = "storage";

/// What an operation leaves behind.
struct Outcome {
    QBFResult result = QBF_OK;
    std::string file;
    std::vector<std::vector<std::uint8_t>> values;

    bool operator==(const Outcome& other) const {
        return result == other.result && file == other.file && values == other.values;
    }
};

class SuppressedTraces : public testing::TestWithParam<FileProvider> {
protected:
    using Operation = std::function<QBFResult()>;

    SuppressedTraces() {
        host::Object& object = database_.AddRegion("R").AddObject("O");
        object.U8("u8", 8).Bool("bool", 1).String("text", 8, "text").U16Array("words", {1, 2}).FloatArray("none", {});
        object.AddNested("N").Double("double", 0.5);
        object.AddToArray("A", "E").S32("s32", -32).BoolArray("bools", {0, 1});
        database_.AddRegion("S").AddObject("P").ReadOnly().U8("fixed", 1);
        provider_->StoreAll(0, database_.Handle(), 0);
        goodFile_ = ReadFile(kStorageFile);
    }

    QBFResult Store(StorageLocation location = 0) { return provider_->StoreAll(location, database_.Handle(), 0); }
    QBFResult Retrieve(StorageLocation location = 0) { return provider_->RetrieveAll(location, database_.Handle(), 0); }

    Outcome OutcomeOf(int threshold, const std::string& file, const Operation& operation) {
        WriteFile(kStorageFile, file);
        database_.SetAllToZero();
        traces_.Clear();
        TraceRecorder::SetThreshold(threshold);
        const QBFResult result = operation();
        Outcome outcome{result, ReadFile(kStorageFile), {}};
        for (const host::Variable* variable : database_.Variables()) {
            if (variable->DefaultContent() != nullptr) {
                outcome.values.push_back(variable->Bytes());
            }
        }
        return outcome;
    }

    void ExpectTheSameWithoutTraces(const std::string& file, const Operation& operation) {
        const Outcome traced = OutcomeOf(INT_MAX, file, operation);
        const Outcome silent = OutcomeOf(-1, file, operation);
        EXPECT_TRUE(traces_.Records().empty());
        EXPECT_EQ(silent.result, traced.result);
        EXPECT_TRUE(silent == traced);
    }

    /// Runs the operation with its first fault, its second, and so on.
    template <class Faults>
    void ExpectTheSameForEveryFault(const Operation& operation) {
        SweepFaults([&](int nth) {
            bool fired = false;
            ExpectTheSameWithoutTraces(goodFile_, [&] {
                Faults faults;
                faults.Fail(nth);
                const QBFResult result = operation();
                fired = faults.Fired();
                return result;
            });
            return fired;
        });
    }

    TemporaryDirectory directory_;
    TraceRecorder traces_;
    host::Database database_;
    IStorageProvider* const provider_ = GetParam().Prepare(kStorageFile);
    std::string goodFile_;
};

INSTANTIATE_TEST_SUITE_P(OfFileProviders, SuppressedTraces, testing::ValuesIn(kFileProviders),
                         [](const auto& instance) { return instance.param.name; });

/// Promise 24
TEST_P(SuppressedTraces, ChangeNothingOfAStoreThatAFailingHostCallMeets) {
    ExpectTheSameForEveryFault<HostCalls>([this] { return Store(); });
}

TEST_P(SuppressedTraces, ChangeNothingOfARetrieveThatAFailingHostCallMeets) {
    ExpectTheSameForEveryFault<HostCalls>([this] { return Retrieve(); });
}

TEST_P(SuppressedTraces, ChangeNothingOfAStoreThatAFailingFileCallMeets) {
    ExpectTheSameForEveryFault<CLibraryFaults>([this] { return Store(); });
}

TEST_P(SuppressedTraces, ChangeNothingOfARetrieveThatAFailingFileCallMeets) {
    ExpectTheSameForEveryFault<CLibraryFaults>([this] { return Retrieve(); });
}

TEST_P(SuppressedTraces, ChangeNothingOfARetrieveWithoutMemory) {
    for (int nth = 1; nth < 40; ++nth) {
        SCOPED_TRACE(nth);
        ExpectTheSameWithoutTraces(goodFile_, [&] {
            AllocationFaults memory;
            memory.Fail(nth);
            return Retrieve();
        });
    }
}

TEST_P(SuppressedTraces, ChangeNothingOfARetrieveFromACutFile) {
    for (std::size_t length = 0; length < goodFile_.size(); ++length) {
        SCOPED_TRACE(length);
        ExpectTheSameWithoutTraces(goodFile_.substr(0, length), [this] { return Retrieve(); });
    }
}

/// Promise 24
TEST_P(SuppressedTraces, ChangeNothingOfARetrieveFromAChangedFile) {
    for (std::size_t position = 0; position < goodFile_.size(); ++position) {
        SCOPED_TRACE(position);
        std::string changed = goodFile_;
        changed[position] = '0';
        ExpectTheSameWithoutTraces(changed, [this] { return Retrieve(); });
    }
}

TEST_P(SuppressedTraces, ChangeNothingAtAnInvalidLocation) {
    ExpectTheSameWithoutTraces(goodFile_, [this] { return Store(77); });
    ExpectTheSameWithoutTraces(goodFile_, [this] { return Retrieve(77); });
}

}  // namespace

}  // namespace tal::test
