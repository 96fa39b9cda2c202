// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <fstream>
#include <system_error>

#include "emulator/recording/Recording.h"

namespace recording {

void write(const std::filesystem::path& file, const Recording& recording) {
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    if (stream) stream << toJson(recording.header) << '\n';
    uint64_t seq = 0;
    for (phone::Entry entry : recording.entries) {
        if (!stream) break;
        entry.seq = ++seq;
        stream << phone::toJson(entry) << '\n';
    }
    stream.flush();
    if (!stream) throw std::system_error(errno, std::generic_category(), file.string());
}

}  // namespace recording
