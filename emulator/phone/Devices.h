// The devices of the phone and the cover on it. Emulator thread only.
#pragma once

#include <deque>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "emulator/cover/Microcontroller.h"
#include "emulator/phone/ControlFiles.h"
#include "emulator/phone/EventLoop.h"
#include "emulator/phone/Hidraw.h"
#include "emulator/phone/Journal.h"
#include "emulator/phone/Phone.h"
#include "emulator/phone/Supervisor.h"
#include "emulator/phone/Tty.h"
#include "emulator/phone/UsbDevice.h"

namespace phone {

// A property "key=value"; throws phone::Error when one of them cannot be written so.
void checkProperty(const std::string& key, const std::string& value);

class Devices {
  public:
    Devices(EventLoop& loop, Journal& journal);
    ~Devices();

    // What is due now; returns when it wants to be called again at the latest.
    std::optional<cover::Time> turn();

    void supervise(Fd listener);

    // Takes in, and records, all that the phone's software has written so far.
    void record();

    void attachCover(const CoverOptions& options);
    void detachCover();
    // Done when the cover has gone.
    std::future<void> detachCoverWhenRead();
    // Off and on again in one turn, with the options it had.
    void reattachCover();
    bool isCoverAttached() const { return mCover != nullptr; }
    cover::Microcontroller& controller() { return *mController; }
    cover::Panel& panel() { return mHidraw.panel(); }
    bool isPanelAttached() const { return mHidraw.isPlugged(); }
    void sendFromCover(const std::string& bytes);
    bool logFromCover(const std::string& line);
    void setChatter(std::optional<cover::Chatter> chatter);

    void attachForeignTty(int number, const std::string& vendorText,
                          const std::string& productText);
    void detachForeignTty(int number);

    void attachLoader(const cover::UsbIdentity& identity);
    void detachLoader();
    // The cover comes up in its loader, wherever it was.
    void sendToLoader(cover::LoaderEntry entry);
    // It comes back from there as itself, with the options it had.
    void leaveLoader();

    void putFirmware(const std::string& name, size_t size);
    std::vector<FirmwareFile> firmware() const;
    void clearFirmware();

    void setProperty(const std::string& key, const std::string& value);
    const std::map<std::string, std::string>& properties() const { return mProperties; }
    void clearProperties();

    void setNode(const std::string& path, const std::string& text);
    void removeNode(const std::string& path);
    std::optional<std::string> node(const std::string& path) const;
    void wakeLock(bool held);

    void setFault(const std::string& text);
    std::vector<std::string> faults() const;
    void clearFaults();

    void reset();

  private:
    // A device that is plugged in. Its nodes go in this order: tty, hidraw, USB device.
    struct Plugged {
        std::unique_ptr<UsbDevice> usb;
        std::unique_ptr<Tty> tty;
        bool hasHidraw = false;
        CoverOptions options;
    };
    // A device that has left the bus and comes back.
    struct Return {
        cover::Time due;
        cover::UsbIdentity identity;
        CoverOptions options;
    };

    void makeFiles();
    std::unique_ptr<UsbDevice> makeUsb(const cover::UsbIdentity& identity);
    void checkTtyNumber(int number) const;
    void checkNumbers(const CoverOptions& options) const;
    // What of mCover stands between its USB identity and its being there.
    void plug(const CoverOptions& options);
    void watch(Tty& tty);
    void unplug(std::unique_ptr<Plugged> device);
    // As unplug(), for the cover; the microcontroller keeps its power.
    void unplugCover();
    // The same for the loader.
    void unplugLoader();
    void comeBack();

    Verdict decide(const OpenCall& call, bool waited);
    Verdict decide(const IoctlCall& call, bool waited);
    Verdict decide(const ReportCall& call, bool waited);
    // Asks again about the calls that wait: those that are due by `now`, or all.
    void decideWaiting(std::optional<cover::Time> now = std::nullopt);
    // What was done to files until now; the ttys are left out.
    void recordFiles();
    // What the cover does now; returns when it wants to be asked again.
    std::optional<cover::Time> turnCover();
    void noteTtyOpen(const OpenCall& call);
    // The tty with this node or pty, if it is one of ours.
    Tty* findTty(const std::string& path) const;
    void setDtr(const Tty& tty, bool raised);
    void nodeWritten(const std::string& path, const std::string& bytes);
    // What the cover's kernel driver does with a number for its firmware.
    void controlFirmware(const std::string& bytes);
    void startUpgrade();
    void noteUpgrade(const std::string& what);

    void readTty(Tty& tty);
    void send(Tty& tty, const std::string& bytes);
    void flush(Tty& tty);
    // False when the action has to wait.
    bool perform(const cover::Action& action);
    bool leave(const cover::Action& action);
    bool mayLeave();

    EventLoop& mLoop;
    Journal& mJournal;
    ControlFiles mFiles;
    Hidraw mHidraw;
    std::map<int, Supervisor> mSupervisors;  // by listener

    std::unique_ptr<cover::Microcontroller> mController;
    std::unique_ptr<Plugged> mCover;
    std::map<int, std::unique_ptr<Plugged>> mForeign;  // by tty number
    std::unique_ptr<UsbDevice> mLoader;
    bool mLoaderIsCover = false;
    CoverOptions mLastOptions;  // with which the cover was put on
    std::string mImage;         // file name of the image of the last upgrade
    int mLastUsbNumber = 1;

    std::deque<cover::Action> mActions;
    std::optional<cover::Time> mLeaveLimit;  // set while a departure waits for the phone's reads
    std::optional<Return> mReturn;
    std::vector<std::promise<void>> mDepartures;

    std::map<std::string, std::string> mProperties;
};

}  // namespace phone
