// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A device of a recording, back on the phone: it answers as recorded. Emulator thread only, where
// nothing else is said.
#pragma once

#include <atomic>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "emulator/phone/backend/Backend.h"
#include "emulator/phone/devices/HidRecorder.h"
#include "emulator/phone/devices/TtyRecorder.h"
#include "emulator/phone/devices/UsbPower.h"
#include "emulator/replay/Script.h"

namespace replay {

// Of all devices of a replay.
struct Bench {
    phone::EventLoop& loop;
    phone::Journal& journal;
    phone::Backend& backend;
    phone::UsbPower& power;
    // RecordedPhone::setNext(). An answer that was recorded after it waits for it, but not for
    // ever.
    Time next{};
    // How long a close of a tty waits that gives bytes up.
    Time closingWait{};
    // Calls on hidraw nodes that are not answered yet, by their lanes.
    std::map<std::string, size_t> heldCalls{};
    // How many have come so far. Any thread reads it.
    std::atomic<uint64_t> calls = 0;
};

class RecordedDevice : private phone::TtyRecorder, private phone::HidRecorder {
  public:
    RecordedDevice(Bench& bench, const DeviceScript& script);

    // Throws phone::Error when one of its names is taken.
    void plug();
    bool isPlugged() const { return mDevice != nullptr; }
    bool isCover() const { return mScript.isCover; }
    void unplug();

    // Bytes that answer nothing; after all that is on its way.
    void send(const std::string& bytes);
    // What is due now; returns when it wants to be called again at the latest.
    std::optional<Time> turn();

  private:
    // Something that is to be sent.
    struct Sending {
        Time due{};
        Time recorded{};
        std::string bytes;
    };
    // A call that waits for its answer.
    struct Held {
        phone::Kind kind = phone::Kind::HidWrite;
        std::string bytes;
        std::string lane;
        Time due{};
        HidCall call;
    };

    // How long an answer still waits that is due then and was recorded at that time; 0: it may
    // come.
    Time waitOf(Time due, Time recorded) const;
    void transmit(const std::string& bytes);
    void receive(const std::string& command);
    // The place of the recorded exchange for this command; the number of them when there is none.
    size_t find(const std::string& command) const;
    // The device does not take what comes next.
    bool isDeaf() const;
    // The next recorded call of this kind, which is used up; one that goes well when there is none.
    HidCall takeCall(phone::Kind kind);
    // What becomes of this call, or when to ask again.
    phone::HidAnswer decide(const std::string& node, phone::Kind kind, const std::string& bytes,
                            size_t size, bool waited);
    void hold(const std::string& node, phone::Kind kind, const std::string& bytes);
    void release(std::deque<Held>::iterator held);
    std::deque<Held>::iterator findHeld(phone::Kind kind, const std::string& bytes);

    Time wake() override { return mBench.power.use(); }
    std::optional<Time> ttyOpened(const std::string& node, const std::string& flags) override;
    size_t ttyReceived(const std::string& node, const std::string& bytes) override;
    void ttyLost(const std::string& node, const std::string& bytes) override;
    void dtrSet(const std::string& node, bool raised) override;
    phone::HidAnswer hidOpened(const std::string& node, const phone::HidOpen& open,
                               bool waited) override;
    phone::HidAnswer hidRequested(const std::string& node, const phone::HidRequest& request,
                                  bool waited) override;
    void hidRefused(const std::string& node, const phone::HidRequest& request, int error) override;

    Bench& mBench;
    const DeviceScript& mScript;
    std::unique_ptr<phone::Device> mDevice;
    bool mIsDtrRaised = false;

    std::string mReceived;          // the begin of a command
    size_t mNextExchange = 0;       // the first one after the last that was used
    std::vector<bool> mUsed;        // by exchange
    std::deque<Sending> mSendings;  // in order

    std::vector<bool> mUsedCalls;  // by call on the hidraw node
    size_t mFirstCall = 0;         // all before it are used
    std::deque<Held> mHeld;
};

}  // namespace replay
