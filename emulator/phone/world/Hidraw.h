// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The hidraw nodes of the world: opens and reports are answered as the kernel's hidraw driver does,
// and reach the node's device. Emulator thread only.
//
// A program that opens a node gets a pipe that stays empty, under a number whose writes are handed
// over.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include <android-base/unique_fd.h>

#include "emulator/phone/EventLoop.h"
#include "emulator/phone/backend/Device.h"
#include "emulator/phone/world/Supervisor.h"

namespace phone {

class Hidraw {
  public:
    explicit Hidraw(EventLoop& loop) : mLoop(loop) {}

    // Throws phone::Error when a node of this number cannot be made.
    static void checkNumber(int number);
    void plug(int number, HidListener& listener);
    // What is open, and what is opened until unplug(), is without a device.
    void hangUp(int number);
    // The node goes.
    void unplug(int number);

    // Nothing when the path is no node.
    std::optional<Verdict> open(const std::string& path, const OpenCall& call, bool waited);
    // No verdict when the descriptor is none of a node's.
    Verdict decide(const ReportCall& call, bool waited);

    // Reports what was closed. To be called before anything later is reported.
    void drain();

  private:
    // What is open keeps it.
    struct Node {
        std::string path;
        HidListener* listener = nullptr;
        bool hasDevice = true;
    };
    struct Open {
        std::shared_ptr<Node> node;
        int flags = 0;
        android::base::unique_fd alive;  // the pipe's other end: it shows the last close
    };

    Verdict makeDescriptor(const std::shared_ptr<Node>& node, const OpenCall& call);
    // The error with which the kernel refuses the call by itself, or 0.
    static int checkCall(const ReportCall& call, const Open& open, bool waited);

    EventLoop& mLoop;
    std::map<std::string, std::shared_ptr<Node>> mNodes;  // by path
    std::map<std::string, Open> mOpens;  // by what /proc shows their descriptors to be on
};

}  // namespace phone
