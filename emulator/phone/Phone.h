// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The emulated phone: kernel nodes, tty, USB bus, properties and a cover that can be put on and
// pulled off. Each of its members is one subject, whose header has the contract; Subject.h says
// what they have in common.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <signal.h>
#include <sys/types.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/EventLoop.h"
#include "emulator/phone/Journal.h"
#include "emulator/phone/Paths.h"
#include "emulator/phone/backend/Backend.h"
#include "emulator/phone/devices/ControlFiles.h"
#include "emulator/phone/devices/Cover.h"
#include "emulator/phone/devices/Faults.h"
#include "emulator/phone/devices/Firmware.h"
#include "emulator/phone/devices/ForeignTtys.h"
#include "emulator/phone/devices/Loader.h"
#include "emulator/phone/devices/Panel.h"
#include "emulator/phone/devices/Properties.h"
#include "emulator/phone/devices/Uevents.h"
#include "emulator/phone/devices/UsbPower.h"

namespace phone {

// What can be sent to the phone's program.
struct Signal {
    std::string_view name;
    int number;
};
inline constexpr Signal kSignals[] = {{"USR1", SIGUSR1},
                                      {"TERM", SIGTERM},
                                      {"KILL", SIGKILL},
                                      {"STOP", SIGSTOP},
                                      {"CONT", SIGCONT}};

class Phone {
  public:
    // Makes the nodes and starts the emulator thread. The process is in the world already
    // (world/World.h). Once a process and world.
    Phone();
    // With another back end than the world.
    explicit Phone(const MakeBackend& makeBackend);
    ~Phone();
    Phone(const Phone&) = delete;
    Phone& operator=(const Phone&) = delete;

    // From now on the calling thread, and the threads and processes that it starts, are supervised:
    // what they do with control files is recorded and faults of nodes apply. Once per process; call
    // it before the software under test starts its threads. The Phone must outlive them all:
    // without it their opens fail with ENOSYS. Opens made by the sanitizers' runtimes are left
    // alone.
    void superviseThisThread() { mBackend->superviseThisThread(); }

    // Starts a supervised program in the world (PATH applies). Returns the process id of its keeper
    // (world/Keeper.h), which ends as the program does; the caller waits for it. What the program
    // leaves running ends first. Throws when it cannot be executed.
    pid_t spawn(const std::vector<std::string>& command) { return mBackend->spawn(command); }

    // Sends the program that was spawned last (not its keeper, nor what the program started) one of
    // kSignals, and records that. Throws when no program runs, or for another name. Any thread.
    void signal(const std::string& name);

    // Everything as it was made: nothing attached, no faults, first contents, default options, no
    // chatter. The journal is kept. Any thread but the emulator's.
    void reset();

    // Carries out `work` on the emulator thread: it finds everything as it is at one moment.
    template <typename Work>
    auto atOnce(const Work& work) {
        return mLoop.call(work);
    }

    Journal& journal() { return mJournal; }
    const Journal& journal() const { return mJournal; }
    // The emulator thread, for what belongs to the phone and is no device.
    EventLoop& loop() { return mLoop; }

  private:
    Journal mJournal;
    EventLoop mLoop;
    const std::unique_ptr<Backend> mBackend;
    const Surroundings mSurroundings{mLoop, mJournal, *mBackend};

  public:
    ControlFiles files;
    Properties properties{mSurroundings};
    Firmware firmware{mSurroundings, cover};
    UsbPower usbPower{mSurroundings};
    Panel panel;
    Loader loader{mSurroundings, cover};
    Cover cover{mSurroundings, usbPower, panel, loader, firmware};
    ForeignTtys foreignTtys{mSurroundings};
    Faults faults{mSurroundings, cover, panel};
    Uevents uevents{mJournal, *mBackend};
};

}  // namespace phone
