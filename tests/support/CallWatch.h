/// Whose calls a test double sees.
#ifndef TAL_TEST_CALL_WATCH_H
#define TAL_TEST_CALL_WATCH_H

namespace tal::test {

/// A double tells its callers apart by the address that a call returns to. Calls of GoogleTest or of the C++ runtime
/// never count, so that a test may do what it likes while a double is alive.
enum class Watch {
    Library,          ///< Calls that libTalDeviceSupport.so makes.
    LibraryAndTests,  ///< These and the ones that the test executable itself makes, for tests without a provider.
    Host              ///< Calls that the reference host makes, for its own tests.
};

/// @return whether a call that returns to `returnAddress` counts.
[[nodiscard]] bool IsWatched(const void* returnAddress, Watch watch);

/// @return the next definition of `symbol` after the executable's own; ends the process when there is none.
[[nodiscard]] void* RealSymbol(const char* symbol);

template <class Function>
[[nodiscard]] Function* Real(const char* symbol) {
    return reinterpret_cast<Function*>(RealSymbol(symbol));
}

}  // namespace tal::test

#endif
