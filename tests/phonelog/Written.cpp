// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/phonelog/Written.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "emulator/cover/Text.h"
#include "emulator/phonelog/LogLine.h"

namespace phonelog {

namespace {

std::vector<std::string> list(const std::vector<Remark>& remarks) {
    std::vector<std::string> texts;
    for (const Remark& remark : remarks) {
        if (remark.line == 0) continue;
        texts.push_back(std::to_string(remark.line) + ": " + remark.text);
    }
    return texts;
}

}  // namespace

Written& Written::line(int tid, char priority, const std::string& text) {
    char header[64];
    snprintf(header, sizeof(header), "08-14 09:21:%02d.%03d %5d %5d %c ", mMs / 1000, mMs % 1000,
             kMain, tid, priority);
    ++mMs;
    return raw(header + std::string(kServiceTag) + ": " + text);
}

Written& Written::raw(const std::string& text) {
    mText += text + "\n";
    ++mLines;
    return *this;
}

Written& Written::exchange(int tid, const std::string& command,
                           const std::vector<std::string>& answer, bool hasCallback) {
    line(tid, 'D',
         "serialAtCmd: resp:0x7c5e40d2f8 respCount:1024 cb:" +
                 std::string(hasCallback ? "0x5b0f00" : "0x0") + " cmd:[" + command + "]");
    line(tid, 'D', "serialAtCmd: wr: [" + command + "]");
    line(tid, 'D', "serialAtCmd: eh: []");
    for (const std::string& said : answer) line(tid, 'D', "serialAtCmd: rd: [" + said + "]");
    return *this;
}

Written& Written::start() {
    return d("========== Bivista HAL Constructor ==========")
            .line(kNotify, 'D', "usbNotifyThread: creating");
}

Written& Written::attach() {
    line(kNotify, 'D', "usbNotifyThread: read:32 mask:0x00000100 name:ttyACM0");
    line(kNotify, 'I', "========== ttyACM0 create");
    line(kNotify, 'D', "serialDeviceAdded: attached:0");
    return exchange(kNotify, "ATE0", {"OK"});
}

ServiceLog readText(const std::string& text, std::optional<int> pid) {
    std::istringstream stream(text);
    return readServiceLog(stream, pid).value_or(ServiceLog{});
}

Imported importText(const std::string& text) {
    const ServiceLog log = readText(text);
    return importLog(log);
}

std::vector<std::string> listEntries(const Imported& imported,
                                     const std::vector<phone::Kind>& kinds) {
    std::vector<std::string> texts;
    for (const phone::Entry& entry : imported.recording.entries) {
        if (std::ranges::find(kinds, entry.kind) == kinds.end()) continue;
        std::string text(phone::name(entry.kind));
        for (const std::string* part : {&entry.path, &entry.bytes, &entry.note}) {
            if (!part->empty()) text += " " + cover::escape(*part);
        }
        texts.push_back(text);
    }
    return texts;
}

std::vector<std::string> listUnknown(const Imported& imported) {
    return list(imported.findings.unknown);
}

std::vector<std::string> listInferred(const Imported& imported) {
    return list(imported.findings.inferred);
}

}  // namespace phonelog
