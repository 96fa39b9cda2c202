// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/PlayerCalls.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace play {

using std::chrono::steady_clock;

namespace {

constexpr Milliseconds kSlice(50);

// Unlike std::async's, the future's end does not wait for the thread.
template <typename Work>
auto onItsOwnThread(Work work) -> std::future<decltype(work())> {
    std::packaged_task<decltype(work())()> task(std::move(work));
    auto result = task.get_future();
    std::thread(std::move(task)).detach();
    return result;
}

std::string dump(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// "OK" alone stands for ["OK"].
Json listOf(const Json& gives) {
    return gives.is_array() ? gives : Json::array({gives});
}

}  // namespace

bool PlayerCalls::connect(Milliseconds limit) {
    const auto end = steady_clock::now() + limit;
    std::future<std::shared_ptr<calls::Caller>> caller;
    do {
        mStage.pull(Milliseconds(0));
        if (!caller.valid()) {
            caller = onItsOwnThread([]() -> std::shared_ptr<calls::Caller> {
                return calls::Caller::connect(kSlice);
            });
        }
        if (caller.wait_for(kSlice) == std::future_status::ready) mCaller = caller.get();
    } while (mCaller == nullptr && steady_clock::now() < end);
    return mCaller != nullptr;
}

BegunCall PlayerCalls::begin(const Step& step, const Call& call) const {
    return {&step, &call, onItsOwnThread([caller = mCaller, &call] {
                return caller->call(call.method, call.arguments);
            })};
}

bool PlayerCalls::await(const BegunCall& call, steady_clock::time_point end) const {
    while (call.result.wait_for(kSlice) != std::future_status::ready) {
        if (steady_clock::now() >= end) return false;
        mStage.pull(Milliseconds(0));
    }
    return true;
}

bool fits(const Json& expected, const Json& given) {
    if (expected.is_null()) return true;
    if (expected.is_object() && given.is_object()) {
        return std::ranges::all_of(expected.items(), [&](const auto& member) {
            return given.contains(member.key()) && fits(member.value(), given.at(member.key()));
        });
    }
    if (expected.is_array() && given.is_array()) {
        return std::ranges::equal(expected, given, fits);
    }
    return expected == given;
}

bool isRight(const Call& call, const calls::Invoked& result) {
    if (!result.error.empty()) return false;
    if (!call.gives) return true;
    const Json expected = listOf(*call.gives);
    return expected.size() <= result.results.size() &&
           std::equal(expected.begin(), expected.end(), result.results.begin(), fits);
}

std::string tellExpected(const Call& call) {
    std::string arguments = dump(call.arguments);
    arguments = arguments.substr(1, arguments.size() - 2);
    return call.method + "(" + arguments + ") gives " +
           (call.gives ? dump(listOf(*call.gives)) : "a result");
}

std::string tellResult(const calls::Invoked& result) {
    return result.error.empty() ? dump(result.results) : "no result: " + result.error;
}

}  // namespace play
