// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phonelog/Devices.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <utility>

#include <nlohmann/json.hpp>

#include "emulator/cover/Text.h"
#include "emulator/phonelog/Names.h"

namespace phonelog {

using phone::Kind;

namespace {

constexpr size_t npos = std::string_view::npos;
constexpr std::string_view kRule = "========== ";
constexpr char kCover[] = "3e91:6a2f";
constexpr char kLoader[] = "0483:df11";

enum class Part { Usb, Tty, Hid };

// A line that tells of a part that came or went.
struct Sign {
    Part part = Part::Usb;
    bool comes = false;
    std::string node;  // of a tty or hidraw
};

std::optional<Sign> readSign(std::string_view text) {
    if (!text.starts_with(kRule)) return std::nullopt;
    text.remove_prefix(kRule.size());
    if (text == "Bivista Attached") return Sign{Part::Usb, true, ""};
    if (text == "Bivista Unattached") return Sign{Part::Usb, false, ""};
    const size_t end = text.find(' ');
    if (end == npos) return std::nullopt;
    const std::string_view what = text.substr(end + 1);
    if (what != "create" && what != "delete") return std::nullopt;
    const std::string_view node = text.substr(0, end);
    const Part part = node.starts_with("ttyACM") ? Part::Tty : Part::Hid;
    return Sign{part, what == "create", std::string(node)};
}

// What only a cover that is attached leads to.
bool needsCover(std::string_view text) {
    for (const char* begin : {"serialAtCmd: wr: [", "HID-DISPLAY: ", "FB0 is ", "FB1 is ",
                              "serialDeviceAdded: ", "serialAtCmd: eh: [", "serialAtCmd: rd: ["}) {
        if (text.starts_with(begin)) return true;
    }
    return text.starts_with(kRule) && (text.ends_with(" delete") || text.ends_with("Unattached"));
}

// Stays and their parts. Threads tell of the same device one after the other, and one that waits
// for an answer tells late.
class Reader {
  public:
    explicit Reader(Draft& draft) : mDraft(draft) {}

    std::vector<Stay> read();

  private:
    struct Known {
        Stay stay;
        std::optional<size_t> came[3];
        std::optional<size_t> went[3];
    };

    void comes(size_t line, const Sign& sign);
    void goes(size_t line, const Sign& sign);
    size_t eventOf(size_t line, const Sign& sign) const;
    void takeRotated(size_t line);

    Draft& mDraft;
    std::vector<Known> mKnown;
    size_t mNextToGo[3] = {};
};

// The event of the node stands some lines before; the cover came or went then, at the latest.
size_t Reader::eventOf(size_t line, const Sign& sign) const {
    if (sign.part == Part::Usb) return line;
    const std::string name = " name:" + sign.node;
    const std::string access = "\"/dev/" + sign.node + "\" OK";
    constexpr size_t kNear = 64;
    const std::vector<Line>& lines = mDraft.log().lines;
    for (size_t back = 1; back <= std::min(kNear, line); ++back) {
        const Line& before = lines[line - back];
        if (before.tid != lines[line].tid) continue;
        if (before.text.ends_with(name)) return line - back;
        if (before.text.ends_with(access)) return line - back;
    }
    return line;
}

void Reader::comes(size_t line, const Sign& sign) {
    const auto part = static_cast<size_t>(sign.part);
    if (mKnown.empty() || mKnown.back().came[part]) {
        if (!mKnown.empty() && mKnown.back().stay.end == SIZE_MAX) {
            mKnown.back().stay.end = eventOf(line, sign);
            mDraft.missing(line, "before it the cover must have left: the lines are missing");
        }
        mKnown.emplace_back().stay.begin = eventOf(line, sign);
    }
    Known& known = mKnown.back();
    known.came[part] = line;
    known.stay.begin = std::min(known.stay.begin, eventOf(line, sign));
    if (sign.part == Part::Usb) known.stay.hasUsb = true;
    if (sign.part == Part::Tty) known.stay.tty = sign.node;
    if (sign.part == Part::Hid) known.stay.hid = sign.node;
}

void Reader::goes(size_t line, const Sign& sign) {
    const auto part = static_cast<size_t>(sign.part);
    // Those before have gone in this part, or never had it.
    for (size_t& at = mNextToGo[part]; at < mKnown.size(); ++at) {
        Known& known = mKnown[at];
        if (!known.came[part] || known.went[part]) continue;
        known.went[part] = line;
        known.stay.end = std::min(known.stay.end, eventOf(line, sign));
        return;
    }
}

// The log begins with a cover that is there.
void Reader::takeRotated(size_t line) {
    if (mDraft.log().hasStart || !mKnown.empty() || !needsCover(mDraft.text(line))) return;
    Known& known = mKnown.emplace_back();
    known.stay.begin = 0;
    known.stay.tty = "ttyACM0";
    known.stay.hid = "hidraw0";
    known.stay.hasUsb = true;
    for (auto& came : known.came) came = 0;
    mDraft.missing(line,
                   "the log begins in an attachment: an attach is put before it, with the "
                   "answers that a cover gives");
}

std::vector<Stay> Reader::read() {
    for (size_t line = 0; line < mDraft.log().lines.size(); ++line) {
        const std::optional<Sign> sign = readSign(mDraft.text(line));
        if (!sign) {
            takeRotated(line);
        } else if (sign->comes) {
            comes(line, *sign);
        } else {
            if (mKnown.empty()) takeRotated(line);
            goes(line, *sign);
        }
    }
    std::vector<Stay> stays;
    for (Known& known : mKnown) stays.push_back(std::move(known.stay));
    return stays;
}

int numberOf(const std::string& node) {
    return std::atoi(node.c_str() + node.find_first_of("0123456789"));
}

void addStay(Draft& draft, const Stay& stay) {
    recording::Json how = recording::Json::object();
    if (!stay.tty.empty()) how["tty"] = numberOf(stay.tty);
    if (!stay.hid.empty()) how["hid"] = numberOf(stay.hid);
    how["usb"] = stay.hasUsb;
    draft.add({stay.begin, -2000}, Kind::Attach, kDevice, how.dump(), kCover);
    if (stay.end != SIZE_MAX) draft.add({stay.end, -3}, Kind::Detach, kDevice);
    ++draft.findings().attachments;
}

struct Loader {
    size_t begin = 0;
    std::string serial;
    std::string product;
};

// A loader says its serial number and its product.
std::vector<Loader> readLoaders(const Draft& draft) {
    constexpr std::string_view kSerial = "usbDeviceAdded : serial is ";
    constexpr std::string_view kProduct = "usbDeviceAdded : product_name is ";
    std::vector<Loader> loaders;
    for (size_t line = 0; line < draft.log().lines.size(); ++line) {
        const std::string_view text = draft.text(line);
        if (text.starts_with(kSerial)) {
            loaders.push_back({line, std::string(text.substr(kSerial.size())), ""});
        } else if (text.starts_with(kProduct) && !loaders.empty()) {
            loaders.back().product = text.substr(kProduct.size());
        }
    }
    return loaders;
}

// Nothing is logged when a loader leaves: it does before the next device comes.
void addLoaders(Draft& draft, const std::vector<Stay>& stays) {
    const std::vector<Loader> loaders = readLoaders(draft);
    for (size_t i = 0; i < loaders.size(); ++i) {
        const Loader& loader = loaders[i];
        const recording::Json how = {{"product", cover::escape(loader.product)},
                                     {"serial", cover::escape(loader.serial)}};
        draft.add({loader.begin, -2000}, Kind::Attach, kDevice, how.dump(),
                  std::string(kLoader) + " " + loader.product + " " + loader.serial);
        ++draft.findings().attachments;
        size_t next = i + 1 < loaders.size() ? loaders[i + 1].begin : SIZE_MAX;
        const auto stay = std::ranges::upper_bound(stays, loader.begin, {}, &Stay::begin);
        if (stay != stays.end()) next = std::min(next, stay->begin);
        if (next == SIZE_MAX) continue;
        draft.add({next, -2001}, Kind::Detach, kDevice);
        draft.missing(next, "when the loader left is not known: just before assumed");
    }
}

}  // namespace

// Stays begin one after the other.
const Stay* Devices::stayAt(size_t line) const {
    const auto after = std::ranges::upper_bound(stays, line, {}, &Stay::begin);
    return after == stays.begin() ? nullptr : &*std::prev(after);
}

std::string Devices::ttyAt(size_t line) const {
    const Stay* const stay = stayAt(line);
    return "/dev/" + (stay == nullptr || stay->tty.empty() ? "ttyACM0" : stay->tty);
}

std::string Devices::hidAt(size_t line) const {
    const Stay* const stay = stayAt(line);
    return "/dev/" + (stay == nullptr || stay->hid.empty() ? "hidraw0" : stay->hid);
}

Devices addDevices(Draft& draft) {
    Devices devices{Reader(draft).read()};
    for (const Stay& stay : devices.stays) addStay(draft, stay);
    addLoaders(draft, devices.stays);
    if (!devices.stays.empty()) {
        draft.missing(
                "The port of the bus, the name and the serial number of the cover are not in "
                "the log: those of the emulated phone are used.");
    }
    return devices;
}

}  // namespace phonelog
