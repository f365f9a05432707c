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

/// What the fixture below has to know of a provider.
struct BinaryProvider {
    const char* name;  ///< The prefix of its operations in traces.
    QBFResult (*getInterface)(IStorageProvider** out);
    void (*setFileNames)(const char* calibration, const char* hardware, const char* applications);
};

constexpr BinaryProvider kBinaryProvider = {"CBinaryFileStorageProvider", CBinaryFileStorageProvider_GetInterface,
                                            CBinaryFileStorageProvider_SetStorageFilenames};
constexpr BinaryProvider kSecureProvider = {"CSecureBinaryFileStorageProvider",
                                            CSecureBinaryFileStorageProvider_GetInterface,
                                            CSecureBinaryFileStorageProvider_SetStorageFilenames};

/// An empty database and an initialised provider in an empty working directory, with the file names above.
class BinaryFixture : public ::testing::Test {
protected:
    explicit BinaryFixture(const BinaryProvider& names) : names_(names) {
        names_.getInterface(&provider_);
        provider_->Initialize(0);
        names_.setFileNames(kCalibrationFile, kHardwareFile, kApplicationsFile);
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

    /// Three bytes "A", "B", "C" in R/O with the defaults 1, 2, 3.
    void BuildThreeVariables() { database_.AddRegion("R").AddObject("O").U8("A", 1).U8("B", 2).U8("C", 3); }

    [[nodiscard]] std::vector<int> ThreeValues() {
        std::vector<int> values;
        for (const char* path : {"R/O/A", "R/O/B", "R/O/C"}) {
            values.push_back(database_.At(path).Get<std::uint8_t>());
        }
        return values;
    }

    [[nodiscard]] std::vector<bool> ThreeMarks() {
        std::vector<bool> marks;
        for (const char* path : {"R/O/A", "R/O/B", "R/O/C"}) {
            marks.push_back(database_.At(path).Retrieved());
        }
        return marks;
    }

    /// A record as TraceRecorder::Lines gives it; `operation` is what follows the provider's name.
    [[nodiscard]] std::string Line(QBFResult code, const std::string& operation, const std::string& message) const {
        TraceRecord record{};
        record.code = code;
        record.operation = std::string(names_.name) + '_' + operation;
        record.message = message;
        return ToLine(record);
    }
    [[nodiscard]] std::string Info(const std::string& operation, const std::string& message) const {
        return Line(QBF_I_INFO, operation, message);
    }

    const BinaryProvider names_;
    TemporaryDirectory directory_;
    host::Database database_;
    IStorageProvider* provider_ = nullptr;
    TraceRecorder traces_;
};

class BinaryProviderTest : public BinaryFixture {
protected:
    BinaryProviderTest() : BinaryFixture(kBinaryProvider) {}
};

class SecureProviderTest : public BinaryFixture {
protected:
    SecureProviderTest() : BinaryFixture(kSecureProvider) {}
};

}  // namespace tal::test

#endif
