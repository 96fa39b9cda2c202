// One thread that waits for descriptors, deadlines and calls from other threads. Idle, it sleeps.
#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "emulator/cover/Types.h"
#include "emulator/phone/Fd.h"

namespace phone {

class EventLoop {
  public:
    using Handler = std::function<void(short revents)>;
    // Called after everything that happened; returns when it wants to be called next at the latest.
    using Turn = std::function<std::optional<cover::Time>()>;

    EventLoop();
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    // The thread blocks all signals.
    void start(Turn turn);
    // Ends and joins the thread; calls that wait are carried out first.
    void stop();

    // Runs `work` on the loop's thread and returns when it is done; when it throws, its text is
    // thrown here as phone::Error.
    // Any thread but the loop's. While the loop is not running it is done on the spot.
    void call(const std::function<void()>& work);

    // Loop's thread only. A descriptor has one handler, which may watch and unwatch at will.
    // `events` as for poll; with none of them only errors and hang-ups are told.
    void watch(int fd, short events, Handler handler);
    void setEvents(int fd, short events);
    void unwatch(int fd);

    static cover::Time now();

  private:
    struct Source {
        uint64_t id = 0;
        short events = 0;
        Handler handler;
    };

    void run();
    void wait(std::optional<cover::Time> deadline);
    void runCalls();

    Turn mTurn;
    std::map<int, Source> mSources;  // loop's thread only
    uint64_t mNextId = 0;
    Fd mWake;  // eventfd
    std::mutex mLock;
    std::vector<std::function<void()>> mCalls;  // guarded by mLock
    bool mStopping = false;                     // guarded by mLock
    std::thread mThread;
};

}  // namespace phone
