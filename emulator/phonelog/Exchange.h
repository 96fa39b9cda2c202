// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A command to the cover and its answer, as the service's lines tell of it.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "emulator/phonelog/Draft.h"

namespace phonelog {

struct Exchange {
    enum class End {
        Ok,
        Error,
        HangUp,
        TimeOut,
        WriteFailed,
        ReadFailed,
        NotOpened,    // the tty
        NotAttached,  // no command was sent
        Malformed,
    };
    struct Said {
        size_t line = 0;
        std::string text;
        bool isStart = false;  // the blank line or the echo
        bool isStray = false;  // before the answer
    };

    size_t first = 0;
    size_t sentAt = SIZE_MAX;  // SIZE_MAX: not sent
    size_t last = 0;
    std::string command;  // without its "\r"
    bool hasCallback = false;
    std::vector<Said> said;
    End end = End::Ok;

    // The service takes it for a failure.
    bool failed() const { return end != End::Ok && end != End::HangUp; }
    // The lines of the answer.
    std::vector<const Said*> contents() const;
    // What the caller got: the lines, of a whole answer without the last line end.
    std::string text() const;
};

// A line that the cover said by itself, as far as it does not begin as one of the service's own.
bool mayBeCovers(const Line& line);

// Puts the lines of one thread together.
class ExchangeReader {
  public:
    explicit ExchangeReader(Draft& draft) : mDraft(draft) {}

    // Whether the line belongs to an exchange.
    bool take(size_t line, std::string_view text);
    // A whole one, once.
    std::optional<Exchange> done();
    // At the end of the log, or of what the log has of it.
    void close(size_t line);

  private:
    bool takeRequest(size_t line, std::string_view text);
    void takeWritten(size_t line, std::string_view text);
    void takeAnswer(size_t line, std::string_view text, bool isStart);
    void takeFailure(size_t line, std::string_view text);
    std::string bracketed(size_t line, std::string_view text);
    void finish(size_t line, Exchange::End end);

    Draft& mDraft;
    std::optional<Exchange> mOpen;
    std::optional<Exchange> mDone;
};

// Adds what passed on the tty.
void addExchange(Draft& draft, const Exchange& exchange, const std::string& tty);

}  // namespace phonelog
