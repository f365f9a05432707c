/// @file
/// The storage providers of `libTalDeviceSupport`: operation table, result codes and entry points.
///
/// Calling order: a provider's `..._GetInterface`, then Initialize for a location, then other file names if wanted
/// (each setter says whether Initialize or the entry point would undo it), then StoreAll and RetrieveAll as often as
/// needed. Nothing is thread-safe: the host serialises all calls into one provider, and into both XML configurations
/// together, since they share one state. No exception leaves any function. Usable from C and from C++.
#ifndef TAL_DEVICE_SUPPORT_H
#define TAL_DEVICE_SUPPORT_H

#include <stdbool.h>

#include "Device/DeviceSupport/HostDatabase.h"

/// The version of this header and of the library that it belongs to. A library of the same major version and the same
/// or a later minor one serves a host that was built with it.
#define TAL_DEVICE_SUPPORT_VERSION_MAJOR 1
#define TAL_DEVICE_SUPPORT_VERSION_MINOR 0
#define TAL_DEVICE_SUPPORT_VERSION_PATCH 0

#if defined(__GNUC__)
#define TAL_DEVICE_SUPPORT_API __attribute__((visibility("default")))
#else
#define TAL_DEVICE_SUPPORT_API
#endif

/// Results of the library and of the host. The same number is the level of the trace record that reports it.
/// QBF_IsFailure tells failures from successes.
enum QBFResultCode {
    QBF_OK = 0x0000,
    QBF_N_NOTICE = 0x0100,            ///< The secure provider could not open the directory to sync it.
    QBF_N_NOTICE_2 = 0x0101,          ///< A secure file holds a variable that the database does not register.
    QBF_I_INFO = 0x0800,              ///< Entry and progress lines, ignored operations.
    QBF_I_DETAIL = 0x0820,            ///< Per-variable detail lines.
    QBF_W_WARNING = 0x1000,           ///< Something was unusual, nothing failed.
    QBF_W_NOT_SUPPORTED = 0x1008,     ///< The provider does not offer this operation; not a failure.
    QBF_E_FAILED = 0x8000,            ///< Generic failure; what operations return for nearly every problem.
    QBF_E_INVALID_ARGUMENT = 0x8002,  ///< Bad location, unsupported open mode, null database.
    QBF_E_NO_NAME = 0x8004,           ///< A region, object or variable name could not be had.
    QBF_E_OPEN_FAILED = 0x8005,       ///< A storage file could not be opened.
    QBF_E_IO = 0x800A,                ///< Short read or write, variable not updated.
    QBF_E_BAD_TYPE = 0x800B,          ///< Unsupported variable type, or not an array.
    QBF_E_NOT_FOUND = 0x800E,         ///< A required XML attribute is missing.
    QBF_E_NO_STORAGE_FILE = 0x800F,   ///< No usable file to retrieve from; every variable was set to its default.
    QBF_E_CORRUPT = 0x8010,           ///< A secure binary file is corrupt.
    QBF_E_SIZE_MISMATCH = 0x8011      ///< A stored variable's size differs from the registered one.
};

/// Whether a result is a failure: its low 32 bits, as a signed number, are 0x8000 or more. Notices, information and
/// warnings are successes, and so is everything from 0x80000000 up, where the signed number is negative.
static inline bool QBF_IsFailure(QBFResult result) {
    return (int32_t)(uint32_t)result >= 0x8000;
}

/// Names one persistent store. 0 is the calibration database, 3 the hardware database and 6 the application
/// configuration in every file-backed provider; each provider accepts its own set.
typedef unsigned long StorageLocation;

/// A provider's operations. The table is static: it lives as long as the library and is never freed.
typedef struct IStorageProvider {
    /// Prepares the provider for a location. Always QBF_OK; the location is not checked here.
    QBFResult (*Initialize)(StorageLocation location);

    /// Reserves `size` bytes for the writable subset. QBF_W_NOT_SUPPORTED from the XML, binary and secure providers,
    /// QBF_OK without effect from the others.
    QBFResult (*ReserveWritableSpace)(StorageLocation location, unsigned long size);

    /// Writes the whole database into the location's file, truncating what was there: XML and secure what is in
    /// writable objects, binary everything. Read-only XML, board support and dummy ignore their arguments, write
    /// nothing and return QBF_OK.
    /// @param database         Borrowed for the call; must not change during it. Null is a failure with XML, binary
    ///                         and secure.
    /// @param channelInjector  XML: the channel number that is replaced by X in names, 0 for none. Ignored by the
    ///                         others.
    /// @return
    ///   QBF_OK        Everything was written and the file closed, with XML and secure after a sync whose result is
    ///                 not looked at; binary does not sync. XML does not report failed writes, what fails inside an
    ///                 element of an object array, or a type that it does not know, which leaves its variable empty.
    ///   QBF_E_FAILED  Null database; a location that the provider does not have or does not write; a file that
    ///                 cannot be opened: no file has been touched.
    ///   QBF_E_FAILED  Something in the database could not be had, or with binary and secure written; the file holds
    ///                 the rest. At a region without a name the walk ends: it and all later regions are missing. An
    ///                 object without a name is missing with everything in it. Of a variable, XML misses the element
    ///                 or leaves elements open, so that the document may not be well-formed; binary misses the bytes,
    ///                 so that the file fits no layout; secure misses the record, or has a damaged one.
    ///   QBF_E_FAILED  The file could not be flushed (secure) or closed: what it holds is uncertain.
    QBFResult (*StoreAll)(StorageLocation location, CDatabase* database, unsigned long channelInjector);

    // clang-format off
    /// Reads the location's file into the database. A variable is restored (written and marked as retrieved),
    /// defaulted (by the database, because it is not marked) or untouched. Read-only XML retrieves like XML; the dummy
    /// ignores its arguments, touches nothing and returns QBF_OK.
    /// @param database         Borrowed for the call; must not change during it. Null is a failure with binary; XML,
    ///                         secure and board support hand it on to the host.
    /// @param channelInjector  XML: the channel number for which names are rewritten, 0 for none. Ignored by the
    ///                         others.
    /// @return
    ///
    ///     provider  result        because                         restored                       all others
    ///     XML       QBF_OK        the document was read           what it has and the database   defaulted
    ///                                                             has, with an address
    ///               QBF_E_FAILED  a variable could not be         what stands before it          defaulted, also what
    ///                             converted or is nested too deep                                stands after it
    ///               QBF_E_FAILED  the file cannot be read, parsed what stands before the error   untouched; what came
    ///                             or held in memory                                              after a variable that
    ///                                                                                            failed is written
    ///               QBF_E_FAILED  no such file or location        nothing                        defaulted
    ///               QBF_E_FAILED  the preparation failed          nothing                        untouched
    ///     binary    QBF_OK        every variable was read         all
    ///               QBF_E_FAILED  the file is too short, cannot   what arrived whole             defaulted
    ///                             be closed, or the host did not
    ///                             hand something out
    ///               QBF_E_FAILED  no such file or location        nothing                        defaulted
    ///               QBF_E_FAILED  the preparation failed          nothing                        defaulted
    ///               QBF_E_FAILED  the database is null            nothing                        untouched
    ///     secure    QBF_OK        the file was read to its end    what is registered with the    defaulted
    ///                             or to a read error              size of its record
    ///               QBF_OK        the preparation failed          as without that failure        defaulted
    ///               QBF_E_FAILED  a record is corrupt             what stands before it          untouched
    ///               QBF_E_FAILED  no such file or location        nothing                        defaulted
    ///     board     QBF_OK        the fourteen were tried         those registered with their    defaulted
    ///                                                             type
    ///               QBF_E_FAILED  the preparation failed          nothing                        untouched
    ///     all four  QBF_E_FAILED  the defaulting failed           as above                       as the host left them
    ///
    /// The preparation is CDatabase_UpdatePathHashTable and CDatabase_SetAsNotRetrieved; after a failure of the latter,
    /// variables that were marked before are not defaulted.
    // clang-format on
    QBFResult (*RetrieveAll)(StorageLocation location, CDatabase* database, unsigned long channelInjector);

    /// Writes only the given variables. QBF_W_NOT_SUPPORTED from the XML, binary and secure providers, QBF_OK without
    /// effect from the others.
    QBFResult (*StoreAllWritable)(StorageLocation location, CVariable** variables, unsigned long count);
} IStorageProvider;

#ifdef __cplusplus
extern "C" {
#endif

/// The XML provider with whatever file names are set: locations 0 and 3 to 11, of which 7, 8 and 11 are read-only.
/// @param out  Receives the address of the static table; not checked for null. The same address on every call.
/// @return QBF_OK
TAL_DEVICE_SUPPORT_API QBFResult CXmlFileStorageProviderBase_GetInterface(IStorageProvider** out);

/// The read-write XML provider: sets the read-write file names, then hands out the table of the base.
/// @return QBF_OK
TAL_DEVICE_SUPPORT_API QBFResult CXmlFileStorageProvider_GetInterface(IStorageProvider** out);

/// The read-only XML provider: sets the read-only file names and hands out a table that retrieves like the base and
/// accepts every store without doing anything.
/// @return QBF_OK, or the base's failure; `*out` is then not written.
TAL_DEVICE_SUPPORT_API QBFResult CReadOnlyXmlFileStorageProvider_GetInterface(IStorageProvider** out);

/// Sets the file names of both XML configurations, in the order of the file slots 0 to 9, that is of the locations
/// 0, 3, 4, 5, 6, 7, 8, 9, 10 and 11. A null pointer leaves its slot unchanged; at most 79 characters are kept. Call it
/// after the entry point, which sets names of its own. If the file of slot 7 exists, location 8 is read from it.
TAL_DEVICE_SUPPORT_API void CXmlFileStorageProviderBase_SetStorageFilenames(const char* file0, const char* file1,
                                                                            const char* file2, const char* file3,
                                                                            const char* file4, const char* file5,
                                                                            const char* file6, const char* file7,
                                                                            const char* file8, const char* file9);

/// The same function under the name of the read-only configuration: both share one table of names.
TAL_DEVICE_SUPPORT_API void CReadOnlyXmlFileStorageProvider_SetStorageFilenames(const char* file0, const char* file1,
                                                                                const char* file2, const char* file3,
                                                                                const char* file4, const char* file5,
                                                                                const char* file6, const char* file7,
                                                                                const char* file8, const char* file9);

/// The binary provider: locations 0, 3 and 6. Leaves the file names alone; Initialize restores the default ones.
/// @return QBF_OK
TAL_DEVICE_SUPPORT_API QBFResult CBinaryFileStorageProvider_GetInterface(IStorageProvider** out);

/// Sets the file names of the locations 0, 3 and 6; at most 79 characters are kept, null is not allowed. Call it after
/// Initialize, which restores the default names.
TAL_DEVICE_SUPPORT_API void CBinaryFileStorageProvider_SetStorageFilenames(const char* calibration,
                                                                           const char* hardware,
                                                                           const char* applications);

/// The secure binary provider: locations 0, 1, 2, 3 and 6. Leaves the file names alone; Initialize restores the default
/// ones.
/// @return QBF_OK
TAL_DEVICE_SUPPORT_API QBFResult CSecureBinaryFileStorageProvider_GetInterface(IStorageProvider** out);

/// Sets the file names of the locations 0, 3 and 6; at most 79 characters are kept, null is not allowed. The locations
/// 1 and 2 always get the default calibration name. Call it after Initialize, which restores the default names.
TAL_DEVICE_SUPPORT_API void CSecureBinaryFileStorageProvider_SetStorageFilenames(const char* calibration,
                                                                                 const char* hardware,
                                                                                 const char* applications);

/// Sets the channel whose number is replaced by X in the paths of secure files, and back on retrieve. 0, the value at
/// load, means no replacement. Kept until the next call.
TAL_DEVICE_SUPPORT_API void CSecureBinaryFileStorageProvider_SetChannelNumber(unsigned long channelNumber);

/// The dummy provider: five operations that do nothing and succeed.
/// @return QBF_OK
TAL_DEVICE_SUPPORT_API QBFResult CDummyStorageProvider_GetInterface(IStorageProvider** out);

#ifdef __cplusplus
}
#endif

/// The board-support provider: RetrieveAll fills fourteen hardware variables from the board-support library and lets
/// the database default the rest; every other operation does nothing and succeeds. The symbol carries its parameter
/// type, so a host that looks it up by name uses the encoded form.
/// @return QBF_OK
TAL_DEVICE_SUPPORT_API QBFResult ReadOnlyZorBspStorageProvider_getInterface(IStorageProvider** out)
    TAL_ENCODED_SYMBOL("_Z42ReadOnlyZorBspStorageProvider_getInterfacePP16IStorageProvider");

#endif
