// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Plays a scenario on a stage.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "emulator/play/Condition.h"
#include "emulator/play/PlayerCalls.h"
#include "emulator/play/Report.h"
#include "emulator/play/Scenario.h"
#include "emulator/play/Stage.h"

namespace play {

// What is wrong at a step; for people.
struct Failed {
    std::string expected;
    std::string came;
    bool isOfDeath = false;        // maybe the service's, which is to be told then
    std::optional<Place> place{};  // within the step
};

class Player {
  public:
    // Both must outlive it. `shown`: with a recording that is kept, a file for the picture that the
    // panel shows instead of an expected one; else empty.
    Player(const Scenario& scenario, Stage& stage, std::string shown);

    // To the end or the first failure.
    struct Verdict {
        std::optional<Failure> failure;
        bool noService = false;
    };
    Verdict play();

  private:
    void start();
    // Throw Failed, and what Stage throws.
    void play(const Step& step);
    void perform(const Call& call);
    void perform(const Deed& deed);
    void perform(const Run& run);
    void perform(const Pause& pause);
    void perform(const Wait& wait);
    void perform(const Expect& expect);
    void perform(const Never& never);

    void join(BegunCall& begun, std::chrono::steady_clock::time_point end);
    // Until the journal is quiet: a recording that is kept has all that the service did then.
    void settle();
    void check(BegunCall& call) const;
    bool holdTogether(std::vector<Condition>& conditions,
                      std::chrono::steady_clock::time_point end);
    bool await(Condition& condition, Taken& taken, std::chrono::steady_clock::time_point end);
    void keepPicture(const Condition& condition, Failed& failed);
    void request(const std::string& expected, const std::string& method, const std::string& path,
                 const Json& values);
    Failure failure(Failed failed);

    const Scenario& mScenario;
    Stage& mStage;
    const std::string mShown;
    PlayerCalls mCalls;
    std::vector<BegunCall> mBackground;
    Cursor mCursor;
    const Step* mStep = nullptr;  // the one that is played
};

}  // namespace play
