// Sends bare frames one behind the other. Usage: bench_bare_frames SECONDS
#include <cstdlib>
#include <ctime>

#include "bench/sub/BareFrame.h"

namespace {

double now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return EXIT_FAILURE;
    for (const double end = now() + strtod(argv[1], nullptr); now() < end;) {
        if (!bench::bareFrame("/dev/hidraw0")) return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
