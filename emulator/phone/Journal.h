// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Everything that passes between the phone's software and its devices, in order, on one clock.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <android-base/unique_fd.h>
#include <utils/Mutex.h>

namespace phone {

enum class Kind {
    Attach,       // a device came; path: its node or USB name; note: its identity
    Detach,       // it went; without a path: it does not come back, and the note says why
    TtyOpen,      // the phone opened a tty; note: open flags
    Dtr,          // a tty's DTR line changed; note: "raised" or "lowered"
    TtyRx,        // the cover received `bytes`; one entry a command ("\r" ends it) or less
    TtyLost,      // a close of the tty gave up `bytes`, which the cover did not take
    TtyTx,        // the cover sent `bytes`, in one piece
    NodeOpen,     // a control file was opened for writing, or with a fault; note: open flags, and
                  // the fault if any
    NodeWrite,    // one write() of `bytes`, exactly
    NodeClose,    // the last descriptor of that open is gone
    NodeRefused,  // an open or access test was refused by a fault; note: the error
    NodeSet,      // the emulator gave a file new content `bytes`, or removed it (note "removed")
    KernelLog,    // one message for the kernel log
    HidOpen,      // the panel's hidraw node was opened; note: open flags, and the error if any
    HidGet,       // its feature report `bytes` was read; note: the error, or none
    HidSet,    // its feature report `bytes` was written; note: the error or the bytes that passed
    HidWrite,  // one output report `bytes`; note: the error, or the bytes that passed if not all
    HidClose,  // the last descriptor of that open is gone
    HidlCall,  // a neighbour service answered; path: interface and method; bytes: the arguments;
               // note: the answer
    Uevent,    // the kernel raises the uevent `bytes`; note: "forged" when a process sends it
    Upgrade,   // of the cover's firmware; path: the image's file name; note: what became of it
    Property,  // path: the key; bytes: its new value
    Fault,     // bytes: the text of a fault that was set; empty: all were cleared
    UsbPower,  // the kernel suspended the device `path`, or woke it; note: "suspended", "resumed"
};

// "tty-rx", "node-write", ...: as in the JSON. All names differ.
std::string_view name(Kind kind);

struct Entry {
    uint64_t seq = 0;                 // 1, 2, 3, ...
    std::chrono::nanoseconds time{};  // monotonic, since the journal was made
    Kind kind = Kind::Attach;
    std::string path;
    std::string bytes;
    std::string note;
};

// One line of JSON without a line end: seq, time_us, kind, path, bytes, note (the last three only
// when not empty). Bytes are cover::escape() text, so any byte comes back by cover::unescape().
std::string toJson(const Entry& entry);

using Match = std::function<bool(const Entry&)>;

// Matches for waitFor(): kind and exact bytes; kind and first bytes; kind, path and exact bytes.
Match is(Kind kind, std::string bytes);
Match beginsWith(Kind kind, std::string bytes);
Match isOn(Kind kind, std::string path, std::string bytes);

// Any thread may use it at any time. The oldest entries are dropped beyond kMaxEntries or
// kMaxBytes.
class Journal {
  public:
    static constexpr size_t kMaxEntries = 200'000;
    static constexpr size_t kMaxBytes = 64 << 20;

    // Writes every later entry to `path` too, one JSON line each; false, errno set, when the file
    // cannot be made.
    bool writeTo(const std::string& path) EXCLUDES(mLock);
    // The errno at which nothing more was written to the file, or 0.
    int fileError() const EXCLUDES(mLock);

    // `sync` makes the emulator record what has been written; called by readers, without the lock.
    void setSync(std::function<void()> sync) { mSync = std::move(sync); }

    // To be called before an entry about software is added, so that its earlier writes stand first.
    void sync() const {
        if (mSync) mSync();
    }

    void add(Kind kind, std::string path, std::string bytes = {}, std::string note = {})
            EXCLUDES(mLock);

    // Sequence number that the next entry will have.
    uint64_t next() const EXCLUDES(mLock);

    // Entries kept from `seq` on; the first `most` of them, or fewer: until their texts are `bytes`
    // long.
    std::vector<Entry> since(uint64_t seq, size_t most = SIZE_MAX, size_t bytes = SIZE_MAX) const
            EXCLUDES(mLock);

    // `bytes` of all entries of `kind` from `seq` on, one string each, or joined.
    std::vector<std::string> list(Kind kind, uint64_t seq = 1) const;
    std::string joined(Kind kind, uint64_t seq = 1) const;

    // Waits until an entry from `seq` on matches, and returns the first such. `match` must not open
    // files or call the phone: entries cannot be added while it runs.
    Entry waitFor(const Match& match, uint64_t seq = 1) const EXCLUDES(mLock);
    // As above, but gives up after `limit`.
    std::optional<Entry> waitFor(const Match& match, uint64_t seq,
                                 std::chrono::milliseconds limit) const EXCLUDES(mLock);

  private:
    // The first match from entry *seq on; *seq moves past what was looked at.
    const Entry* find(const Match& match, uint64_t* seq) const REQUIRES(mLock);
    void writeToFile(std::string_view line) REQUIRES(mLock);

    const std::chrono::steady_clock::time_point mStart = std::chrono::steady_clock::now();
    std::function<void()> mSync;
    mutable android::Mutex mLock;
    mutable std::condition_variable_any mAdded;
    std::deque<Entry> mEntries GUARDED_BY(mLock);
    size_t mBytes GUARDED_BY(mLock) = 0;
    uint64_t mNext GUARDED_BY(mLock) = 1;
    android::base::unique_fd mFile GUARDED_BY(mLock);
    int mFileError GUARDED_BY(mLock) = 0;
};

}  // namespace phone
