/// The board-support provider: a storage provider without a storage, and the only one that is a class.
#ifndef TAL_PRIVATE_READ_ONLY_ZOR_BSP_STORAGE_PROVIDER_H
#define TAL_PRIVATE_READ_ONLY_ZOR_BSP_STORAGE_PROVIDER_H

#include <string>

#include "Device/DeviceSupport/DeviceSupport.h"

/// Fills the board-description variables of a database from the board-support library and from constants. Stateless:
/// calls may come in any order, and `initialize` need not come first. No operation throws.
class TAL_DEVICE_SUPPORT_API ReadOnlyZorBspStorageProvider {
public:
    ReadOnlyZorBspStorageProvider(const ReadOnlyZorBspStorageProvider&) = delete;
    ReadOnlyZorBspStorageProvider& operator=(const ReadOnlyZorBspStorageProvider&) = delete;

    /// The single instance, which is never destroyed. Safe to call from several threads at once.
    static ReadOnlyZorBspStorageProvider& getInstance();

    /// @return QBF_OK for any location.
    QBFResult initialize(unsigned long location);

    /// Does nothing and traces that. The arguments of the three writing operations are not looked at.
    /// @return QBF_OK
    QBFResult reserveWritableSpace(unsigned long location, unsigned long size);
    QBFResult storeAll(unsigned long location, CDatabase* database, unsigned long channelInjector);
    QBFResult storeAllWritable(unsigned long location, CVariable** variables, unsigned long count);

    /// Sets the fourteen board variables, each as far as the database has it, and lets the database default the rest.
    /// A variable that cannot be set is traced and passed over.
    /// @param database  Borrowed for the call; handed to the host unchecked.
    /// @return QBF_OK; QBF_E_FAILED if the database could not be prepared (nothing was set) or not be defaulted.
    QBFResult retrieveAll(unsigned long location, CDatabase* database, unsigned long channelInjector);

    /// Sets the U32 variable at `path` and marks it as retrieved.
    /// @return QBF_OK; QBF_E_INVALID_ARGUMENT if `database` is null, the path is not registered or the variable is not
    ///         a U32; QBF_E_BAD_TYPE if its content cannot be reached.
    QBFResult updateVariable(CDatabase* database, const std::string& path, unsigned int value);

    /// Sets the STRING variable at `path` and marks it as retrieved. The element count is its capacity: a longer text
    /// is cut to leave room for the terminator, after a shorter one the rest is zero; with a count of 0 nothing is
    /// copied.
    /// @param database  Handed to the host unchecked.
    /// @param value     NUL-terminated; not checked for null.
    /// @return QBF_OK; QBF_E_INVALID_ARGUMENT if the path is not registered or the variable is not a STRING;
    ///         QBF_E_BAD_TYPE if its content cannot be reached.
    QBFResult updateVariable(CDatabase* database, const std::string& path, const char* value);

    /// The same for the characters of `value` up to its first NUL.
    QBFResult updateVariable(CDatabase* database, const std::string& path, const std::string& value);

private:
    // Not defaulted: the first use of a trivially constructed instance would not be guarded.
    ReadOnlyZorBspStorageProvider() {}  // NOLINT(modernize-use-equals-default)
};

#endif
