// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The phone of a recording: kernel nodes, bus and properties as on the emulated phone, and devices
// that answer as recorded.
#pragma once

#include <deque>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include <sys/types.h>

#include "emulator/cover/FaultList.h"
#include "emulator/phone/EventLoop.h"
#include "emulator/phone/Journal.h"
#include "emulator/phone/backend/Backend.h"
#include "emulator/phone/devices/ControlFiles.h"
#include "emulator/phone/devices/Properties.h"
#include "emulator/phone/devices/Uevents.h"
#include "emulator/phone/devices/UsbPower.h"
#include "emulator/replay/RecordedDevice.h"
#include "emulator/replay/Script.h"

namespace replay {

// Any thread but the emulator's, where nothing else is said.
class RecordedPhone {
  public:
    // In the world already. The script outlives it.
    explicit RecordedPhone(const Script& script);
    ~RecordedPhone();
    RecordedPhone(const RecordedPhone&) = delete;
    RecordedPhone& operator=(const RecordedPhone&) = delete;

    // The files and properties with which the recording begins. Throws phone::Error.
    void putFirst(const recording::Header& header);
    // Makes happen what the entry tells, if it is of the phone: of its devices, files, properties,
    // uevents or faults of files. Throws phone::Error when that cannot be.
    void play(const Stimulus& stimulus);
    // Of devices alone: the program does nothing in between.
    void playAtOnce(std::span<const Stimulus> stimuli);
    // When the stimulus was recorded that comes next, or the end of a call that comes before it;
    // Time::max(): none is left.
    void setNext(Time time);

    // Calls on hidraw nodes that are not answered yet, by their lanes; and how many have come so
    // far.
    std::map<std::string, size_t> heldCalls();
    uint64_t callCount() const { return mBench.calls; }
    bool isCoverAttached();

    pid_t spawn(const std::vector<std::string>& command) { return mBackend->spawn(command); }
    // To the program. Throws phone::Error when it does not run.
    void signal(int number);
    void superviseThisThread() { mBackend->superviseThisThread(); }
    phone::Journal& journal() { return mJournal; }
    phone::EventLoop& loop() { return mLoop; }

  private:
    std::string imageOf(uint64_t size);
    void setFile(const phone::Entry& entry);
    void setFault(const phone::Entry& entry);
    void setOptions(const phone::Entry& entry);
    void raise(const phone::Entry& entry);
    void sendSignal(const phone::Entry& entry);
    void playDevice(const Stimulus& stimulus);

    phone::Journal mJournal;
    phone::EventLoop mLoop;
    const std::unique_ptr<phone::Backend> mBackend;
    const phone::Surroundings mSurroundings{mLoop, mJournal, *mBackend};
    phone::ControlFiles mFiles;
    phone::Properties mProperties{mSurroundings};
    phone::UsbPower mPower{mSurroundings};
    phone::Uevents mUevents{mJournal, *mBackend};
    cover::FaultList<phone::NodeFault> mFaults;  // emulator thread
    Bench mBench;
    std::deque<RecordedDevice> mDevices;  // of the script, in its order; emulator thread
    std::optional<Time> mLastUevent{};
    uint64_t mImages = 0;  // bytes of those that were made
};

}  // namespace replay
