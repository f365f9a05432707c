/// Any bytes as a binary file.

#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static IStorageProvider& provider = tal::fuzz::BinaryProvider();
    static const auto database = tal::fuzz::EveryTypeDatabase();
    tal::fuzz::RetrieveHostileFile(provider, *database, data, size, 0);
    return 0;
}
