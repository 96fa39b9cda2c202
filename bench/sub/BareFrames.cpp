// Sends bare frames one behind the other. Usage: bench_bare_frames MICROSECONDS
#include <cstdlib>

#include "bench/Clock.h"
#include "bench/sub/BareFrame.h"

int main(int argc, char** argv) {
    if (argc != 2) return EXIT_FAILURE;
    for (const double end = bench::now() + strtod(argv[1], nullptr); bench::now() < end;) {
        if (!bench::bareFrame("/dev/hidraw0")) return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
