// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// world_probe TIMES SCRIPT: enters the world so many times, then runs the script in a shell there.
// Exits 1 with the world's own line on standard output when it cannot.

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include "emulator/phone/world/World.h"

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    for (int times = atoi(argv[1]); times > 0; --times) {
        const std::string error = phone::enterWorld();
        if (error.empty()) continue;
        puts(error.c_str());
        return 1;
    }
    execl("/bin/sh", "sh", "-c", argv[2], nullptr);
    return 127;
}
