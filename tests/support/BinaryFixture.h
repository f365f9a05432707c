/// What the tests of the two binary providers have in common.
#ifndef TAL_TEST_BINARY_FIXTURE_H
#define TAL_TEST_BINARY_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "host/ReferenceHost.h"
#include "support/AllocationFaults.h"
#include "support/CLibraryFaults.h"
#include "support/Files.h"
#include "support/HostCalls.h"
#include "support/Sweep.h"
#include "support/TraceRecorder.h"

namespace tal::test {

/// The files of the locations 0, 3 and 6 in the fixtures below.
constexpr const char* kCalibrationFile = "calibration";
constexpr const char* kHardwareFile = "hardware";
constexpr const char* kApplicationsFile = "applications";

/// @return `locations` and, where `unsigned long` is wider than 32 bits, numbers whose low 32 bits are accepted
///         locations.
[[nodiscard]] inline std::vector<StorageLocation> WithWideLocations(std::vector<StorageLocation> locations) {
    constexpr auto kBeyond32Bits = static_cast<StorageLocation>(0x100000000ULL);
    if (kBeyond32Bits != 0) {
        locations.insert(locations.end(), {kBeyond32Bits, kBeyond32Bits + 3, kBeyond32Bits + 6});
    }
    return locations;
}

/// Bytes from numbers: `Bytes({0xEF, 0xBE})`.
[[nodiscard]] inline std::string Bytes(std::initializer_list<int> bytes) {
    std::string text;
    for (const int byte : bytes) {
        text.push_back(static_cast<char>(byte));
    }
    return text;
}

/// The address of a variable's content as traces print it: "0x%x" of its low 32 bits.
[[nodiscard]] inline std::string AddressOf(const host::Variable& variable) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%x",
                  static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(variable.Content())));
    return text;
}

/// An empty database and an initialised provider in an empty working directory, with the file names above. `Provider`
/// has `kName`, the prefix of its operations in traces, `GetInterface` and `SetStorageFilenames`.
template <class Provider>
class BinaryFixture : public ::testing::Test {
protected:
    BinaryFixture() {
        Provider::GetInterface(&provider_);
        provider_->Initialize(0);
        Provider::SetStorageFilenames(kCalibrationFile, kHardwareFile, kApplicationsFile);
        traces_.Clear();
    }

    QBFResult Store(StorageLocation location = 0) { return provider_->StoreAll(location, database_.Handle(), 0); }
    QBFResult Retrieve(StorageLocation location = 0) { return provider_->RetrieveAll(location, database_.Handle(), 0); }

    /// Stores into location 0, which has to succeed.
    /// @return the file's bytes.
    std::string StoredBytes() {
        EXPECT_EQ(Store(), QBFResult{QBF_OK});
        return ReadFile(kCalibrationFile);
    }

    /// Retrieves from location 0, whose file becomes `bytes`.
    QBFResult RetrieveFrom(std::string_view bytes) {
        WriteFile(kCalibrationFile, bytes);
        return Retrieve();
    }

    /// A record as TraceRecorder::Lines gives it; `operation` is what follows the provider's name.
    static std::string Line(QBFResult code, const std::string& operation, const std::string& message) {
        TraceRecord record{};
        record.code = code;
        record.operation = std::string(Provider::kName) + '_' + operation;
        record.message = message;
        return ToLine(record);
    }
    static std::string Info(const std::string& operation, const std::string& message) {
        return Line(QBF_I_INFO, operation, message);
    }

    TemporaryDirectory directory_;
    host::Database database_;
    IStorageProvider* provider_ = nullptr;
    TraceRecorder traces_;
};

struct BinaryProvider {
    static constexpr const char* kName = "CBinaryFileStorageProvider";
    static constexpr auto GetInterface = CBinaryFileStorageProvider_GetInterface;
    static constexpr auto SetStorageFilenames = CBinaryFileStorageProvider_SetStorageFilenames;
};

struct SecureProvider {
    static constexpr const char* kName = "CSecureBinaryFileStorageProvider";
    static constexpr auto GetInterface = CSecureBinaryFileStorageProvider_GetInterface;
    static constexpr auto SetStorageFilenames = CSecureBinaryFileStorageProvider_SetStorageFilenames;
};

}  // namespace tal::test

#endif
