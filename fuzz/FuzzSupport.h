/// What the fuzz targets of the providers share: a storage file in memory, providers that use it, a database of every
/// type.
#ifndef TAL_FUZZ_SUPPORT_H
#define TAL_FUZZ_SUPPORT_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "Device/DeviceSupport/DeviceSupport.h"
#include "FuzzBasics.h"
#include "ReferenceHost.h"

namespace tal::fuzz {

using Bytes = std::vector<std::uint8_t>;

/// The one file that every provider of the process uses for location 0.
void WriteStorageFile(const std::uint8_t* data, std::size_t size);
[[nodiscard]] Bytes ReadStorageFile();

/// Each of these is initialized and has the storage file at location 0.
[[nodiscard]] IStorageProvider& XmlProvider();
[[nodiscard]] IStorageProvider& BinaryProvider();
[[nodiscard]] IStorageProvider& SecureProvider();

/// Every type, nested objects, object arrays, names with channel numbers 3. Small, so that inputs stay small.
[[nodiscard]] std::unique_ptr<host::Database> EveryTypeDatabase();

/// Retrieves from `data` into zeroed variables: the result is one of the two documented ones, nothing was written
/// beside a variable, and after that the provider stores and retrieves the defaults without a failure.
void RetrieveHostileFile(IStorageProvider& provider, host::Database& database, const std::uint8_t* data,
                         std::size_t size, unsigned long channelInjector);

}  // namespace tal::fuzz

#endif
