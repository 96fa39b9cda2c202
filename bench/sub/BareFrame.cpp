// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "bench/sub/BareFrame.h"

#include <cstddef>
#include <cstdint>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace bench {

namespace {

using Report = std::vector<uint8_t>;

// Black pixels from the offset on; of length 0 it ends the frame.
Report makeReport(uint16_t length, uint32_t offset) {
    Report report = {2, static_cast<uint8_t>(length), static_cast<uint8_t>(length >> 8)};
    for (int shift = 0; shift < 32; shift += 8) {
        report.push_back(static_cast<uint8_t>(offset >> shift));
    }
    report.resize(report.size() + length);
    return report;
}

bool writeReports(const char* node, const std::vector<Report>& reports) {
    const int fd = open(node, O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    bool ok = fd >= 0;
    for (const Report& report : reports) {
        ok = ok && write(fd, report.data(), report.size()) == static_cast<ssize_t>(report.size());
    }
    return close(fd) == 0 && ok;
}

}  // namespace

bool bareFrame(const char* node) {
    static const std::vector<Report> frame = {makeReport(4089, 0), makeReport(4089, 4089),
                                              makeReport(14, 8178)};
    static const std::vector<Report> end = {makeReport(0, 0)};
    return writeReports(node, frame) && writeReports(node, end);
}

}  // namespace bench
