// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A vote on USB suspend tells whether it writes the control file. Where the line of the write is
// lost, so the write is known.
#include <cstdlib>
#include <map>
#include <optional>

#include "emulator/phonelog/Names.h"
#include "emulator/phonelog/Nodes.h"

namespace phonelog {

namespace {

constexpr std::string_view kVote = "usbAutoSuspend: suspend:";

// "usbAutoSuspend: suspend:0 vote:1 disableVote:2"
struct Vote {
    bool withdraws = false;
    int votes = 0;  // before it

    bool writes() const { return withdraws ? votes <= 1 : votes < 1; }
    const char* value() const { return withdraws ? "auto" : "on"; }
};

std::optional<Vote> readVote(std::string_view text) {
    if (!text.starts_with(kVote) || text.find(" vote:1 ") == std::string_view::npos) {
        return std::nullopt;
    }
    const size_t count = text.rfind(':') + 1;
    return Vote{text[kVote.size()] == '1', std::atoi(std::string(text.substr(count)).c_str())};
}

class Votes {
  public:
    explicit Votes(Draft& draft) : mDraft(draft) {}

    void take(size_t line);

  private:
    // Of a thread.
    struct State {
        std::optional<Vote> vote;  // the line before
        size_t votedAt = 0;
    };

    void expectWrite(State& state, std::string_view text);

    Draft& mDraft;
    std::map<int, State> mStates;
    int mLastVoter = 0;
};

void Votes::expectWrite(State& state, std::string_view text) {
    if (!state.vote || !state.vote->writes()) return;
    if (text.starts_with("usbAutoSuspend: ") && !text.starts_with(kVote)) return;
    mDraft.addWrite({state.votedAt, 1}, kControl, state.vote->value(), false);
    mDraft.missing(state.votedAt, std::string("the line after it, \"usbAutoSuspend: ") +
                                          state.vote->value() + "\", is missing: put back");
}

void Votes::take(size_t line) {
    const Line& found = mDraft.log().lines[line];
    State& state = mStates[found.tid];
    // Another thread that votes meanwhile may write instead.
    if (mLastVoter == found.tid) expectWrite(state, found.text);
    state.vote = readVote(found.text);
    if (!state.vote) return;
    mLastVoter = found.tid;
    state.votedAt = line;
}

}  // namespace

void addLostVotes(Draft& draft) {
    Votes votes(draft);
    for (size_t line = 0; line < draft.log().lines.size(); ++line) votes.take(line);
}

}  // namespace phonelog
