// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/display/WorkerTest.h"

#include <unistd.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

void WorkerTest::registerClient(const sp<V1_0::IBivistaLpwgCallback>& client) {
    EXPECT_TRUE(service->setLpwgCallback(client).isOk());
    // An event before the worker has its socket is lost.
    while (!log.contains(raiseMarker("ready"))) usleep(1000);
    handled();
    log.clear();
    mHandled = 0;
    from = journal.next();
}

void WorkerTest::raise(const std::vector<std::string>& strings) {
    std::string event = "change@/devices/virtual/bivista/bv2";
    event += '\0';
    for (const std::string& string : strings) {
        event += string;
        event += '\0';
    }
    mKernel.throughKernel(event);
}

void WorkerTest::raiseEvent(const std::string& name) {
    raise({"ACTION=change", "SUBSYSTEM=QMX_BV2", "TOUCH_GESTURE_WAKEUP=" + name});
}

std::string WorkerTest::raiseMarker(const std::string& name) {
    const std::string string = "SUBSYSTEM=QMX_BV2 " + name;
    raise({string, "MARKER=1"});
    return "uevent received " + string;
}

std::vector<std::string> WorkerTest::handled() {
    const std::string marker = raiseMarker("marker" + std::to_string(mMarkers++));
    // The marker's second line is its last.
    const size_t end = log.waitFor("cp1 = MARKER=1", log.waitFor(marker, mHandled));
    std::vector<std::string> lines;
    for (const support::LogLine& line : log.lines()) {
        if (line.text == marker) break;
        lines.push_back(line.text);
    }
    lines.erase(lines.begin(), lines.begin() + static_cast<ptrdiff_t>(mHandled));
    std::erase_if(lines, [](const std::string& text) { return text.rfind("usb", 0) == 0; });
    mHandled = end;
    return lines;
}

std::vector<std::string> WorkerTest::told(uint64_t from) const {
    std::vector<std::string> told;
    for (const phone::Entry& entry : journal.since(from)) {
        if (entry.kind == phone::Kind::TtyRx) told.push_back(entry.bytes);
        if (entry.kind == phone::Kind::NodeWrite && entry.path == phone::kAesMode) {
            told.push_back("aes_mode=" + entry.bytes);
        }
    }
    return told;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
