/// The sync to the medium, which is only counted where it is asked for.

#include <sys/syscall.h>
#include <unistd.h>

#include "bench/Bench.h"

namespace {

bool syncing = false;

}  // namespace

extern "C" int fsync(int descriptor) {
    return syncing ? static_cast<int>(syscall(SYS_fsync, descriptor)) : 0;
}

namespace tal::bench {

void SetSyncing(bool isSyncing) {
    syncing = isSyncing;
}

}  // namespace tal::bench
