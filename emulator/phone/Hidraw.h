// The panel's hidraw node: what the phone's software does with /dev/hidraw<n> reaches the panel.
// Emulator thread only.
//
// Whoever opens the node gets a pipe that nobody writes to, under a number whose writes are handed
// over; write() and the feature requests are answered here, as the kernel's hidraw driver does.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "emulator/cover/Panel.h"
#include "emulator/cover/PanelFaults.h"
#include "emulator/phone/EventLoop.h"
#include "emulator/phone/Journal.h"
#include "emulator/phone/Supervisor.h"

namespace phone {

class Hidraw {
  public:
    // `pullOff`: a fault takes the cover off; it leads to unplug().
    Hidraw(EventLoop& loop, Journal& journal, std::function<void()> pullOff);
    ~Hidraw();

    cover::Panel& panel() { return mPanel; }
    const cover::Panel& panel() const { return mPanel; }
    cover::PanelFaults& faults() { return mFaults; }
    const cover::PanelFaults& faults() const { return mFaults; }

    // Throws phone::Error when a node of this number cannot be made.
    static void checkNumber(int number);
    // Switches the panel's supply on and makes the node; what unplug() left open stays without a
    // device.
    void plug(int number);
    void unplug();
    bool isPlugged() const { return !mNode.empty(); }

    // Nothing when the path is not the node.
    std::optional<Verdict> open(const std::string& path, const OpenCall& call, bool waited);
    // No verdict when the descriptor is none of the node's.
    Verdict decide(const ReportCall& call, bool waited);

    // Records what was closed. To be called before anything later is recorded.
    void drain();

  private:
    struct Open {
        std::string node;
        int flags = 0;
        Fd alive;  // the pipe's other end: it shows when the last descriptor is closed
        bool hasDevice = true;
    };

    Verdict makeDescriptor(const OpenCall& call);
    // The error with which the driver refuses the call by itself, or 0.
    static int checkCall(const ReportCall& call, const Open& open);
    Verdict transfer(const ReportCall& call, const std::string& node);
    // Result of the transfer, or an error as its negative number; `answer`: what was read.
    int64_t carryOut(const ReportCall& call, const cover::PanelOutcome& outcome,
                     std::string* answer);

    EventLoop& mLoop;
    Journal& mJournal;
    const std::function<void()> mPullOff;
    cover::Panel mPanel;
    cover::PanelFaults mFaults;
    std::string mNode;                   // empty: not plugged
    std::map<std::string, Open> mOpens;  // by what /proc shows their descriptors to be open on
};

}  // namespace phone
