// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Nodes.h"

#include <map>

#include "emulator/phone/Paths.h"
#include "emulator/phonelog/Names.h"

namespace phonelog {

using phone::Kind;

namespace {

constexpr size_t npos = std::string_view::npos;

// "Writing 1 0 to /sys/class/bivista/bv2/bv2_pd"
void addWriting(Draft& draft, size_t line, std::string_view text) {
    const size_t to = text.rfind(" to /");
    if (to == npos) {
        draft.missing(line, "the line is cut: which file was written is not known");
        return;
    }
    draft.addWrite({line, 1}, std::string(text.substr(to + 4)), std::string(text.substr(0, to)),
                   true);
}

struct Read {
    std::string_view begin;  // of the line
    std::string_view end;    // the value comes after it
    std::string property;
};

const Read kProperties[] = {
        {"getLogSaveAtCmd: persist.vendor.qmx.service.kernel.enable", " :",
         "persist.vendor.qmx.service.kernel.enable"},
        {"getLogSaveAtCmd: persist.vendor.qmx.dd.uart.enable", " :",
         "persist.vendor.qmx.dd.uart.enable"},
};

// Values of properties and files as the service saw them, in the order of time. Those before the
// first look belong to the start.
class Contents {
  public:
    explicit Contents(Draft& draft) : mDraft(draft) {}

    void property(size_t line, const std::string& key, const std::string& value) {
        if (!mKnown.contains(key)) {
            // A property that is not set is read as "0".
            if (value != "0") mDraft.header().properties[key] = value;
        } else if (mKnown[key] != value) {
            mDraft.add({line, -5}, Kind::Property, key, value);
        }
        mKnown[key] = value;
    }
    void file(size_t line, const std::string& path, const std::string& content) {
        if (!mKnown.contains(path)) {
            mDraft.header().files[path] = content;
        } else if (mKnown[path] != content) {
            mDraft.add({line, -5}, Kind::NodeSet, path, content);
        }
        mKnown[path] = content;
    }

  private:
    Draft& mDraft;
    std::map<std::string, std::string> mKnown;
};

// A logger prints the lines of one message together. Those of the same thread and moment belong to
// a message of several lines.
std::string wholeMessage(const Draft& draft, size_t line, std::string text) {
    const std::vector<Line>& lines = draft.log().lines;
    for (size_t next = line + 1; next < lines.size(); ++next) {
        const bool isPart =
                lines[next].time == lines[line].time && lines[next].tid == lines[line].tid &&
                lines[next].priority == lines[line].priority && lines[next].text.find(": ") == npos;
        if (!isPart) break;
        text += "\n" + lines[next].text;
    }
    return text + "\n";
}

void addLine(Draft& draft, size_t line) {
    const std::string_view text = draft.text(line);
    if (text == "usbAutoSuspend: on" || text == "usbAutoSuspend: auto") {
        draft.addWrite({line, 1}, kControl, std::string(text.substr(16)), false);
    } else if (text.starts_with("Writing ")) {
        addWriting(draft, line, text.substr(8));
    } else if (text == "!!!!!!!!!! Bivista Recovery !!!!!!!!!!") {
        draft.addWrite({line, 1}, phone::kRecovery, "Y", false);
    }
}

// The attach that tells the driver says nothing of it when it could.
void addReady(Draft& draft) {
    const std::vector<Line>& lines = draft.log().lines;
    bool failed = false;
    for (size_t line = 0; line < lines.size(); ++line) {
        const std::string_view text = lines[line].text;
        if (text.starts_with("usbReady: failed to open")) failed = true;
        if (text != "serialLogEnable: 1") continue;
        if (!failed) draft.addWrite({line, -1}, phone::kHalReady, "Y", false);
        failed = false;
    }
}

// A write whose file could not be opened made no entry.
void takeBackRefused(Draft& draft) {
    constexpr std::string_view kRefused = "Cannot open path: ";
    const std::vector<Line>& lines = draft.log().lines;
    std::map<int, size_t> writing;  // by thread
    for (size_t line = 0; line < lines.size(); ++line) {
        const std::string_view text = lines[line].text;
        const bool isRecovery = text.find("Bivista Recovery") != npos;
        if (text.starts_with("Writing ") || isRecovery) writing[lines[line].tid] = line;
        const bool isRefused = text.starts_with(kRefused);
        if (!isRefused && !text.starts_with("usbRecovery: failed to open")) continue;
        if (!writing.contains(lines[line].tid)) continue;
        const std::string path(isRefused ? text.substr(kRefused.size()) : phone::kRecovery);
        draft.takeBackWrite(writing[lines[line].tid], path);
        draft.notWhole("node " + path);
        draft.missing(line, "why " + path + " cannot be opened is not known");
    }
}

}  // namespace

void addNodes(Draft& draft) {
    for (size_t line = 0; line < draft.log().lines.size(); ++line) addLine(draft, line);
    takeBackRefused(draft);
    addReady(draft);
}

void addContents(Draft& draft) {
    constexpr std::string_view kReadString = "readString : ";
    Contents contents(draft);
    const std::vector<Line>& lines = draft.log().lines;
    for (size_t line = 0; line < lines.size(); ++line) {
        const std::string_view text = lines[line].text;
        for (const Read& read : kProperties) {
            const size_t end = text.find(read.end);
            if (!text.starts_with(read.begin) || end == npos) continue;
            contents.property(line, read.property, std::string(text.substr(end + read.end.size())));
        }
        if (text.starts_with(kReadString)) {
            contents.file(line, phone::kUpdateState,
                          wholeMessage(draft, line, std::string(text.substr(kReadString.size()))));
        } else if (text == "serialDeviceAdded: Set MODEL=DCM") {
            draft.header().properties["ro.product.device"] = "Q-71C";
        } else if (text == "serialLogThread MTK model") {
            draft.header().properties["ro.vendor.qmx.chip.vendor"] = "mtk";
        }
    }
}

}  // namespace phonelog
