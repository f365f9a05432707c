/// MessagePack: one map from paths to bytes.

#include <cstdio>
#include <fstream>
#include <iterator>
#include <msgpack.hpp>

#include "ReferenceHost.h"
#include "TypeTable.h"
#include "bench/Bench.h"

namespace tal::bench {

namespace {

constexpr const char* kFile = "variables.msgpack";

void Store(const host::Database& database) {
    msgpack::sbuffer buffer;
    msgpack::packer<msgpack::sbuffer> packer(buffer);
    packer.pack_map(static_cast<std::uint32_t>(CountValues(database)));
    for (const host::Variable* const variable : database.Variables()) {
        if (host::HoldsObjects(variable->Type())) {
            continue;
        }
        packer.pack(variable->Path());
        packer.pack_bin(variable->SizeInBytes());
        packer.pack_bin_body(static_cast<const char*>(variable->Content()), variable->SizeInBytes());
    }
    std::FILE* const file = std::fopen(kFile, "w");
    Require(std::fwrite(buffer.data(), 1, buffer.size(), file) == buffer.size(), "msgpack write");
    std::fclose(file);
}

void Retrieve(const host::Database& database) {
    std::FILE* const file = std::fopen(kFile, "r");
    std::fseek(file, 0, SEEK_END);
    const auto size = static_cast<std::size_t>(std::ftell(file));
    std::rewind(file);
    const std::unique_ptr<char[]> bytes(new char[size]);
    Require(std::fread(bytes.get(), 1, size, file) == size, "msgpack read");
    std::fclose(file);
    // Strings and bytes are referred to where they lie, as its users do when they care for speed.
    const msgpack::object_handle handle =
        msgpack::unpack(bytes.get(), size, [](msgpack::type::object_type, std::size_t, void*) { return true; });
    const msgpack::object_map& map = handle.get().via.map;
    for (std::uint32_t index = 0; index < map.size; ++index) {
        const msgpack::object_kv& entry = map.ptr[index];
        host::Variable& variable = Registered(database, {entry.key.via.str.ptr, entry.key.via.str.size});
        std::memcpy(variable.Content(), entry.val.via.bin.ptr, variable.SizeInBytes());
        variable.SetRetrieved(true);
    }
}

void Add(host::Database& database, Contenders& contenders) {
    Store(database);
    contenders.push_back({"secure store", "MessagePack", Role::Alternative, kFile, [&] { Store(database); }});
    contenders.push_back({"secure retrieve", "MessagePack", Role::Alternative, kFile,
                          [&] { Restore(database.Handle(), [&] { Retrieve(database); }); }});
}

const RegisterAlternative registered(Add);

}  // namespace

}  // namespace tal::bench
