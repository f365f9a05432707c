/// A small database with everything that a walk can meet.
#ifndef TAL_TEST_BINARY_TREE_H
#define TAL_TEST_BINARY_TREE_H

#include "host/ReferenceHost.h"

namespace tal::test {

/// Two regions, an object with variables before and after a nested object and an object array, an object and an array
/// without anything in them, a read-only object.
inline void BuildTree(host::Database& database) {
    host::Region& config = database.AddRegion("Config");
    host::Object& radio = config.AddObject("Radio");
    radio.U32("Gain", 16);
    radio.AddNested("TxPart", "Tx").U16("Power", 0x0102);
    radio.AddToArray("Lanes", "Lane0").U8("Delay", 7);
    radio.AddToArray("Lanes", "Lane1").U8("Delay", 8);
    radio.EmptyObjectArray("Spares").U8("Last", 9);
    config.AddObject("Empty");
    config.AddObject("Factory").ReadOnly().U8("Serial", 5);
    database.AddRegion("Board").AddObject("Label").String("Name", 4, "ab");
}

}  // namespace tal::test

#endif
