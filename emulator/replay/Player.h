// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Plays the stimuli of a recording, each in its time.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>

#include <utils/Mutex.h>

#include "emulator/replay/Clients.h"
#include "emulator/replay/Progress.h"
#include "emulator/replay/RecordedNeighbours.h"
#include "emulator/replay/RecordedPhone.h"

namespace replay {

struct Pace {
    bool isFast = false;  // pauses of one second at most
    // How long nothing that is awaited may come, until the replay goes on or ends.
    std::chrono::milliseconds patience = std::chrono::seconds(10);
};

class Player {
  public:
    using Clock = std::chrono::steady_clock;

    // `tell` gets what cannot be played, one line each; any thread.
    Player(RecordedPhone& phone, RecordedNeighbours& neighbours, const Script& script, Pace pace,
           std::function<void(const std::string&)> tell);
    // The program must have ended.
    ~Player();
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    // Before the program starts: plays what was recorded before the service did anything.
    void setUp();
    // Once the program runs: plays the rest on a thread of its own, and ends the program then.
    void start();
    // The program has ended. Waits for the thread.
    void stop();

    // After stop(). The program ended by itself while there was something left to play.
    bool wasLeft() const { return mWasLeft; }
    // The program ended by itself, and not by a signal of the recording.
    bool endedItself() const { return mEndedItself; }
    // The program was ended since it did far more than the recording has.
    bool wasTooMuch() const { return mIsTooMuch; }
    bool wasAlone() const { return mClients.wasAlone(); }
    // The entries of the replay that are to be compared: all before the end, and of the later ones
    // those that the recording has too.
    std::vector<phone::Entry> select(std::vector<phone::Entry> entries) const;

  private:
    const Stimulus& next() const { return mScript.stimuli[mNext]; }
    void run();
    bool awaitNext();
    void playNext();
    void play(const Stimulus& stimulus);
    // What a device does so soon after the first that the service sees both together.
    bool isAtOnce(const Stimulus& first, const Stimulus& second) const;
    void awaitEnd();
    void endProgram();
    // To the program, if it still runs.
    void send(int signal);
    // Tells the phone what its answers have to wait for. Any thread.
    void tellNext() EXCLUDES(mNextLock);
    // There is nothing to wait for any more.
    bool isOver() const { return mHasEnded || mIsTooMuch || mClients.wasAlone(); }
    // Takes what has come, and returns whether what is needed is there.
    bool look();
    // When the next stimulus comes, now that all that it needs is there.
    Clock::time_point dueOfNext() const;
    // Nothing that is needed has come for too long.
    bool isSilent() const;
    void sleepUntil(Clock::time_point time);

    RecordedPhone& mPhone;
    RecordedNeighbours& mNeighbours;
    const Script& mScript;
    const Pace mPace;
    const std::function<void(const std::string&)> mTell;
    std::atomic<bool> mHasEnded = false;
    std::atomic<Time> mNextTime{};  // when the next stimulus was recorded
    android::Mutex mNextLock;       // held until the phone knows the newest
    std::thread mThread;

    Progress mProgress;
    size_t mNext = 0;   // of the stimuli
    uint64_t mSeq = 1;  // of the journal: what was not looked at yet
    uint64_t mEndSeq = UINT64_MAX;
    Time mPlayed{};             // when the last stimulus was recorded
    Clock::time_point mLast{};  // when it was played
    Clock::time_point mStep{};  // when something came last that is needed
    size_t mSteps = 0;
    size_t mBytes = 0;      // of the entries that were looked at
    bool mIsToEnd = false;  // the recording has a signal that ends it
    bool mIsAtEnd = false;  // nothing is left to play
    bool mIsTooMuch = false;
    bool mWasLeft = false;
    bool mEndedItself = false;
    Clients mClients;  // last: its threads use the others
};

}  // namespace replay
