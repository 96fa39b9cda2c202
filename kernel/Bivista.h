// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The one service object: IBivista 1.1 on the phone's cover.
//
// Interface methods run on the one RPC thread. The device-side methods run on the thread named with
// them. Each method is defined in the file of its subject; below, in kernel/ unless said otherwise.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <utils/RefBase.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivista.h>

#include "kernel/base/Mutex.h"
#include "kernel/hid/HidDisplay.h"
#include "kernel/serial/SerialLink.h"
#include "kernel/serial/SerialLog.h"
#include "kernel/usb/AutoSuspend.h"
#include "kernel/usb/UsbWatches.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

using ::android::sp;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hardware::Void;
using V1_0::BivistaStatus;
using V1_0::IBivistaAtCallback;
using V1_0::IBivistaSubDisplayCallback;
using V1_0::LpwgStatus;
using V1_0::ScreenMode;
using V1_0::Status;
using V1_0::SubScreenInfo;
using V1_0::SubScreenState;

// What the service object holds for other rooms: display/Lpwg.h, sub_display/SubDisplay.h. What it
// describes itself to: diagnostics/DumpText.h.
class DumpText;
struct LpwgClient;
struct SubDisplay;
std::shared_ptr<LpwgClient> makeLpwgClient();
std::shared_ptr<SubDisplay> makeSubDisplay();

class Bivista : public V1_1::IBivista {
  public:
    // Installs the SIGUSR1 handler and blocks SIGUSR1 on the calling thread. Every thread made
    // later inherits that: a thread takes the signal only while it waits. Then starts the USB
    // notify thread, the USB thread and the thread that waits for SIGUSR1.
    // Ends the process with status 1 when the stop eventfd cannot be made, or when the creation of
    // a USB thread reports a negative result.
    // The caller must take a strong reference. The object must live for as long as the two USB
    // threads run or SIGUSR1 may come.
    Bivista();
    ~Bivista() override;

    // Handler of SIGUSR1: stops the USB side. Any other signal only installs it again.
    static void sighandler(int signal);

    // IBivista 1.0, in slot order.
    Return<void> getFirmwareVersion(getFirmwareVersion_cb cb) override;
    Return<Status> checkFirmwareVersion() override;
    Return<void> getFirmwareFile(getFirmwareFile_cb cb) override;
    Return<Status> doFirmwareUpgrade() override;
    Return<Status> goDload() override;
    Return<Status> goSTMDload() override;
    Return<Status> cancelFirmwareUpgrade() override;
    Return<void> getTouchFirmwareVersion(getTouchFirmwareVersion_cb cb) override;
    Return<Status> DoRawdata() override;
    Return<Status> DoDelta() override;
    Return<Status> DoTouchReset() override;
    Return<void> getGpiopin(getGpiopin_cb cb) override;
    Return<Status> setStatus(const LpwgStatus& status) override;
    Return<Status> DoTouchFirmwareUpgrade() override;
    Return<void> getSelfTest(getSelfTest_cb cb) override;
    Return<void> getLPWGSelfTest(getLPWGSelfTest_cb cb) override;
    Return<Status> getTestResults() override;
    Return<void> setLpwgCallback(const sp<V1_0::IBivistaLpwgCallback>& callback) override;
    Return<Status> setBrightness(int32_t value) override;
    Return<Status> setPowerStatus(bool enable, bool uevent) override;
    Return<void> getCoverDisplayCutout(getCoverDisplayCutout_cb cb) override;
    Return<Status> setRgbTune(uint32_t value1, uint32_t value2, uint32_t value3,
                              uint32_t value4) override;
    Return<Status> setScreenMode(ScreenMode mode) override;
    Return<Status> setScreenTune(uint32_t value1, uint32_t value2, uint32_t value3,
                                 uint32_t ignored) override;
    Return<Status> setBVBrightnessOffset(int32_t value) override;
    Return<void> getBV2Status(getBV2Status_cb cb) override;
    Return<Status> setSubDisplayBrightness(int32_t value) override;
    Return<Status> setSubDisplayPowerState(bool enable) override;
    Return<void> getSubDisplayInfo(getSubDisplayInfo_cb cb) override;
    Return<Status> drawSubDisplay(const hidl_vec<uint32_t>& frame) override;
    Return<void> getSubDisplayPowerState(getSubDisplayPowerState_cb cb) override;
    Return<void> setSubDisplayCallback(const sp<IBivistaSubDisplayCallback>& callback) override;
    Return<bool> getBV2Connect() override;
    Return<void> sendAtCommand(const hidl_string& cmd, const sp<IBivistaAtCallback>& cb,
                               sendAtCommand_cb result) override;

    // IBivista 1.1.
    Return<Status> setAesMode(uint32_t mode) override;
    Return<Status> manageAesMode(uint32_t mode) override;
    Return<Status> bv_update_state() override;
    Return<Status> set_touch_perf(bool enable) override;

    // IBase: prints the service's state and counts to the handle's first descriptor (Dump.cpp). A
    // handle without descriptors prints nothing. Options: --help, --json, --reset, --events,
    // --since N.
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override;

    // Kernel nodes. Any thread. Results: 0 done, -1 no such file, -4 not readable, -3 cannot be
    // opened. Each failure is logged.
    static bool isExist(const std::string& path);
    static bool isReadable(const std::string& path);
    // Appends the whole file, as it is, to `out`.
    static int32_t readString(const std::string& path, std::string& out);
    // Writes the value in decimal. The file must be readable. A failed write is not reported.
    static int32_t writeInt32(const std::string& path, int32_t value);
    // Writes the bytes, and creates a file that is missing. False only when the file cannot be
    // opened.
    static bool writeString(const std::string& path, const std::string& value);

    // The client's LPWG and pen callback, null for none. Any thread.
    sp<V1_0::IBivistaLpwgCallback> lpwgCallback() const;

    // Orders the kernel to bring back a cover whose loader finds no firmware
    // (firmware/FirmwareUpgrade.cpp). USB thread. FAIL when the control file cannot be used.
    Status doRecoveryUpgrade();

    // Stops the two USB threads and joins each that has published what it watches. Any other of
    // them ends by itself. Cleans up the USB host context. A second call waits for the first, and
    // joins a thread that has published since. Any thread but these two.
    void usbThreadJoin() EXCLUDES(mUsbWatches.mUsbJoinLock);

    // libusbhost's callbacks, on the USB thread (usb/BusWatch.cpp). `client` is the service object.
    // Both return 0, on which libusbhost keeps watching.
    static int usbDeviceAdded(const char* devname, void* client);
    static int usbDeviceRemoved(const char* devname, void* client);

    // Notify the cover's kernel driver that the service is ready, or that the link needs a recovery
    // (usb/DriverNotice.cpp). Return the bytes written, or a negative value with errno set.
    int usbReady();
    int usbRecovery();

    // Votes for keeping the cover's USB device awake; with `suspend` true, withdraws such a vote.
    // With `vote` false, forces the device's power control without counting (usb/AutoSuspend.cpp).
    // Any thread; takes sUsbAutoSuspendMutex. Returns the bytes written, 0 when nothing needed
    // writing, or a negative value with errno set.
    int usbAutoSuspend(bool suspend, bool vote) EXCLUDES(sUsbAutoSuspendMutex);

    // Sends an AT command to the cover and collects its answer (serial/SerialAt.cpp). Any thread;
    // holds sSerialMutex throughout. `cmd` begins with "AT", any case, and ends in "\r". `resp`
    // takes `respCount` bytes of the answer's lines, the last stored byte replaced by NUL. `cb` is
    // called for each line of the answer proper. `resp` and `cb` may be null.
    // Returns the bytes stored, 1 when the port hung up, or a negative value with errno set: ENODEV
    // no cover, EINVAL malformed, ETIME no answer within 5 s, EPROTONOSUPPORT rejected by the
    // cover, or the cause of a failed system call. On failure `resp` may lack a NUL.
    int serialAtCmd(const char* cmd, char* resp, size_t respCount, AtLineCallback cb)
            EXCLUDES(sSerialMutex);

    // The cover's tty has appeared, or gone (serial/SerialAttach.cpp). Notify thread.
    void serialDeviceAdded() EXCLUDES(sSerialMutex);
    void serialDeviceRemoved() EXCLUDES(sSerialMutex);

    // Starts or ends the capture of the cover's own log (serial/SerialLog.cpp). Notify thread. The
    // end waits for the log thread, unless a cover on the bus fails the command. Returns the result
    // of the command to the cover, 0 when none was sent, or a negative result of the thread's
    // creation.
    int serialLogEnable(bool enable) EXCLUDES(sSerialMutex);

    // The command that makes the cover stream its log or be silent, by the system properties.
    // Any thread.
    static const char* getLogSaveAtCmd();

    // Bring the cover display side up and down (display/Display.cpp); `service` is the service
    // object. Notify thread; both take display_lock.
    void bv2_display_init(void* service) EXCLUDES(sSerialMutex);
    void bv2_display_deinit(void* service);

    // The panel's HID node has appeared, or gone (hid/HidDisplay.cpp). Notify thread. Negative when
    // the panel did not give its size; it then stays attached, and uninitialised.
    int32_t hidDisplayDeviceAdded() EXCLUDES(hid_lock);
    int32_t hidDisplayDeviceRemoved() EXCLUDES(hid_lock);

    // Transfers to and from the sub display's panel (hid/HidDisplay.cpp). Any thread; each opens
    // the node anew and holds hid_lock until it is closed. Negative, logged, with errno set on
    // failure.
    //
    // The panel's record. A panel that answers less than 7 bytes leaves the rest as it was.
    int32_t hidDisplayGetInfo(hid_display_report_info* info) EXCLUDES(hid_lock);
    // Power and brightness. No caller sets `flag`.
    int32_t hidDisplaySetConfig(bool flag, bool power, uint8_t brightness) EXCLUDES(hid_lock);
    // Sends `length` bytes of pixels to `offset` of the panel's memory, at most 4089 a report. A
    // length of 0 sends one empty report, which ends a frame. Returns `length`.
    int32_t hidDisplayPalette(uint16_t length, uint16_t offset, const uint8_t* data)
            EXCLUDES(hid_lock);

    // The sub display's panel was found, or has gone (sub_display/SubDisplay.cpp). Notify thread.
    // `service` is the service object, whose interface method switches the panel on. Both return 0.
    int32_t initSubDisplay(Bivista* service, hid_display_report_info info);
    int32_t deinitSubDisplay();
    // Stores the state and calls the client's callback with it. Any thread.
    void setSubDisplayState(SubScreenState state);
    SubDisplay& subDisplay() { return *mSubDisplay; }

  private:
    // Thread bodies (usb/DevWatch.cpp, usb/BusWatch.cpp, serial/SerialLogThread.cpp); the argument
    // is the service object.
    static void* usbNotifyThread(void* service);
    static void* usbThread(void* service);
    static void* serialLogThread(void* service);

    // Chooses the image of `dir` for a cover of this version (firmware/FirmwareCheck.cpp).
    // `selected` holds 1024 zero bytes and takes the image's file name, none when there is no image
    // at all. FAIL when the folder cannot be opened or its images are all of other hardware lines.
    Status getDFUFile(const std::string& dir, const char* version, char* selected);

    // Adds the sections of the state and of the counts (diagnostics/Dump.cpp). RPC thread.
    void describeState(bool reset, DumpText* dump);

    const std::shared_ptr<LpwgClient> mLpwgClient = makeLpwgClient();
    // File name of the firmware image that was looked at last. RPC thread.
    char mDfuFilePath[1024] = {};
    // The device side, subject by subject.
    UsbWatches mUsbWatches;
    AutoSuspendVotes mAutoSuspendVotes;
    SerialLink mSerialLink;
    SerialLog mSerialLog{mSerialLink};
    HidLink mHidLink;
    // The cover's USB device, and a loader's, is on the bus. Changed by the USB thread.
    std::atomic<bool> mUsbAttached = false;
    std::atomic<bool> mLoaderAttached = false;
    const std::shared_ptr<SubDisplay> mSubDisplay = makeSubDisplay();
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
