// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Whether what a scenario expects has come.
#pragma once

#include <set>
#include <string>

#include "emulator/play/Scenario.h"
#include "emulator/play/Stage.h"

namespace play {

// Numbers of the first entry and the first line that count.
struct Cursor {
    size_t entry = 0;
    size_t line = 0;
};

// What other conditions of a step have found already: each expectation needs one of its own.
struct Taken {
    std::set<size_t> entries;
    std::set<size_t> lines;
};

class Condition {
  public:
    // The stage must outlive it, as must the expectation.
    Condition(const Expectation& expectation, Stage& stage, const Cursor& from);

    // Looks at what the stage has by now. An entry or a line that was found remains found; anything
    // else is to hold at this moment. A condition of the service waits so long to hold.
    bool holds(Taken& taken, Milliseconds limit = Milliseconds(0));
    // It takes time to look whether it holds.
    bool isOfService() const;
    bool isOfPicture() const;
    // What holds() returned last.
    bool held() const { return mHeld; }

    // After the entry or line that was found.
    const Cursor& after() const { return mAt; }
    // For people: what came instead; after it was found, what that was.
    std::string came() const;

    const std::string& text() const { return mExpectation.text; }
    Place place() const { return mExpectation.place; }

  private:
    bool look(const EntryPattern& pattern, Taken& taken, Milliseconds limit);
    bool look(const LogPattern& pattern, Taken& taken, Milliseconds limit);
    bool look(const StatePattern& pattern, Taken& taken, Milliseconds limit);
    bool look(const ServicePattern& pattern, Taken& taken, Milliseconds limit);
    bool look(const PicturePattern& pattern, Taken& taken, Milliseconds limit);
    bool compare(const PicturePattern& pattern, const Json& shown);

    const Expectation& mExpectation;
    Stage& mStage;
    const Cursor mFrom;
    Cursor mAt;             // what is looked at next
    bool mIsFound = false;  // the entry or line
    bool mHeld = false;
    std::string mCame;  // of what is no entry and no line
};

}  // namespace play
