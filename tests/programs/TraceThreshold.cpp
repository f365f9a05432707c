// Succeeds when the trace library has been loaded with the threshold that is the only argument.

#include <cstdio>
#include <cstdlib>

#include "brqtrace/brqtrace.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("Usage: trace_threshold THRESHOLD\n", stderr);
        return 2;
    }
    if (DS_trace.threshold != std::strtol(argv[1], nullptr, 10)) {
        std::fprintf(stderr, "the threshold is %d\n", DS_trace.threshold);
        return 1;
    }
    return 0;
}
