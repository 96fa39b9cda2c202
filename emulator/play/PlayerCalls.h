// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The calls of a scenario. Each has a thread of its own, which a service that does not answer
// keeps.
#pragma once

#include <future>
#include <memory>
#include <string>
#include <vector>

#include "emulator/phone/calls/Invoke.h"
#include "emulator/play/Scenario.h"
#include "emulator/play/Stage.h"

namespace play {

// A call that was begun.
struct BegunCall {
    const Step* step;
    const Call* call;
    std::future<calls::Invoked> result;
};

class PlayerCalls {
  public:
    explicit PlayerCalls(Stage& stage) : mStage(stage) {}

    // Waits until the service serves; false when it does not after `limit`. Throws as
    // Stage::pull().
    bool connect(Milliseconds limit);

    // After connect(). The step must outlive the call.
    BegunCall begin(const Step& step, const Call& call) const;
    // Waits for its result; false when there is none at `end`. Throws as Stage::pull().
    bool await(const BegunCall& call, std::chrono::steady_clock::time_point end) const;

  private:
    Stage& mStage;
    std::shared_ptr<calls::Caller> mCaller;
};

// Whether the result is what was expected: null stands for anything, an object needs the named
// members alone.
bool fits(const Json& expected, const Json& given);

// "setBrightness(128) gives ["OK"]".
std::string tellExpected(const Call& call);
// The results, or why there are none.
std::string tellResult(const calls::Invoked& result);
// The results are there, and are those that the call is to give.
bool isRight(const Call& call, const calls::Invoked& result);

}  // namespace play
