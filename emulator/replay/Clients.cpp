// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/replay/Clients.h"

#include <utility>

#include "emulator/phone/Error.h"

namespace replay {

namespace {

// So many at a time: a service that answers nothing gets no more.
constexpr size_t kMostCalls = 64;

}  // namespace

Clients::~Clients() {
    for (Running& call : mCalls) call.thread.join();
}

Time Clients::firstEnd() const {
    const android::AutoMutex lock(mLock);
    return mEnds.empty() ? Time::max() : *mEnds.begin();
}

void Clients::call(const Stimulus& stimulus) {
    std::erase_if(mCalls, [](Running& call) {
        const bool isOver = call.isOver;
        if (isOver) call.thread.join();
        return isOver;
    });
    if (mCalls.size() == kMostCalls) throw phone::Error("too many calls are not answered");
    Running& running = mCalls.emplace_back();
    const Time end = stimulus.entry->time + stimulus.entry->duration.value_or(Time());
    {
        const android::AutoMutex lock(mLock);
        mEnds.insert(end);
    }
    running.thread = std::thread([this, &stimulus, &running, end] {
        carryOut(stimulus);
        {
            const android::AutoMutex lock(mLock);
            mEnds.erase(mEnds.find(end));
        }
        mListener.ended();
        running.isOver = true;
    });
}

std::shared_ptr<calls::Caller> Clients::caller() {
    const android::AutoMutex lock(mCallerLock);
    if (mCaller == nullptr && !mWasAlone) {
        mCaller = calls::Caller::connect(mPatience);
        mWasAlone = mCaller == nullptr;
    }
    return mCaller;
}

void Clients::carryOut(const Stimulus& stimulus) {
    const phone::Entry& entry = *stimulus.entry;
    const std::string method = entry.path.substr(entry.path.rfind('.') + 1);
    const calls::Json arguments = calls::Json::parse(stimulus.arguments, nullptr, false);
    const std::string wrong = calls::checkArguments(method, arguments);
    if (!wrong.empty()) {
        mListener.tell("the call of entry " + std::to_string(entry.seq) +
                       " cannot be made: " + wrong);
        return;
    }
    // The journal has the result.
    if (const auto service = caller()) service->call(method, arguments);
}

}  // namespace replay
