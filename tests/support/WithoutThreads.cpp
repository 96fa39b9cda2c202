// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// without_threads PROGRAM ARGUMENT...: executes it where no thread can be made.
#include <cstdio>

#include <unistd.h>

#include "tests/support/ThreadRefusal.h"

int main(int argc, char** argv) {
    if (argc < 2) return 126;
    support::refuseThreads();
    execv(argv[1], argv + 1);
    std::perror(argv[1]);
    return 127;
}
