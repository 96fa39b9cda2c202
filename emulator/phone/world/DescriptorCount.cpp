// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/DescriptorCount.h"

#include <system_error>

#include <sys/stat.h>

namespace phone {

namespace fs = std::filesystem;

namespace {

// Of a folder that is none, has gone or may not be listed, nothing.
template <typename Visit>
void forEachIn(const fs::path& folder, const Visit& visit) {
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        visit(*entry);
    }
}

}  // namespace

int countDescriptors(const fs::path& pty) {
    struct stat wanted;
    if (stat(pty.c_str(), &wanted) != 0) return 0;
    int count = 0;
    forEachIn("/proc", [&](const fs::directory_entry& process) {
        std::error_code error;
        // A link leads to a process that has a folder too.
        if (process.is_symlink(error)) return;
        forEachIn(process.path() / "fd", [&](const fs::directory_entry& descriptor) {
            std::error_code gone;
            if (fs::read_symlink(descriptor, gone) != pty) return;
            struct stat file;
            // Other instances of devpts have files of the same name.
            if (stat(descriptor.path().c_str(), &file) == 0 && file.st_dev == wanted.st_dev) {
                ++count;
            }
        });
    });
    return count;
}

}  // namespace phone
