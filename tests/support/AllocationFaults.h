/// Counts the library's allocations, and fails the ones that a test chooses.
#ifndef TAL_TEST_ALLOCATION_FAULTS_H
#define TAL_TEST_ALLOCATION_FAULTS_H

#include <cstddef>
#include <map>

#include "support/CallWatch.h"

namespace tal::test {

/// Sees, while it lives, the library's allocations: its uses of operator new, the texts of its std::strings that are
/// too long to lie inside them, and everything that Expat allocates for a parser that the library creates.
///
///     AllocationFaults memory;
///     memory.Fail(3);
///     EXPECT_EQ(provider->RetrieveAll(0, database, 0), QBF_E_FAILED);
///     EXPECT_EQ(memory.LiveAllocations(), 0);
///
/// A plain operator new that is failed throws std::bad_alloc, a nothrow one gives null. At most one lives at a time.
class AllocationFaults {
public:
    explicit AllocationFaults(Watch watch = Watch::Library);
    ~AllocationFaults();
    AllocationFaults(const AllocationFaults&) = delete;
    AllocationFaults& operator=(const AllocationFaults&) = delete;

    /// Fails the `nth` allocation, from 1.
    void Fail(int nth) { failing_ = nth; }

    /// Fails the `nth` allocation and every later one.
    void FailFrom(int nth);

    /// Makes XML_ParserCreate give no parser, without an allocation.
    void FailParserCreation() { failsParserCreation_ = true; }

    /// Whether any fault has met its allocation or parser.
    [[nodiscard]] bool Fired() const { return fired_; }

    /// How many allocations have been asked for, failed ones included.
    [[nodiscard]] int Allocations() const { return allocations_; }

    /// Allocations made and not freed yet.
    [[nodiscard]] int LiveAllocations() const { return static_cast<int>(sizes_.size()); }
    [[nodiscard]] std::size_t LiveBytes() const { return liveBytes_; }

    /// The most bytes that were ever live at once, as asked for.
    [[nodiscard]] std::size_t PeakBytes() const { return peakBytes_; }

private:
    friend class Allocator;

    Watch watch_;
    int failing_ = 0;
    bool failsLaterOnes_ = false;
    bool failsParserCreation_ = false;
    bool fired_ = false;
    int allocations_ = 0;
    std::map<void*, std::size_t> sizes_;
    std::size_t liveBytes_ = 0;
    std::size_t peakBytes_ = 0;
};

}  // namespace tal::test

#endif
