// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Sends bare frames one after the other, until it is ended.
#include <cstdlib>

#include "bench/sub/BareFrame.h"

int main() {
    while (bench::bareFrame("/dev/hidraw0")) continue;
    return EXIT_FAILURE;
}
