// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Summary.h"

namespace phonelog {

namespace {

std::string count(size_t number, const std::string& what) {
    return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

std::string list(const std::string& title, const std::vector<Remark>& remarks) {
    if (remarks.empty()) return "";
    std::string text = title + ":\n";
    for (const Remark& remark : remarks) {
        text += remark.line == 0 ? "  " : "  line " + std::to_string(remark.line) + ": ";
        text += remark.text + "\n";
    }
    return text;
}

}  // namespace

std::string summarise(const ServiceLog& log, const Findings& findings) {
    return "the service: process " + std::to_string(log.pid) + ", " +
           count(log.lines.size(), "line") + ", from line " +
           std::to_string(log.lines.front().number) + " to " +
           std::to_string(log.lines.back().number) +
           "\nfound: " + count(findings.attachments, "attachment") + ", " +
           count(findings.exchanges, "exchange") + ", " + count(findings.calls, "call") + ", " +
           count(findings.frames, "frame") + "\n" + list("inferred", findings.inferred) +
           list("unknown", findings.unknown);
}

}  // namespace phonelog
