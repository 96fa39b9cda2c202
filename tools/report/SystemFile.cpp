// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/report/SystemFile.h"

#include <android-base/unique_fd.h>
#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/report/Program.h"

namespace report {

FileEnd readEnd(const std::string& path, size_t most) {
    const android::base::unique_fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (file < 0 || fstat(file.get(), &status) != 0) return {"", strerror(errno)};
    if (!S_ISREG(status.st_mode)) return {"", "it is no plain file"};
    // Files of /proc are of size 0.
    off_t at = status.st_size > static_cast<off_t>(most) ? status.st_size - static_cast<off_t>(most)
                                                         : 0;
    std::string text;
    char piece[1 << 16];
    ssize_t count = 0;
    while (text.size() <= most && (count = pread(file.get(), piece, sizeof(piece), at)) > 0) {
        text.append(piece, static_cast<size_t>(count));
        at += count;
    }
    if (count < 0) return {"", strerror(errno)};
    return {status.st_size > static_cast<off_t>(most) ? lastLines(text, most - 1) : text, ""};
}

}  // namespace report
