// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/replay/Player.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <span>

#include "emulator/phone/Error.h"

namespace replay {

using phone::Entry;
using phone::Kind;
using std::chrono::milliseconds;

namespace {

// The longest wait of a fast replay. The service sleeps too, half a second at most, and nothing
// tells when it has woken.
constexpr Time kLongestFast = std::chrono::seconds(1);
// From a deed to the stimulus after it: what the service does besides its deeds comes to its end.
constexpr Time kSettle = milliseconds(20);
// From a signal to the stimulus after it: what a signal does leaves no trace.
constexpr Time kAfterSignal = milliseconds(100);
// So long a deed is waited for that the recording does not have.
constexpr Time kAfterLast = milliseconds(300);
constexpr Time kAtOnce = milliseconds(2);
// From SIGTERM to SIGKILL.
constexpr Time kKillAfter = std::chrono::seconds(5);
// Entries of the journal that are taken in one go.
constexpr size_t kMostTaken = 10'000;
// So much more than twice the recording a program may do: its journal takes memory.
constexpr size_t kMostEntries = 50'000;
constexpr size_t kMostBytes = 8 << 20;

}  // namespace

Player::Player(RecordedPhone& phone, RecordedNeighbours& neighbours, const Script& script,
               Pace pace, std::function<void(const std::string&)> tell)
    : mPhone(phone),
      mNeighbours(neighbours),
      mScript(script),
      mPace(pace),
      mTell(std::move(tell)),
      mProgress(script.deeds),
      mClients(pace.patience, {mTell, [this] { tellNext(); }}) {}

Player::~Player() {
    stop();
}

void Player::setUp() {
    const Time first = mScript.deeds.empty() ? Time::max() : mScript.deeds.front().time;
    while (mNext < mScript.stimuli.size() && next().entry->time < first &&
           next().entry->kind != Kind::ClientCall) {
        playNext();
    }
}

void Player::start() {
    mLast = mStep = Clock::now();
    mThread = std::thread([this] { run(); });
}

void Player::stop() {
    mHasEnded = true;
    mPhone.journal().wake();
    if (mThread.joinable()) mThread.join();
}

void Player::run() {
    while (mNext < mScript.stimuli.size() && awaitNext()) playNext();
    mNextTime = Time::max();
    tellNext();
    awaitEnd();
    endProgram();
}

// An answer that was recorded after the end of a call cannot have let the call end.
void Player::tellNext() {
    const android::AutoMutex lock(mNextLock);
    mPhone.setNext(std::min(mNextTime.load(), mClients.firstEnd()));
}

bool Player::look() {
    mPhone.journal().sync();
    // At the end they are to be answered.
    if (!mIsAtEnd) mProgress.setHeldCalls(mPhone.heldCalls());
    for (bool isMore = true; isMore;) {
        const std::vector<Entry> entries = mPhone.journal().since(mSeq, kMostTaken);
        for (const Entry& entry : entries) {
            mProgress.see(entry);
            mBytes += entry.bytes.size();
        }
        if (!entries.empty()) mSeq = entries.back().seq + 1;
        isMore = entries.size() == kMostTaken;
    }
    mIsTooMuch |= mSeq > 2 * mScript.deeds.size() + kMostEntries ||
                  mBytes > 2 * mScript.bytes + kMostBytes;
    if (mProgress.steps() != mSteps) mStep = Clock::now();
    mSteps = mProgress.steps();
    return mProgress.isThere();
}

Player::Clock::time_point Player::dueOfNext() const {
    const Time recorded = next().entry->time;
    Time gap = recorded - mPlayed;
    if (mPace.isFast) gap = std::min(gap, kLongestFast);
    if (mNext > 0 && mScript.stimuli[mNext - 1].entry->kind == Kind::Signal) {
        gap = std::max(gap, kAfterSignal);
    }
    const Time sinceDeed = std::min(recorded - mProgress.lastNeeded(), kSettle);
    return std::max(mLast + gap, mStep + sinceDeed);
}

bool Player::isSilent() const {
    // In the recording too it may have been silent for so long.
    return Clock::now() > std::max(mLast, mStep) + mProgress.longestWait() + mPace.patience;
}

void Player::sleepUntil(Clock::time_point time) {
    const auto left = std::chrono::ceil<milliseconds>(time - Clock::now());
    const uint64_t calls = mPhone.callCount();
    mPhone.journal().await(mSeq, std::max(left, milliseconds(0)),
                           [&] { return mHasEnded || mPhone.callCount() != calls; });
}

bool Player::awaitNext() {
    mProgress.need(next().entry->time, mPlayed);
    mNextTime = next().entry->time;
    tellNext();
    while (!isOver()) {
        const bool isThere = look();
        if (isThere && Clock::now() >= dueOfNext()) return true;
        if (!isThere && isSilent()) mProgress.giveUp();
        sleepUntil(isThere ? dueOfNext() : Clock::now() + milliseconds(100));
    }
    mWasLeft = mHasEnded && !mIsToEnd;
    return false;
}

// A cover that comes back was seen by watchers in one read, and what it says at once came before
// any open of its tty.
bool Player::isAtOnce(const Stimulus& first, const Stimulus& second) const {
    const Time end = first.entry->time + first.entry->duration.value_or(Time());
    if (!first.device || !second.device || second.entry->time - end >= kAtOnce) return false;
    const auto deed = std::ranges::lower_bound(mScript.deeds, end, {}, &Deed::time);
    if (second.entry->kind == Kind::Attach) {
        // What the service did in between it does before the cover is back.
        const bool isAfter = deed == mScript.deeds.end() || deed->time > second.entry->time;
        return isAfter && first.entry->kind == Kind::Detach;
    }
    return first.entry->kind == Kind::Attach && second.entry->kind == Kind::TtyTx &&
           deed != mScript.deeds.end() && deed->time == second.entry->time;
}

void Player::playNext() {
    const size_t first = mNext++;
    const auto& stimuli = mScript.stimuli;
    while (mNext < stimuli.size() && isAtOnce(stimuli[mNext - 1], stimuli[mNext])) ++mNext;
    mPlayed = stimuli[mNext - 1].entry->time;
    try {
        if (mNext == first + 1) {
            play(stimuli[first]);
        } else {
            mPhone.playAtOnce(std::span(stimuli).subspan(first, mNext - first));
        }
    } catch (const std::exception& error) {
        mTell("entry " + std::to_string(stimuli[first].entry->seq) +
              " cannot be played: " + error.what());
    }
    mLast = Clock::now();
}

void Player::play(const Stimulus& stimulus) {
    const Entry& entry = *stimulus.entry;
    if (entry.kind == Kind::ClientCall) return mClients.call(stimulus);
    if (entry.kind == Kind::Signal) mIsToEnd |= entry.bytes == "TERM" || entry.bytes == "KILL";
    mNeighbours.play(entry);
    mPhone.play(stimulus);
}

void Player::awaitEnd() {
    mProgress.needAll(mPlayed);
    mProgress.setHeldCalls({});
    mIsAtEnd = true;
    while (!isOver()) {
        const bool isThere = look();
        if (isThere && Clock::now() >= mStep + kAfterLast) return;
        if (!isThere && isSilent()) return;
        sleepUntil(isThere ? mStep + kAfterLast : Clock::now() + milliseconds(100));
    }
    mWasLeft |= mHasEnded && !look() && !mIsToEnd;
}

void Player::endProgram() {
    mEndSeq = mPhone.journal().next();
    mEndedItself = mHasEnded && !mIsToEnd;
    if (mHasEnded) return;
    if (mIsTooMuch) return send(SIGKILL);
    send(SIGTERM);
    const Clock::time_point limit = Clock::now() + kKillAfter;
    while (!mHasEnded && Clock::now() < limit) {
        look();
        sleepUntil(limit);
    }
    if (!mHasEnded) send(SIGKILL);
}

void Player::send(int signal) {
    try {
        mPhone.signal(signal);
    } catch (const phone::Error&) {
        // It has just ended.
    }
}

std::vector<Entry> Player::select(std::vector<Entry> entries) const {
    Progress progress(mScript.deeds);
    std::erase_if(entries, [&](const Entry& entry) {
        const std::string lane = laneOf(entry);
        const bool isLate = entry.seq >= mEndSeq && !progress.isExpected(lane);
        if (!isLate) progress.see(entry);
        return isLate;
    });
    return entries;
}

}  // namespace replay
