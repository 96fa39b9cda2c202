// run --journal: what is no regular file, such as a FIFO or a terminal.
#pragma once

#include <memory>
#include <string>
#include <thread>

#include <android-base/unique_fd.h>
#include "emulator/phone/Journal.h"

namespace emulator {

// Carries the journal to a reader who may be slow, stop or leave. The phone never waits for it: a
// reader that falls too far behind is given up, and standard error tells so.
class JournalStream {
  public:
    // Opens the file; nothing when there is none or it is a regular one. Waits until somebody reads
    // a FIFO, and says so first. To be called while signals still end the program. Throws
    // phone::Error when it cannot be opened.
    static std::unique_ptr<JournalStream> openSpecial(const std::string& path);

    // Returns when the reader has all that was written, takes nothing any more, or a signal such as
    // SIGINT is pending. The journal must have ended before.
    ~JournalStream();
    JournalStream(const JournalStream&) = delete;
    JournalStream& operator=(const JournalStream&) = delete;

    // Has the journal written to the stream. Throws phone::Error when that cannot be.
    void carry(phone::Journal& journal);

  private:
    JournalStream(std::string path, android::base::unique_fd target);

    void passOnAll();
    void take();
    void passOn();
    void giveUp(const std::string& reason);

    const std::string mPath;
    std::thread mThread;
    // Of the thread alone, once it runs.
    android::base::unique_fd mSource;   // what the journal writes; none: it has ended
    android::base::unique_fd mTarget;   // non-blocking; none: given up
    android::base::unique_fd mSignals;  // a signalfd
    std::string mPending;               // from mPassed on
    size_t mPassed = 0;
};

}  // namespace emulator
