/// Any bytes as an XML document, without and with a channel injector.

#include "FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static IStorageProvider& provider = tal::fuzz::XmlProvider();
    static const auto database = tal::fuzz::EveryTypeDatabase();
    for (const unsigned long channelInjector : {0UL, 3UL}) {
        tal::fuzz::RetrieveHostileFile(provider, *database, data, size, channelInjector);
    }
    return 0;
}
