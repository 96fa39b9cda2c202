// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "bench/BareExchange.h"

#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace bench {

namespace {

bool writeControl(const char* value) {
    const int fd = open("/sys/class/tty/ttyACM0/device/../power/control", O_WRONLY | O_CLOEXEC);
    const bool written = write(fd, value, strlen(value)) > 0;
    close(fd);
    return written;
}

bool readLine(int fd) {
    pollfd port = {fd, POLLIN | POLLHUP, 0};
    if (poll(&port, 1, 5000) != 1) return false;
    char line[1024];
    return read(fd, line, sizeof(line) - 1) > 0;
}

}  // namespace

bool bareExchange(const char* cmd, int lines) {
    const int fd = open("/dev/ttyACM0", O_RDWR | O_NOCTTY | O_CLOEXEC);
    bool ok = fd >= 0 && writeControl("on") && write(fd, cmd, strlen(cmd)) > 0;
    for (int i = 0; ok && i < lines; ++i) ok = readLine(fd);
    close(fd);
    return writeControl("auto") && ok;
}

}  // namespace bench
