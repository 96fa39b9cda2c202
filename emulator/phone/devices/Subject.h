// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the subjects of a phone (Phone.h) have in common.
//
// All devices are played by one emulator thread. A subject's public methods may be called from any
// other thread and return when their effect can be seen in the world, where nothing else is said.
// What is wrong with an argument or a state is thrown as phone::Error.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "emulator/cover/FaultList.h"
#include "emulator/phone/EventLoop.h"
#include "emulator/phone/Journal.h"
#include "emulator/phone/backend/Backend.h"

namespace phone {

struct Surroundings {
    EventLoop& loop;
    Journal& journal;
    Backend& backend;
};

class Subject {
  public:
    explicit Subject(const Surroundings& surroundings)
        : mLoop(surroundings.loop),
          mJournal(surroundings.journal),
          mBackend(surroundings.backend) {}
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;

  protected:
    ~Subject() = default;

    // Carries out `work` on the emulator thread, and returns its result.
    template <typename Work>
    auto call(const Work& work) const {
        return mLoop.call(work);
    }

    void recordStrikes(const std::string& path, const std::vector<cover::Strike>& strikes) {
        for (const auto& [fault, by] : strikes) mJournal.add(Kind::FaultMet, path, fault, by);
    }

    // A device has gone, whose tty began to hang up at `begin`: what that made the phone's software
    // do is recorded already.
    void recordDetach(const std::string& device, std::chrono::steady_clock::time_point begin) {
        mJournal.add({.kind = Kind::Detach,
                      .begin = begin,
                      .duration = std::chrono::steady_clock::now() - begin,
                      .path = device,
                      .bytes = {},
                      .note = {}});
    }

    // The description's bytes tell how it came.
    void recordAttach(const std::string& device, const DeviceDescription& description,
                      const std::string& note) {
        mJournal.add(Kind::Attach, device, toJson(description), note);
    }

    EventLoop& mLoop;
    Journal& mJournal;
    Backend& mBackend;
};

}  // namespace phone
