// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/FaultLanguage.h"

#include <array>
#include <utility>
#include <vector>

#include "emulator/cover/FaultWords.h"
#include "emulator/cover/Integers.h"
#include "emulator/cover/Text.h"

namespace cover {
namespace {

using Effect = Fault::Effect;

enum class Argument { None, Duration, Text, AllOrNothing, AfterBytes, Lines };

struct EffectWord {
    std::string_view word;
    Effect effect;
    Argument argument;
    std::string_view example;
};

// Parser and printer both read this table.
constexpr std::array<EffectWord, 13> kEffects = {{
        {"silent", Effect::Silent, Argument::None, "silent"},
        {"late", Effect::Late, Argument::Duration, "late 200ms"},
        {"split", Effect::Split, Argument::Duration, "split 1ms"},
        {"garble", Effect::Garble, Argument::AllOrNothing, "garble"},
        {"error", Effect::Error, Argument::None, "error"},
        {"before", Effect::Before, Argument::Text, R"(before "boot: hello")"},
        {"after", Effect::After, Argument::Text, R"(after "boot: hello")"},
        {"inside", Effect::Inside, Argument::Text, R"(inside "boot: hello")"},
        {"hangup", Effect::HangUp, Argument::AfterBytes, "hangup after 5"},
        {"answer", Effect::Answer, Argument::Text, R"(answer "\r\nhello\r\nOK\r\n")"},
        {"half", Effect::Half, Argument::None, "half"},
        {"flood", Effect::Flood, Argument::Lines, "flood 1000"},
        {"deaf", Effect::Deaf, Argument::None, "deaf"},
}};

const EffectWord* findEffect(std::string_view word) {
    for (const EffectWord& effect : kEffects) {
        if (effect.word == word) return &effect;
    }
    return nullptr;
}

const EffectWord& wordOf(Effect effect) {
    for (const EffectWord& word : kEffects) {
        if (word.effect == effect) return word;
    }
    return kEffects.front();
}

std::string effectWords() {
    std::string words;
    for (const EffectWord& effect : kEffects) {
        if (!words.empty()) words += ", ";
        words += effect.word;
    }
    return words;
}

// Reads the words of one line into a fault. Each step returns false with mError set.
class Parser {
  public:
    explicit Parser(std::vector<Word> words) : mWords(std::move(words)) {}

    ParsedFault parse() {
        if (!on() || !prefix() || !effect() || !times() || !end()) return {std::nullopt, mError};
        return {std::move(mFault), ""};
    }

  private:
    const Word* peek() const { return mPosition < mWords.size() ? &mWords[mPosition] : nullptr; }

    bool accept(std::string_view keyword) {
        const Word* word = peek();
        if (!word || word->quoted || word->text != keyword) return false;
        ++mPosition;
        return true;
    }

    bool fail(std::string message) {
        mError = std::move(message);
        return false;
    }

    std::string found() const { return peek() ? "not " + peek()->shown() : "but the line ends"; }

    bool on() {
        return accept("on") || fail("a fault begins with the word on, " + found() +
                                    "; for example: on AT%SWV late 200ms");
    }

    bool prefix() {
        const Word* word = peek();
        if (!word) return fail("say which command after on: its first letters, or * for all");
        if (word->quoted && word->text.empty()) {
            return fail("an empty command never comes; write * for every command");
        }
        if (!word->quoted && word->text != "*" && word->text.find('*') != std::string::npos) {
            return fail(word->shown() +
                        ": a command is given by its first letters, without *; write * alone for "
                        "every command, or put quotes around a * of the command itself");
        }
        if (word->quoted || word->text != "*") mFault.prefix = word->text;
        ++mPosition;
        return true;
    }

    bool effect() {
        const Word* word = peek();
        const EffectWord* effect = word && !word->quoted ? findEffect(word->text) : nullptr;
        if (!effect) {
            return fail("after the command comes an effect, " + found() +
                        "; write one of: " + effectWords());
        }
        ++mPosition;
        mFault.effect = effect->effect;
        return argument(*effect);
    }

    bool argument(const EffectWord& effect) {
        switch (effect.argument) {
            case Argument::None:
                return true;
            case Argument::Duration:
                return duration(effect);
            case Argument::Text:
                return text(effect);
            case Argument::AllOrNothing:
                mFault.all = accept("all");
                return true;
            case Argument::AfterBytes:
                return !accept("after") || number(effect, 0, mFault.count);
            case Argument::Lines:
                return !peek() || peek()->text == "times" || number(effect, 1, mFault.count);
        }
        return true;
    }

    bool duration(const EffectWord& effect) {
        const Word* word = peek();
        const auto time = word && !word->quoted ? parseDuration(word->text) : std::nullopt;
        if (!time) {
            return failArgument(effect, "an integer with us, ms or s, and at most one day");
        }
        mFault.time = *time;
        ++mPosition;
        return true;
    }

    bool text(const EffectWord& effect) {
        const Word* word = peek();
        if (!word || !word->quoted) return failArgument(effect, "a quoted text");
        mFault.text = word->text;
        ++mPosition;
        return true;
    }

    bool number(const EffectWord& effect, uint64_t least, std::optional<uint64_t>& out) {
        const Word* word = peek();
        const auto value =
                word && !word->quoted ? parseInteger<uint64_t>(word->text) : std::nullopt;
        if (!value || *value < least) {
            return failArgument(effect, "an integer from " + std::to_string(least) + " up");
        }
        out = *value;
        ++mPosition;
        return true;
    }

    bool times() {
        static constexpr EffectWord kTimes = {"times", Effect::Silent, Argument::Lines, "times 3"};
        return !accept("times") || number(kTimes, 1, mFault.times);
    }

    bool end() {
        if (!peek()) return true;
        return fail("the line should end before " + peek()->shown() +
                    "; only times and a count may follow the effect. Write another fault for "
                    "another effect");
    }

    bool failArgument(const EffectWord& effect, const std::string& wanted) {
        return fail(std::string(effect.word) + " needs " + wanted + ", " + found() +
                    "; for example: " + std::string(effect.example));
    }

    std::vector<Word> mWords;
    size_t mPosition = 0;
    Fault mFault;
    std::string mError;
};

bool needsQuotes(std::string_view prefix) {
    for (const char c : prefix) {
        if (c < 0x21 || c > 0x7e || c == '"' || c == '\\' || c == '*') return true;
    }
    return false;
}

std::string printArgument(const Fault& fault) {
    switch (wordOf(fault.effect).argument) {
        case Argument::None:
            return "";
        case Argument::Duration:
            return ' ' + printDuration(fault.time);
        case Argument::Text:
            return ' ' + quote(fault.text);
        case Argument::AllOrNothing:
            return fault.all ? " all" : "";
        case Argument::AfterBytes:
            return fault.count ? " after " + std::to_string(*fault.count) : "";
        case Argument::Lines:
            return fault.count ? ' ' + std::to_string(*fault.count) : "";
    }
    return "";
}

}  // namespace

ParsedFault parseFault(std::string_view line) {
    std::string error;
    std::optional<std::vector<Word>> words = cutWords(line, error);
    if (!words) return {std::nullopt, error};
    return Parser(*std::move(words)).parse();
}

std::string toText(const Fault& fault) {
    std::string text = "on ";
    if (fault.prefix.empty()) {
        text += '*';
    } else {
        text += needsQuotes(fault.prefix) ? quote(fault.prefix) : fault.prefix;
    }
    text += ' ';
    text += wordOf(fault.effect).word;
    text += printArgument(fault);
    if (fault.times) text += " times " + std::to_string(*fault.times);
    return text;
}

}  // namespace cover
