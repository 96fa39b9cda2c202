// The sub display's panel behind its hidraw node, as tests in process see it.
//
// Stands in the kernel's place: what the objects of a program that links target fake-hidraw do with
// /dev/hidraw<n> (open, ioctl, write, close) comes here (linker option --wrap). Any thread.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace support {

struct PanelOptions {
    int node = 0;  // /dev/hidraw<node>
    uint16_t x = 128;
    uint16_t y = 128;
    uint8_t format = 4;
    uint8_t ready = 1;
    size_t infoSize = 7;  // bytes of its feature report 2 that it sends
};

// One call of the service.
enum class HidCall { Open, GetFeature, SetFeature, Write, Close };
struct Transfer {
    HidCall call = HidCall::Open;
    unsigned long argument = 0;  // flags of the open, number of the request
    std::string bytes;           // the report, as the service handed it over
    long result = 0;             // what the service got; an error as its negative number
};

class FakeHidraw {
  public:
    static FakeHidraw& instance();

    // The node answers from now on, or answers "no device". Whether /dev shows it is not its
    // matter.
    void plug(const PanelOptions& options = {});
    void unplug();

    // The next calls of this kind fail; without a number, all of them until allow().
    void refuse(HidCall call, int error, int times = -1);
    void allow(HidCall call);
    // The results of the next writes, whatever was asked: the bytes that are taken, or an error as
    // its negative number.
    void answerWrites(std::vector<long> results);

    // Calls of this kind wait inside the kernel until they are released or the panel is unplugged.
    // awaitHeld() returns when one does.
    void hold(HidCall call);
    void awaitHeld();
    void release();

    // All calls so far from index `from` on, or those of one kind.
    std::vector<Transfer> transfers(size_t from = 0) const;
    std::vector<Transfer> transfers(HidCall call, size_t from = 0) const;
    size_t next() const;

    // The panel's memory at each report that ended a frame, oldest first: 8192 bytes.
    std::vector<std::string> frames() const;
    // As above, once there are at least so many.
    std::vector<std::string> waitForFrames(size_t count) const;

    // The wrapped calls; a negative result is an error number. open() gives 0 for a path that is
    // not the panel's.
    int open(const char* path, int flags);
    bool owns(int fd) const;
    int ioctl(unsigned long request, void* report);
    long write(const void* report, size_t size);
    void close(int fd);

  private:
    FakeHidraw() = default;
    // What becomes of a call, before the panel sees it: 0, or an error as its negative number.
    int begin(HidCall call, std::unique_lock<std::mutex>* lock);
    void record(Transfer transfer);
    void store(const std::string& report);

    mutable std::mutex mLock;  // guards what follows
    mutable std::condition_variable mChanged;
    bool mPlugged = false;
    PanelOptions mOptions;
    std::set<int> mOpen;
    struct Refusal {
        int error = 0;
        int times = 0;
    };
    std::map<HidCall, Refusal> mRefusals;
    std::vector<long> mWriteResults;
    bool mHolding = false;
    HidCall mHeldCall = HidCall::Open;
    bool mHeld = false;
    std::vector<Transfer> mTransfers;
    std::string mMemory = std::string(8192, '\0');
    std::vector<std::string> mFrames;
};

}  // namespace support
