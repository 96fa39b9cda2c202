// The emulated phone: kernel nodes, tty, USB bus, properties and a cover that can be put on and
// pulled off. The process is in the world already (World.h).
//
// All devices are played by one emulator thread. Every method may be called from any thread but
// that one, and returns when its effect can be seen in the world. What is wrong with an argument or
// a state is thrown as phone::Error, whose text says what to do.
#pragma once

#include <chrono>
#include <cstdint>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

#include "emulator/cover/Panel.h"
#include "emulator/cover/Types.h"
#include "emulator/phone/Journal.h"

namespace phone {

class Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Paths of the world.
inline constexpr char kHalReady[] = "/sys/class/bivista/bv2/bv2_hal_ready";
inline constexpr char kRecovery[] = "/sys/class/bivista/bv2/bv2_recovery";
inline constexpr char kPowerNode[] = "/sys/class/bivista/bv2/bv2_pd";
inline constexpr char kWakeLock[] = "/sys/power/wake_lock";
inline constexpr char kFirmwareWrite[] =
        "/sys/devices/platform/soc/soc:gpio_keys/virtual_mcu_firmware_write";
inline constexpr char kAesMode[] = "/sys/module/usbhid/parameters/aes_mode";
inline constexpr char kUpdateState[] = "/sys/devices/virtual/input/qmx_touch/bv_update_state";
inline constexpr char kFirmwareFolder[] = "/system_ext/etc/dfu";
inline constexpr char kTouchFolder[] = "/data/vendor/touch";
inline constexpr char kPropertyFile[] = "/data/property/host.prop";
inline constexpr char kKernelLog[] = "/dev/kmsg";

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

// A file in the folder of firmware images.
struct FirmwareFile {
    std::string name;
    uint64_t size = 0;

    bool operator==(const FirmwareFile&) const = default;
};

// What becomes of lines that the phone has not read yet when the cover goes.
enum class Unread {
    Lost,  // as when it is pulled off
    Read,  // it stays until they are read, but at most 3 s
};

class Phone {
  public:
    // Makes the nodes and starts the emulator thread. Once a process and world.
    Phone();
    ~Phone();
    Phone(const Phone&) = delete;
    Phone& operator=(const Phone&) = delete;

    // From now on the calling thread, and the threads and processes that it starts, are supervised:
    // what they do with control files is recorded and faults of nodes apply. Once per process; call
    // it before the software under test starts its threads. The Phone must outlive them all:
    // without it their opens fail with ENOSYS. Opens made by the sanitizers' runtimes are left
    // alone.
    void superviseThisThread();

    // Starts a supervised program in the world (PATH applies). Returns the process id of its keeper
    // (Keeper.h), which ends as the program does; the caller waits for it. What the program leaves
    // running ends first. Throws when it cannot be executed.
    pid_t spawn(const std::vector<std::string>& command);

    // The cover. attachCover() throws when it is on already; detachCover() when it is not. A cover
    // that was pulled off while an upgrade was written comes up in its loader, in error.
    void attachCover(const CoverOptions& options = {});
    void detachCover(Unread unread = Unread::Lost);
    // As with Unread::Read, but does not wait: the result is there when the cover is off.
    std::future<void> detachCoverWhenRead();
    // Off and on again at once: watchers may see both in one read.
    void reattachCover();
    // A node of it is present.
    bool isCoverAttached() const;
    cover::State coverState() const;
    // The same for people: ("brightness", "128"), ...
    std::vector<std::pair<std::string, std::string>> listCoverState() const;
    cover::Options coverOptions() const;
    void setCoverOptions(cover::Options options);
    // Bytes from the cover outside of any answer, such as lines of its log.
    void sendFromCover(const std::string& bytes);

    // The cover's sub display, from its plugging in on. New options take effect with its next
    // report.
    cover::PanelState panelState() const;
    bool isPanelAttached() const;
    cover::PanelOptions panelOptions() const;
    void setPanelOptions(const cover::PanelOptions& options);
    // What it shows (cover::Panel::picture()); none without a panel too.
    std::optional<cover::Picture> panelPicture() const;

    // A line of the cover's own log, without line ends: sent as soon as no answer is on the line.
    // False when it is dropped: DTR is down, "AT%LOGSAVE=" did not ask for it, or too many wait.
    bool logFromCover(const std::string& line);
    // Lines that it logs by itself (cover::Microcontroller::setChatter); none: it is silent.
    void setChatter(std::optional<cover::Chatter> chatter);
    std::optional<cover::Chatter> chatter() const;

    // Another ACM device, silent, as /dev/ttyACM<number>; ids as in sysfs, for example "1d6b\n".
    void attachForeignTty(int number, const std::string& idVendorText,
                          const std::string& idProductText);
    void detachForeignTty(int number);

    // The cover's loader on the USB bus: serial "00000000001A" (sent there) or "00000000001B" (no
    // firmware), product "TQC330R" and the like. An empty text: the device has no such string.
    void attachLoader(const std::string& serial = "00000000001A",
                      const std::string& product = "TQC330R");
    void detachLoader();
    // The cover itself comes up in its loader, attached or not; throws when a loader is there.
    void sendToLoader(cover::LoaderEntry entry);
    // It comes back as itself, as it was put on last; throws when it is not in its loader.
    void leaveLoader();

    // Files in kFirmwareFolder, of any content: an image's file name tells its version. A number
    // written to kFirmwareWrite makes the kernel's driver choose among them (cover::chooseImage())
    // and write that one into the cover.
    void putFirmware(const std::string& name, size_t size);
    std::vector<FirmwareFile> firmware() const;
    void clearFirmware();

    // Has the kernel raise a uevent: strings, each with a NUL behind it, of at most
    // UeventSender::kLimit bytes. One waits until listeners had time for the one before.
    void raiseUevent(const std::string& message);
    // As raiseUevent(), of the cover's touch panel: one of kGestures or kPenEvents, or any other.
    void raiseTouchEvent(const std::string& name);
    // Sends it as any process may: listeners are to ignore it.
    void forgeUevent(const std::string& message);

    // System properties, any bytes but newline in the value. clearProperties() removes the file.
    void setProperty(const std::string& key, const std::string& value);
    std::map<std::string, std::string> properties() const;
    void clearProperties();

    // A file of the world (under /dev, /sys, /data or /system_ext), made with its folders if need
    // be; new content is seen at once and whole. removeNode() throws when there is none.
    void setNode(const std::string& path, const std::string& text);
    void removeNode(const std::string& path);
    // Content as a reader would see it; nothing when there is no such file.
    std::optional<std::string> node(const std::string& path) const;

    // Takes or releases the display's wake lock: one write of unchanged length.
    void wakeLock(bool held);

    // A fault of the cover's AT channel (emulator/cover/Fault.h), of its panel's hidraw node
    // (emulator/cover/PanelFault.h), or of a file:
    //   node PATH missing | unreadable | unwritable | eio | read-eio
    // missing: ENOENT to open and access; unreadable: EACCES to what asks to read; unwritable:
    // EACCES to what asks to write; eio: opens, but every write fails with EIO; read-eio: opens for
    // reading, but every read fails with EIO.
    void setFault(const std::string& text);
    std::vector<std::string> faults() const;
    // Calls that a fault holds up go on.
    void clearFaults();

    // Everything as it was made: nothing attached, no faults, first contents, default options, no
    // chatter. The journal is kept.
    void reset();

    Journal& journal();
    const Journal& journal() const;

  private:
    struct Parts;
    std::unique_ptr<Parts> mParts;
};

}  // namespace phone
