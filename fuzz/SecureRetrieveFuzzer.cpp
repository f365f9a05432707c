/// Any bytes as a secure binary file, without and with a channel number.

#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static IStorageProvider& provider = tal::fuzz::SecureProvider();
    static const auto database = tal::fuzz::EveryTypeDatabase();
    for (const unsigned long channelNumber : {0UL, 3UL}) {
        CSecureBinaryFileStorageProvider_SetChannelNumber(channelNumber);
        tal::fuzz::RetrieveHostileFile(provider, *database, data, size, 0);
    }
    return 0;
}
