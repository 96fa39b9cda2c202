// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/Journal.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace phone {

using android::base::unique_fd;

namespace {

// What the text takes besides its string object: an allocation, when it is not a short one.
size_t weigh(const std::string& text) {
    constexpr size_t kAllocation = 16;
    static const size_t kShort = std::string().capacity();
    return text.capacity() <= kShort ? 0 : kAllocation + text.capacity();
}

size_t weigh(const Entry& entry) {
    return sizeof(Entry) + weigh(entry.path) + weigh(entry.bytes) + weigh(entry.note);
}

size_t sizeOfTexts(const Entry& entry) {
    return entry.path.size() + entry.bytes.size() + entry.note.size();
}

}  // namespace

bool Journal::writeTo(const std::string& path, const std::string& firstLine) {
    unique_fd file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666));
    if (!file.ok()) return false;
    {
        const android::AutoMutex lock(mLock);
        mFile = std::move(file);
        mFileError = 0;
        if (!firstLine.empty()) writeToFile(firstLine + "\n");
    }
    // Whoever reads the file sees an entry when it happens, and a crash loses none.
    countFollowers(1);
    return true;
}

void Journal::setSource(std::shared_ptr<Source> source) {
    const android::AutoMutex lock(mSourceLock);
    mSource = std::move(source);
    if (mSource != nullptr) mSource->follow(mFollowers > 0);
}

std::shared_ptr<Source> Journal::source() const {
    const android::AutoMutex lock(mSourceLock);
    return mSource;
}

void Journal::sync() const {
    if (mSync) mSync();
    if (const auto waiting = source(); waiting != nullptr) waiting->drain();
}

void Journal::countFollowers(int change) const {
    const android::AutoMutex lock(mSourceLock);
    const bool wasFollowed = mFollowers > 0;
    mFollowers += static_cast<size_t>(change);
    const bool isFollowed = mFollowers > 0;
    if (mSource != nullptr && isFollowed != wasFollowed) mSource->follow(isFollowed);
}

Journal::Follower::Follower(const Journal& journal) : mJournal(journal) {
    mJournal.countFollowers(1);
    if (const auto waiting = mJournal.source(); waiting != nullptr) waiting->drain();
}

Journal::Follower::~Follower() {
    mJournal.countFollowers(-1);
}

int Journal::fileError() const {
    const android::AutoMutex lock(mLock);
    return mFileError;
}

// A full disk must not stop the phone: the file ends there, the journal in memory goes on.
void Journal::writeToFile(std::string_view line) {
    while (!line.empty()) {
        const ssize_t count = write(mFile.get(), line.data(), line.size());
        if (count < 0 && errno != EINTR) {
            mFileError = errno;
            mFile.reset();
            return;
        }
        if (count > 0) line.remove_prefix(static_cast<size_t>(count));
    }
}

void Journal::keep(Entry entry) {
    mBytes += weigh(entry);
    mEntries.push_back(std::move(entry));
    while (mEntries.size() > kMaxEntries || mBytes > kMaxBytes) {
        mBytes -= weigh(mEntries.front());
        mEntries.pop_front();
    }
}

void Journal::add(Kind kind, std::string path, std::string bytes, std::string note) {
    {
        const android::AutoMutex lock(mLock);
        Entry entry = {mNext++,
                       std::chrono::steady_clock::now() - mStart,
                       std::chrono::system_clock::now().time_since_epoch(),
                       kind,
                       std::move(path),
                       std::move(bytes),
                       std::move(note)};
        if (mFile.ok()) writeToFile(toJson(entry) + "\n");
        keep(std::move(entry));
    }
    mAdded.notify_all();
}

void Journal::add(Past past) {
    {
        const android::AutoMutex lock(mLock);
        const auto ago = std::chrono::steady_clock::now() - past.begin;
        Entry entry = {mNext++,
                       std::max(past.begin - mStart, std::chrono::nanoseconds(0)),
                       std::chrono::system_clock::now().time_since_epoch() - ago,
                       past.kind,
                       std::move(past.path),
                       std::move(past.bytes),
                       std::move(past.note),
                       past.duration};
        if (mFile.ok()) {
            Entry whole = entry;
            if (!past.wholeBytes.empty()) whole.bytes = std::move(past.wholeBytes);
            if (!past.wholeNote.empty()) whole.note = std::move(past.wholeNote);
            writeToFile(toJson(whole) + "\n");
        }
        keep(std::move(entry));
    }
    mAdded.notify_all();
}

uint64_t Journal::next() const {
    sync();
    const android::AutoMutex lock(mLock);
    return mNext;
}

std::vector<Entry> Journal::since(uint64_t seq, size_t most, size_t bytes) const {
    sync();
    const android::AutoMutex lock(mLock);
    const uint64_t oldest = mNext - mEntries.size();
    const size_t begin = seq <= oldest ? 0 : std::min<uint64_t>(seq - oldest, mEntries.size());
    size_t end = begin;
    for (size_t size = 0; end < mEntries.size() && end - begin < most && size < bytes; ++end) {
        size += sizeOfTexts(mEntries[end]);
    }
    return {mEntries.begin() + static_cast<ptrdiff_t>(begin),
            mEntries.begin() + static_cast<ptrdiff_t>(end)};
}

std::vector<std::string> Journal::list(Kind kind, uint64_t seq) const {
    std::vector<std::string> texts;
    for (Entry& entry : since(seq)) {
        if (entry.kind == kind) texts.push_back(std::move(entry.bytes));
    }
    return texts;
}

std::string Journal::joined(Kind kind, uint64_t seq) const {
    std::string all;
    for (const std::string& text : list(kind, seq)) all += text;
    return all;
}

const Entry* Journal::find(const Match& match, uint64_t* seq) const {
    const uint64_t oldest = mNext - mEntries.size();
    for (*seq = std::max(*seq, oldest); *seq < mNext; ++*seq) {
        const Entry& entry = mEntries[*seq - oldest];
        if (match(entry)) return &entry;
    }
    return nullptr;
}

Entry Journal::waitFor(const Match& match, uint64_t seq) const {
    const Follower follower(*this);
    const android::AutoMutex lock(mLock);
    for (;;) {
        if (const Entry* const found = find(match, &seq)) return *found;
        mAdded.wait(mLock);
    }
}

std::optional<Entry> Journal::waitFor(const Match& match, uint64_t seq,
                                      std::chrono::milliseconds limit) const {
    const Follower follower(*this);
    const android::AutoMutex lock(mLock);
    // A wall-clock wait would be cut or stretched by a change of the date.
    const auto end = std::chrono::steady_clock::now() + limit;
    const Entry* found = nullptr;
    const auto isFound = [&]() REQUIRES(mLock) { return (found = find(match, &seq)) != nullptr; };
    if (!mAdded.wait_until(mLock, end, isFound)) return std::nullopt;
    return *found;
}

bool Journal::await(uint64_t seq, std::chrono::milliseconds limit,
                    const std::function<bool()>& isOver) const {
    const Follower follower(*this);
    const android::AutoMutex lock(mLock);
    const auto end = std::chrono::steady_clock::now() + limit;
    mAdded.wait_until(mLock, end, [&]() REQUIRES(mLock) { return mNext > seq || isOver(); });
    return mNext > seq;
}

void Journal::wake() const {
    // With the lock: a reader looks at `isOver` before this, or it sleeps and is woken.
    { const android::AutoMutex lock(mLock); }
    mAdded.notify_all();
}

}  // namespace phone
