// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's microcontroller as a pure model: bytes in, bytes out, time passed in.
//
// It makes no system call, reads no clock and starts no thread. One thread at a time may use it.
// The loop around it:
//
//     controller.powerUp(now);                  // at each attachment
//     controller.receive(bytesFromTheTty, now);
//     for (const cover::Action& action : controller.poll(now)) ...
//     wait for bytes or until controller.nextDeadline()
//
// Bytes that the phone has not read yet die with its tty: before a HangUp or Reenumerate is acted
// upon, the bytes sent ahead of it should have been read.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "emulator/cover/BasicService.h"
#include "emulator/cover/Channel.h"
#include "emulator/cover/Dispatcher.h"
#include "emulator/cover/Faults.h"
#include "emulator/cover/FirmwareService.h"
#include "emulator/cover/LogService.h"
#include "emulator/cover/LogStream.h"
#include "emulator/cover/ScreenService.h"
#include "emulator/cover/TouchService.h"
#include "emulator/cover/Transmitter.h"
#include "emulator/cover/Types.h"
#include "emulator/cover/Upgrade.h"

namespace cover {

class Microcontroller {
  public:
    // Starts Off.
    explicit Microcontroller(Options options = {});
    Microcontroller(const Microcontroller&) = delete;
    Microcontroller& operator=(const Microcontroller&) = delete;

    // The cover is attached and its firmware starts: state() goes back to its initial values, and
    // whatever was due or half received is forgotten. Faults stay. Where an upgrade was cut short
    // while it was written there is no firmware to start: it comes up in its loader, in error.
    void powerUp(Time now);
    // The cover is pulled off: nothing is due any more. From any state.
    void powerDown() { turn(Power::Off); }
    // The cover is attached and comes up in its loader instead of its firmware; an upgrade that is
    // planned is written from now on.
    void powerUpInLoader(LoaderEntry entry, Time now);
    // The recovery line was pulled: after Options::recoveryDelay the device leaves the bus and
    // comes back. What is being answered is cut short there. Ignored when Off, or when a departure
    // is already on its way.
    void recover(Time now);

    // The phone's kernel has firmware of this version for the cover. After Options::upgradeDelay
    // the device leaves for its loader, where the writing takes Options::upgradeTime; then it comes
    // back with that version. In its loader already, the writing begins at once. False, and
    // ignored, when Off or when another upgrade is under way.
    bool startUpgrade(std::string version, Time now);
    // Gives up an upgrade for which the cover has not left yet; false when there is none such.
    bool cancelUpgrade();
    const Upgrade& upgrade() const { return mUpgrade; }

    // What the phone wrote to the tty, cut anywhere. A command ends with "\r"; empty ones are
    // ignored, one longer than 4096 bytes is answered "ERROR". Commands that come while an answer
    // is due wait their turn; beyond 64 waiting they are lost. Ignored unless Running. Returns how
    // many bytes it takes: a deaf cover leaves the rest to the phone, which may offer it again.
    size_t receive(std::string_view bytes, Time now);

    // The tty's DTR line, shown in state(). The cover's own log is streamed only while it is raised
    // and "AT%LOGSAVE=" asked for it (State::streamsLog()).
    void setDtr(bool raised);

    // The cover logs a line, without line ends: sent as soon as no reply is on the line. False when
    // it is dropped: the log is not streamed, or too many lines wait.
    bool log(std::string_view line, Time now);
    // Lines that the cover logs by itself, from now on: one after the other while the line is free,
    // and one ahead of each reply, but none within it. Outlives a power-up; none: silent. Like a
    // flood they come a piece at a time.
    void setChatter(std::optional<Chatter> chatter, Time now);
    const std::optional<Chatter>& chatter() const { return mStream.chatter(); }

    // When to call poll() next: at once when that is not after the caller's now; nothing: not
    // before another method was called.
    std::optional<Time> nextDeadline() const;

    // What is due at `now`, in order. `now` never goes back. A flood comes at most 4 KiB at a time
    // (nextDeadline() then stays due), so that the caller can wait for room before it asks again.
    std::vector<Action> poll(Time now);

    // How the cover shows on the bus: its own identity, or the loader's when in the Loader.
    UsbIdentity usbIdentity() const;

    const State& state() const { return mState; }
    // The same for people: ("brightness", "128"), ...; names and order are stable, values are
    // printable ASCII.
    std::vector<std::pair<std::string, std::string>> listState() const;

    const Options& options() const { return mOptions; }
    void setOptions(Options options) { mOptions = std::move(options); }

    // What has struck is to be taken after receive() and poll().
    Faults& faults() { return mFaults; }
    // Takes the first fault with this text away, or all; without what made it deaf it hears again.
    // False when no fault has this text.
    bool removeFault(std::string_view text);
    void clearFaults();
    // It is deaf, or the next command may make it so.
    bool mayBeDeaf() const { return mState.deaf || mFaults.hasDeaf(); }

  private:
    // The device goes off the bus at `at`, and comes back as its loader or as itself.
    struct Departure {
        Time at;
        std::optional<LoaderEntry> loader;
    };

    void turn(Power power);
    size_t hear(std::string_view bytes);
    void takeUpLine();
    void finishReply();
    Answer execute(const CommandLine& line, bool refuse);
    std::optional<Departure> nextDeparture() const;
    bool departureIsNext(Time now) const;
    void depart(std::vector<Action>& actions);
    void beginWriting(Time now);
    bool writeFirmware(Time now, std::vector<Action>& actions);
    bool transmitterIsDue(Time now) const;
    bool sendLog(std::vector<Action>& actions);
    std::optional<Time> nextChatter() const;
    bool sendChatter(Time now, std::vector<Action>& actions);

    Options mOptions;
    State mState;
    std::optional<LoaderEntry> mLoader;   // while in the Loader
    bool mLoaderIsUp = false;             // it is on the bus
    std::optional<LoaderEntry> mLeaveTo;  // when the reply under way has ended
    std::optional<Departure> mDeparture;
    Upgrade mUpgrade;
    bool mIsBootable = true;  // all of the firmware is there
    Faults mFaults;
    Channel mChannel;
    Transmitter mTransmitter;
    Dispatcher mDispatcher;
    BasicService mBasic{mState};
    ScreenService mScreen{mState.screen, mOptions};
    FirmwareService mFirmware{mState, mOptions};
    TouchService mTouch{mState.touch, mOptions};
    LogService mLog{mState};
    LogStream mStream{mState};
};

}  // namespace cover
