// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover, which can be put on the phone and pulled off: its microcontroller
// (emulator/cover/Microcontroller.h) with a tty, the panel, and a place on the USB bus.
#pragma once

#include <deque>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "emulator/cover/Microcontroller.h"
#include "emulator/phone/devices/Subject.h"
#include "emulator/phone/devices/TtyRecorder.h"

namespace phone {

class Firmware;
class Loader;
class Panel;
class UsbPower;

// How the cover is put on.
struct CoverOptions {
    int tty = 0;  // the tty is /dev/ttyACM<tty>; 0..255
    bool withTty = true;
    int hid = 0;  // the panel's node is /dev/hidraw<hid>; 0..63
    bool withHid = true;
    bool withUsb = true;  // without: it is not on the USB bus (its ids are in sysfs all the same)
    // Exact content of the two id files, instead of the cover's ids and a newline.
    std::optional<std::string> idVendorText;
    std::optional<std::string> idProductText;
};

// What becomes of lines that the phone has not read yet when the cover goes.
enum class Unread {
    Lost,  // as when it is pulled off
    Read,  // it stays until they are read, but at most 3 s
};

// As the kernel has it for every tty.
inline constexpr cover::Time kClosingWait = std::chrono::seconds(30);

// For people: "3e91:6a2f TQC330R 0001".
std::string describe(const cover::UsbIdentity& identity);

class Cover : public Subject, private TtyRecorder {
  public:
    Cover(const Surroundings& surroundings, UsbPower& power, Panel& panel, Loader& loader,
          Firmware& firmware)
        : Subject(surroundings),
          TtyRecorder(surroundings.journal),
          mPower(power),
          mPanel(panel),
          mLoader(loader),
          mFirmware(firmware) {}

    // attach() throws when it is on already; detach() when it is not. A cover that was pulled off
    // while an upgrade was written comes up in its loader, in error.
    void attach(const CoverOptions& options = {});
    void detach(Unread unread = Unread::Lost);
    // As with Unread::Read, but does not wait: the result is there when the cover is off.
    std::future<void> detachWhenRead();
    // Off and on again at once, with the options it had: watchers may see both in one read.
    void reattach();
    // A node of it is present.
    bool isAttached() const;

    cover::State state() const;
    // The same for people: ("brightness", "128"), ...
    std::vector<std::pair<std::string, std::string>> listState() const;
    cover::Upgrade upgrade() const;
    cover::Options options() const;
    void setOptions(cover::Options options);
    // How long the last close of its tty waits for bytes that it does not take; of ports that are
    // opened from now on.
    cover::Time closingWait() const;
    void setClosingWait(cover::Time wait);

    // Bytes from the cover outside of any answer, such as lines of its log.
    void send(const std::string& bytes);
    // A line of the cover's own log, without line ends: sent as soon as no answer is on the line.
    // False when it is dropped: DTR is down, "AT%LOGSAVE=" did not ask for it, or too many wait.
    bool log(const std::string& line);
    // Lines that it logs by itself (cover::Microcontroller::setChatter); none: it is silent.
    void setChatter(std::optional<cover::Chatter> chatter);
    std::optional<cover::Chatter> chatter() const;

    // Emulator thread, all that follows.
    cover::Microcontroller& controller() { return *mController; }
    // Put on again as it was last.
    void attachAgain() { attach(CoverOptions(mOptions)); }
    // It does not come back from where it has gone by itself.
    void stayAway() { mReturn.reset(); }
    // Its recovery line is pulled.
    void recover();
    // What is due now; returns when it wants to be called again at the latest.
    std::optional<cover::Time> turn();
    void reset();

  private:
    // A device that has left the bus and comes back.
    struct Return {
        cover::Time due;
        cover::UsbIdentity identity;
    };

    void requireAttached() const;
    bool hasTty() const { return mDevice && mOptions.withTty; }
    // The microcontroller keeps its power.
    void unplug();

    // False when the action has to wait.
    bool perform(const cover::Action& action);
    bool leave(const cover::Action& action);
    bool mayLeave();
    void comeBack();
    // Performs some of what the cover does now; false when an action has to wait.
    bool performSome();
    void transmit(const std::string& bytes);

    cover::Time wake() override;
    std::optional<cover::Time> ttyOpened(const std::string& node,
                                         const std::string& flags) override;
    size_t ttyReceived(const std::string& node, const std::string& bytes) override;
    void dtrSet(const std::string& node, bool raised) override;

    UsbPower& mPower;
    Panel& mPanel;
    Loader& mLoader;
    Firmware& mFirmware;

    // Emulator thread.
    std::unique_ptr<cover::Microcontroller> mController =
            std::make_unique<cover::Microcontroller>();
    std::unique_ptr<Device> mDevice;  // none: not attached
    CoverOptions mOptions;            // with which it was put on last
    cover::Time mClosingWait = kClosingWait;
    std::deque<cover::Action> mActions;
    std::optional<cover::Time> mLeaveLimit;  // set while a departure waits for the phone's reads
    std::optional<Return> mReturn;
    std::vector<std::promise<void>> mDepartures;
};

}  // namespace phone
