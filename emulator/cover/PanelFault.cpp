// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/PanelFault.h"

#include <array>
#include <cerrno>
#include <utility>
#include <vector>

#include "emulator/cover/FaultWords.h"
#include "emulator/cover/Integers.h"
#include "emulator/cover/Text.h"

namespace cover {
namespace {

using Effect = PanelFault::Effect;

constexpr std::string_view kFirstWord = "hid";

constexpr std::array<std::pair<std::string_view, PanelCall>, 5> kCalls = {{
        {"open", PanelCall::Open},
        {"info", PanelCall::Info},
        {"config", PanelCall::Config},
        {"write", PanelCall::Write},
        {"*", PanelCall::Any},
}};

constexpr std::array<std::pair<std::string_view, Effect>, 4> kEffects = {{
        {"error", Effect::Error},
        {"short", Effect::Short},
        {"late", Effect::Late},
        {"unplug", Effect::Unplug},
}};

// Those that a hidraw node gives.
constexpr std::array<std::pair<std::string_view, int>, 12> kErrors = {{
        {"EIO", EIO},
        {"ENODEV", ENODEV},
        {"EPIPE", EPIPE},
        {"ETIMEDOUT", ETIMEDOUT},
        {"EAGAIN", EAGAIN},
        {"EACCES", EACCES},
        {"EBUSY", EBUSY},
        {"EINVAL", EINVAL},
        {"ENOENT", ENOENT},
        {"ENOMEM", ENOMEM},
        {"EPROTO", EPROTO},
        {"ESHUTDOWN", ESHUTDOWN},
}};

constexpr char kUsage[] =
        "write: hid open|info|config|write|* error NAME|short N|late DURATION|unplug [after N] "
        "[times N]; for example: hid write short 100 after 1 times 1";

template <typename Table>
auto find(const Table& table, const std::string& word)
        -> std::optional<typename Table::value_type::second_type> {
    for (const auto& [name, value] : table) {
        if (name == word) return value;
    }
    return std::nullopt;
}

template <typename Table, typename Value>
std::string_view nameIn(const Table& table, Value value) {
    for (const auto& [name, other] : table) {
        if (other == value) return name;
    }
    return "";
}

template <typename Table>
std::string namesIn(const Table& table) {
    std::string names;
    for (const auto& [name, value] : table)
        names += (names.empty() ? "" : ", ") + std::string(name);
    return names;
}

// Reads the words after the first one. Each step returns false with mError set.
class Parser {
  public:
    explicit Parser(std::vector<Word> words) : mWords(std::move(words)) {}

    ParsedPanelFault parse() {
        if (call() && effect() && counts() && end()) return {mFault, ""};
        return {std::nullopt, mError};
    }

  private:
    std::string next() { return mPosition < mWords.size() ? mWords[mPosition++].text : ""; }

    bool fail(const std::string& message) {
        mError = message + "; " + kUsage;
        return false;
    }

    bool call() {
        const std::string word = next();
        const std::optional<PanelCall> call = find(kCalls, word);
        if (!call) return fail(quote(word) + " is no call of the panel: " + namesIn(kCalls));
        mFault.call = *call;
        return true;
    }

    bool effect() {
        const std::string word = next();
        const std::optional<Effect> effect = find(kEffects, word);
        if (!effect) return fail(quote(word) + " is no effect: " + namesIn(kEffects));
        mFault.effect = *effect;
        switch (*effect) {
            case Effect::Error:
                return error();
            case Effect::Short:
                if (mFault.call == PanelCall::Open) return fail("an open has no bytes");
                return number("short", 0, mFault.bytes);
            case Effect::Late:
                return duration();
            case Effect::Unplug:
                return true;
        }
        return true;
    }

    bool error() {
        const std::string word = next();
        const std::optional<int> error = find(kErrors, word);
        if (!error) return fail(quote(word) + " is no error of the panel: " + namesIn(kErrors));
        mFault.error = *error;
        return true;
    }

    bool duration() {
        const std::optional<Time> time = parseDuration(next());
        if (!time) return fail("late needs an integer with us, ms or s, and at most one day");
        mFault.time = *time;
        return true;
    }

    bool number(const char* what, uint64_t least, uint64_t& out) {
        const std::optional<uint64_t> value = parseInteger<uint64_t>(next());
        if (!value || *value < least) {
            return fail(std::string(what) + " needs an integer from " + std::to_string(least) +
                        " up");
        }
        out = *value;
        return true;
    }

    bool accept(std::string_view keyword) {
        if (mPosition == mWords.size() || mWords[mPosition].text != keyword) return false;
        ++mPosition;
        return true;
    }

    bool counts() {
        if (accept("after") && !number("after", 0, mFault.after)) return false;
        if (!accept("times")) return true;
        return number("times", 1, mFault.times.emplace());
    }

    bool end() {
        return mPosition == mWords.size() ||
               fail("the line should end before " + mWords[mPosition].shown());
    }

    const std::vector<Word> mWords;
    size_t mPosition = 1;
    PanelFault mFault;
    std::string mError;
};

std::string printArgument(const PanelFault& fault) {
    switch (fault.effect) {
        case Effect::Error:
            return " " + std::string(nameIn(kErrors, fault.error));
        case Effect::Short:
            return " " + std::to_string(fault.bytes);
        case Effect::Late:
            return " " + printDuration(fault.time);
        case Effect::Unplug:
            return "";
    }
    return "";
}

}  // namespace

std::string_view name(PanelCall call) {
    return nameIn(kCalls, call);
}

bool isPanelFault(std::string_view line) {
    std::string error;
    const std::optional<std::vector<Word>> words = cutWords(line, error);
    return words && !words->empty() && !words->front().quoted && words->front().text == kFirstWord;
}

ParsedPanelFault parsePanelFault(std::string_view line) {
    std::string error;
    std::optional<std::vector<Word>> words = cutWords(line, error);
    if (!words) return {std::nullopt, error};
    return Parser(*std::move(words)).parse();
}

std::string toText(const PanelFault& fault) {
    std::string text(kFirstWord);
    text.append(" ").append(name(fault.call));
    text.append(" ").append(nameIn(kEffects, fault.effect)).append(printArgument(fault));
    if (fault.after != 0) text += " after " + std::to_string(fault.after);
    if (fault.times) text += " times " + std::to_string(*fault.times);
    return text;
}

}  // namespace cover
