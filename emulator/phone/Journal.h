// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Everything that passes between the phone's software and its devices, in order, on one clock.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <android-base/unique_fd.h>
#include <utils/Mutex.h>

#include "emulator/phone/Entry.h"

namespace phone {

// Something that lasted, such as a call.
struct Past {
    Kind kind = Kind::ClientCall;
    std::chrono::steady_clock::time_point begin{};
    std::chrono::nanoseconds duration{};
    std::string path;
    std::string bytes;  // short, for the memory
    std::string note;
    std::string wholeBytes{};  // for the file; empty: as `bytes`
    std::string wholeNote{};
};

// Where entries wait until somebody asks for them. Any thread may use it.
class Source {
  public:
    virtual ~Source() = default;
    // Adds to the journal what waits.
    virtual void drain() = 0;
    // Whether entries are to come by themselves, since somebody waits for them.
    virtual void follow(bool isFollowed) = 0;
};

// Any thread may use it at any time. The oldest entries are dropped beyond kMaxEntries or
// kMaxBytes.
class Journal {
  public:
    static constexpr size_t kMaxEntries = 200'000;
    static constexpr size_t kMaxBytes = 64 << 20;

    // Writes every later entry to `path` too, one JSON line each, after this first line if any, and
    // follows the source from then on; false, errno set, when the file cannot be made.
    bool writeTo(const std::string& path, const std::string& firstLine = {})
            EXCLUDES(mLock, mSourceLock);
    // The errno at which nothing more was written to the file, or 0.
    int fileError() const EXCLUDES(mLock);

    // `sync` makes the emulator record what has been written; called by readers, without the lock.
    void setSync(std::function<void()> sync) { mSync = std::move(sync); }

    // Readers drain the source too. Null: none any more; one that is in use is used to its end.
    void setSource(std::shared_ptr<Source> source) EXCLUDES(mSourceLock);

    // To be called before an entry about software is added, so that its earlier writes stand first.
    void sync() const EXCLUDES(mSourceLock);

    // While it lives, entries of the source come by themselves, and those from before are there.
    // Not to be made where entries cannot be added.
    class Follower {
      public:
        explicit Follower(const Journal& journal);
        ~Follower();
        Follower(const Follower&) = delete;
        Follower& operator=(const Follower&) = delete;

      private:
        const Journal& mJournal;
    };

    void add(Kind kind, std::string path, std::string bytes = {}, std::string note = {})
            EXCLUDES(mLock);

    // Adds what is over already; the entry's time is its begin.
    void add(Past past) EXCLUDES(mLock);

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
    // Waits until there is an entry `seq` or a later one, and returns true; false after `limit`, or
    // once `isOver`. Sleeps meanwhile: each entry and wake() make it look at `isOver` again.
    bool await(uint64_t seq, std::chrono::milliseconds limit,
               const std::function<bool()>& isOver) const EXCLUDES(mLock);
    void wake() const EXCLUDES(mLock);

  private:
    std::shared_ptr<Source> source() const EXCLUDES(mSourceLock);
    void countFollowers(int change) const EXCLUDES(mSourceLock);
    // The first match from entry *seq on; *seq moves past what was looked at.
    const Entry* find(const Match& match, uint64_t* seq) const REQUIRES(mLock);
    void writeToFile(std::string_view line) REQUIRES(mLock);
    // Drops the oldest entries where the bounds ask for it.
    void keep(Entry entry) REQUIRES(mLock);

    const std::chrono::steady_clock::time_point mStart = std::chrono::steady_clock::now();
    std::function<void()> mSync;
    mutable android::Mutex mSourceLock;
    std::shared_ptr<Source> mSource GUARDED_BY(mSourceLock);
    mutable size_t mFollowers GUARDED_BY(mSourceLock) = 0;
    mutable android::Mutex mLock;
    mutable std::condition_variable_any mAdded;
    std::deque<Entry> mEntries GUARDED_BY(mLock);
    size_t mBytes GUARDED_BY(mLock) = 0;
    uint64_t mNext GUARDED_BY(mLock) = 1;
    android::base::unique_fd mFile GUARDED_BY(mLock);
    int mFileError GUARDED_BY(mLock) = 0;
};

}  // namespace phone
