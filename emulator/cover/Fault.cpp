#include "emulator/cover/Fault.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

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
constexpr std::array<EffectWord, 12> kEffects = {{
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
}};

struct Unit {
    std::string_view name;
    Time time;
};

constexpr std::array<Unit, 3> kUnits = {{
        {"s", std::chrono::seconds(1)},
        {"ms", std::chrono::milliseconds(1)},
        {"us", std::chrono::microseconds(1)},
}};

constexpr Time kLongest = std::chrono::hours(24);
constexpr std::string_view kBlanks = " \t\r\n";

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

std::optional<Time> parseDuration(std::string_view text) {
    const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    const std::optional<int64_t> number = parseInteger<int64_t>(text.substr(0, digits));
    if (!number) return std::nullopt;
    for (const Unit& unit : kUnits) {
        if (text.substr(digits) != unit.name) continue;
        if (*number > kLongest / unit.time) return std::nullopt;
        return *number * unit.time;
    }
    return std::nullopt;
}

std::string printDuration(Time time) {
    for (const Unit& unit : kUnits) {
        if (time % unit.time != Time::zero()) continue;
        return std::to_string(time / unit.time) + std::string(unit.name);
    }
    return "0s";  // not reached by what the parser gave: it knows nothing below a microsecond
}

struct Word {
    std::string text;  // of a quoted one: what it spells
    bool quoted = false;

    std::string shown() const { return quote(text); }
};

// Cuts a line into words. On an error: no more words, and what is wrong.
class Words {
  public:
    explicit Words(std::string_view line) : mRest(line) { skipBlanks(); }

    bool atEnd() const { return mRest.empty(); }

    std::optional<Word> next(std::string& error) {
        std::optional<Word> word = mRest.front() == '"' ? quoted(error) : bare(error);
        skipBlanks();
        return word;
    }

  private:
    void skipBlanks() {
        mRest.remove_prefix(std::min(mRest.find_first_not_of(kBlanks), mRest.size()));
    }

    std::optional<Word> bare(std::string& error) {
        const std::string_view text = mRest.substr(0, mRest.find_first_of(kBlanks));
        for (const char c : text) {
            if (c >= 0x21 && c <= 0x7e && c != '"' && c != '\\') continue;
            error = quote(text) + " holds a character that must be quoted; write it between \"\"";
            return std::nullopt;
        }
        mRest.remove_prefix(text.size());
        return Word{std::string(text), false};
    }

    std::optional<Word> quoted(std::string& error) {
        const size_t end = closingQuote();
        if (end == std::string_view::npos) {
            error = "a quoted text does not end; close it with \"";
            return std::nullopt;
        }
        const std::string_view spelt = mRest.substr(1, end - 1);
        mRest.remove_prefix(end + 1);
        std::optional<std::string> text = unescape(spelt);
        if (!text) {
            error = "unknown escape in " + quote(spelt) +
                    "; write one of \\r \\n \\t \\\\ \\\" or \\xHH";
            return std::nullopt;
        }
        if (!mRest.empty() && kBlanks.find(mRest.front()) == std::string_view::npos) {
            error = "put a blank behind the quoted text " + quote(*text);
            return std::nullopt;
        }
        return Word{std::move(*text), true};
    }

    size_t closingQuote() const {
        for (size_t i = 1; i < mRest.size(); ++i) {
            if (mRest[i] == '\\') {
                ++i;
            } else if (mRest[i] == '"') {
                return i;
            }
        }
        return std::string_view::npos;
    }

    std::string_view mRest;
};

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
    std::vector<Word> words;
    std::string error;
    for (Words cutter(line); !cutter.atEnd();) {
        std::optional<Word> word = cutter.next(error);
        if (!word) return {std::nullopt, error};
        words.push_back(std::move(*word));
    }
    return Parser(std::move(words)).parse();
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
