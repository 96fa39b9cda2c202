// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Player.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "emulator/play/Around.h"
#include "emulator/play/StageRun.h"

namespace play {

using std::chrono::steady_clock;

namespace {

// A service that has not served by then does not serve.
constexpr Milliseconds kLongestStart(30'000);
// What changes without an entry is looked at so often.
constexpr Milliseconds kSlice(50);

Milliseconds left(steady_clock::time_point end) {
    const auto time = std::chrono::ceil<Milliseconds>(end - steady_clock::now());
    return std::max(time, Milliseconds(0));
}

std::string inSeconds(Milliseconds time) {
    return time.count() % 1000 == 0 ? std::to_string(time.count() / 1000) + " s"
                                    : std::to_string(time.count()) + " ms";
}

bool allHold(std::vector<Condition>& conditions, bool ofService, Taken& taken, Milliseconds limit) {
    return std::ranges::all_of(conditions, [&](Condition& condition) {
        return condition.isOfService() != ofService || condition.holds(taken, limit);
    });
}

// "is this text", "contains ...".
std::string tell(const Pattern& pattern) {
    switch (pattern.how) {
        case Pattern::How::Contains:
            return "contains \"" + pattern.text + "\"";
        case Pattern::How::Matches:
            return "matches \"" + pattern.text + "\"";
        default:
            return "is \"" + pattern.text + "\"";
    }
}

void checkOutput(const char* name, const std::optional<Pattern>& pattern,
                 const std::string& output) {
    if (!pattern || pattern->takes(output)) return;
    throw Failed{std::string(name) + " that " + tell(*pattern),
                 output.empty() ? "nothing" : forPeople(output)};
}

bool endsService(const Deed& deed) {
    if (deed.path != "/v1/signal") return false;
    const std::string name = deed.values.value("name", "");
    return name == "TERM" || name == "KILL";
}

}  // namespace

Player::Player(const Scenario& scenario, Stage& stage, std::string shown)
    : mScenario(scenario), mStage(stage), mShown(std::move(shown)), mCalls(stage) {}

Player::Verdict Player::play() {
    bool hasStarted = false;
    try {
        start();
        hasStarted = true;
        for (const Step& step : mScenario.steps) play(step);
        for (BegunCall& begun : mBackground) join(begun, steady_clock::now() + begun.call->limit);
        if (!mShown.empty()) settle();
        return {};
    } catch (const Failed& failed) {
        return {failure(failed), false};
    } catch (const Json::exception&) {
        return {failure({"an emulator of this version", "another program answers"}), !hasStarted};
    } catch (const std::exception& error) {
        const std::string expected = hasStarted ? mStep->text : "the service serves";
        return {failure({expected, error.what()}), !hasStarted};
    }
}

void Player::start() {
    for (const auto& [key, value] : mScenario.start.properties) {
        request(key + " is set", "PUT", "/v1/properties", {{"key", key}, {"value", value}});
    }
    for (const Step& step : mScenario.start.deeds) play(step);
    mStep = nullptr;
    if (mStage.isOwn()) {
        if (mScenario.start.cover) mStage.ask("POST", "/v1/attach");
        mStage.begin();
    }
    if (mCalls.connect(kLongestStart)) return;
    throw Gone("it does not, after " + inSeconds(kLongestStart));
}

void Player::play(const Step& step) {
    mStep = &step;
    std::visit([this](const auto& what) { perform(what); }, step.what);
}

void Player::perform(const Call& call) {
    BegunCall begun = mCalls.begin(*mStep, call);
    if (call.background) {
        mBackground.push_back(std::move(begun));
        return;
    }
    if (!mCalls.await(begun, steady_clock::now() + call.limit)) {
        throw Failed{tellExpected(call), "no answer within " + inSeconds(call.limit)};
    }
    check(begun);
}

void Player::check(BegunCall& begun) const {
    const calls::Invoked result = begun.result.get();
    // A call that nobody expects a result of may be cut off by an end that was meant.
    const bool isCutOff = mStage.isEndMeant() && begun.call->background && !begun.call->gives;
    if (isCutOff || isRight(*begun.call, result)) return;
    throw Failed{tellExpected(*begun.call), tellResult(result), !result.error.empty()};
}

void Player::join(BegunCall& begun, steady_clock::time_point end) {
    mStep = begun.step;
    if (!mCalls.await(begun, end)) throw Failed{tellExpected(*begun.call), "no answer yet"};
    check(begun);
}

void Player::settle() {
    // The service lets the panel settle for half a second.
    constexpr Milliseconds kQuiet(700);
    constexpr Milliseconds kLongest(5'000);
    const auto end = steady_clock::now() + kLongest;
    size_t known = 0;
    for (auto last = steady_clock::now();
         left(last + kQuiet).count() > 0 && left(end).count() > 0;) {
        mStage.pull(kSlice);
        if (mStage.streams().entries.end() > known) last = steady_clock::now();
        known = mStage.streams().entries.end();
    }
}

void Player::perform(const Deed& deed) {
    if (endsService(deed)) mStage.expectEnd();
    try {
        request(deed.words + " is done", deed.method, deed.path, deed.values);
    } catch (const Gone&) {
        // The phone ends with its service, maybe before it answers.
        if (!endsService(deed) || !mStage.hasEnded()) throw;
    }
}

void Player::request(const std::string& expected, const std::string& method,
                     const std::string& path, const Json& values) {
    try {
        mStage.ask(method, path, values);
    } catch (const Refused& refused) {
        throw Failed{expected, std::string("the phone refuses: ") + refused.what()};
    }
}

void Player::perform(const Run& run) {
    const std::optional<Outcome> outcome =
            runProgram(mStage, run.words, run.limit, mScenario.file.parent_path());
    if (!outcome) throw Failed{mStep->text + " ends", "it still ran after " + inSeconds(run.limit)};
    if (outcome->status != run.status) {
        constexpr int kNoService = 3;
        throw Failed{"exit status " + std::to_string(run.status),
                     "exit status " + std::to_string(outcome->status) +
                             (outcome->err.empty() ? "" : "\n" + forPeople(outcome->err)),
                     outcome->status == kNoService};
    }
    checkOutput("standard output", run.out, outcome->out);
    checkOutput("standard error", run.err, outcome->err);
}

void Player::perform(const Pause& pause) {
    const auto end = steady_clock::now() + pause.time;
    do {
        std::this_thread::sleep_for(std::min(left(end), kSlice));
        mStage.pull(Milliseconds(0));
    } while (left(end).count() > 0);
}

void Player::perform(const Wait& wait) {
    const auto end = steady_clock::now() + wait.limit;
    if (wait.forCalls) {
        for (BegunCall& begun : mBackground) join(begun, end);
        mBackground.clear();
        return;
    }
    std::vector<Condition> conditions;
    for (const Expectation& each : wait.conditions) conditions.emplace_back(each, mStage, mCursor);
    if (holdTogether(conditions, end)) return;
    Failed failed;
    for (const Condition& condition : conditions) {
        if (condition.held()) continue;
        const char* between = failed.came.empty() ? "" : "\n";
        failed.expected += between + condition.text();
        failed.came += between + condition.came();
        failed.place = failed.place.value_or(condition.place());
        keepPicture(condition, failed);
    }
    failed.expected += " within " + inSeconds(wait.limit);
    throw std::move(failed);
}

bool Player::holdTogether(std::vector<Condition>& conditions, steady_clock::time_point end) {
    const bool isAlone = conditions.size() == 1;
    Taken taken;
    for (mStage.pull(Milliseconds(0));; mStage.pull(std::min(left(end), kSlice))) {
        const Milliseconds none(0);
        // What waits may hold only after the others do no more.
        const bool all = allHold(conditions, false, taken, none) &&
                         allHold(conditions, true, taken, left(end)) &&
                         (isAlone || (allHold(conditions, false, taken, none) &&
                                      allHold(conditions, true, taken, none)));
        if (all) return true;
        if (left(end).count() == 0) return false;
    }
}

void Player::perform(const Expect& expect) {
    const auto end = steady_clock::now() + expect.limit;
    mStage.pull(Milliseconds(0));
    Taken taken;
    for (const Expectation& each : expect.items) {
        Condition condition(each, mStage, mCursor);
        if (!await(condition, taken, end)) {
            Failed failed = {condition.text() + " within " + inSeconds(expect.limit),
                             condition.came(), false, each.place};
            keepPicture(condition, failed);
            throw std::move(failed);
        }
        if (expect.inOrder) mCursor = condition.after();
    }
}

bool Player::await(Condition& condition, Taken& taken, steady_clock::time_point end) {
    try {
        while (!condition.holds(taken, left(end))) {
            if (left(end).count() == 0) return false;
            mStage.pull(std::min(left(end), kSlice));
        }
        return true;
    } catch (const Gone& gone) {
        throw Failed{condition.text(), gone.what(), false, condition.place()};
    }
}

void Player::perform(const Never& never) {
    mStage.pull(Milliseconds(0));
    for (const Expectation& each : never.items) {
        Condition condition(each, mStage, mCursor);
        Taken taken;
        if (!condition.holds(taken)) continue;
        throw Failed{"never " + condition.text(), condition.came(), false, each.place};
    }
}

void Player::keepPicture(const Condition& condition, Failed& failed) {
    if (mShown.empty() || !condition.isOfPicture()) return;
    const auto outcome =
            runProgram(mStage, {"bivista-emulator", "ctl", "snapshot", mShown}, kLongestStart);
    if (outcome && outcome->status == 0) failed.came += "\nwhat is shown is in " + mShown;
}

Failure Player::failure(Failed failed) {
    // The phone ends some moments after its service.
    constexpr Milliseconds kLongestDeath(2'000);
    const auto end = steady_clock::now() + (failed.isOfDeath ? kLongestDeath : Milliseconds(0));
    try {
        do {
            mStage.pull(std::min(left(end), kSlice));
        } while (left(end).count() > 0);
    } catch (const std::exception& death) {
        if (failed.isOfDeath) failed.came += std::string("\n") + death.what();
    }
    const std::string around = tellAround(mStage.streams().entries, mCursor.entry);
    if (mStep == nullptr) return {{1, 1}, "start", failed.expected, failed.came, around};
    return {failed.place.value_or(mStep->place), mStep->text, failed.expected, failed.came, around};
}

}  // namespace play
