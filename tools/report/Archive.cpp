// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/report/Archive.h"

#include <archive.h>
#include <archive_entry.h>
#include <time.h>

#include <algorithm>
#include <memory>
#include <new>

namespace report {
namespace {

using Entry = std::unique_ptr<archive_entry, decltype(&archive_entry_free)>;
using Reader = std::unique_ptr<archive, decltype(&archive_read_free)>;
using Writer = std::unique_ptr<archive, decltype(&archive_write_free)>;

constexpr size_t kLongestName = 64;

std::string reasonOf(archive* archive) {
    const char* const reason = archive_error_string(archive);
    return reason == nullptr ? "unknown error" : reason;
}

void require(archive* writer, int result) {
    if (result != ARCHIVE_OK) throw std::runtime_error(reasonOf(writer));
}

// Called by the library, which an exception must not pass through.
la_ssize_t append(archive* writer, void* text, const void* bytes, size_t size) {
    try {
        static_cast<std::string*>(text)->append(static_cast<const char*>(bytes), size);
        return static_cast<la_ssize_t>(size);
    } catch (const std::bad_alloc&) {
        archive_set_error(writer, ENOMEM, "out of memory");
        return -1;
    }
}

void writeMember(archive* writer, const Member& member, time_t now) {
    const Entry entry(archive_entry_new(), archive_entry_free);
    if (entry == nullptr) throw std::bad_alloc();
    archive_entry_set_pathname(entry.get(), member.name.c_str());
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(member.bytes.size()));
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_perm(entry.get(), 0600);
    archive_entry_set_mtime(entry.get(), now, 0);
    require(writer, archive_write_header(writer, entry.get()));
    const la_ssize_t written = archive_write_data(writer, member.bytes.data(), member.bytes.size());
    if (written != static_cast<la_ssize_t>(member.bytes.size())) {
        throw std::runtime_error(reasonOf(writer));
    }
}

// Not the library's own name for it, which depends on the locale.
std::string nameOf(archive_entry* entry) {
    const char* const path = archive_entry_pathname(entry);
    std::string name = path == nullptr ? "" : path;
    // As tar writes names when it is given a folder.
    if (name.starts_with("./")) name.erase(0, 2);
    return name;
}

bool isPlain(const std::string& name) {
    const auto isAllowed = [](char letter) {
        return (letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9') ||
               letter == '.' || letter == '-';
    };
    return !name.empty() && name.size() <= kLongestName && name.front() != '.' &&
           std::all_of(name.begin(), name.end(), isAllowed);
}

// Reads the entry's bytes; `room` is how many more all members may have.
std::string readBytes(archive* reader, archive_entry* entry, size_t room) {
    const size_t most = std::min(kMostMember, room);
    const la_int64_t announced = archive_entry_size(entry);
    std::string bytes;
    char piece[1 << 16];
    la_ssize_t count = 0;
    while (announced <= static_cast<la_int64_t>(most) &&
           (count = archive_read_data(reader, piece, sizeof(piece))) > 0) {
        bytes.append(piece, static_cast<size_t>(count));
        if (bytes.size() > most) break;
    }
    if (count < 0) throw BadReport("it is damaged or cut off: " + reasonOf(reader));
    if (announced > static_cast<la_int64_t>(most) || bytes.size() > most) {
        throw BadReport("it is too large: a member may have 16 MiB, and all together 48 MiB");
    }
    return bytes;
}

// Adds the member of this entry.
void take(archive* reader, archive_entry* entry, size_t room, std::vector<Member>* members) {
    const std::string name = nameOf(entry);
    const bool isLink =
            archive_entry_hardlink(entry) != nullptr || archive_entry_symlink(entry) != nullptr;
    if (archive_entry_filetype(entry) == AE_IFDIR && name.empty()) return;
    if (isLink || archive_entry_filetype(entry) != AE_IFREG) {
        throw BadReport("it has a member that is no plain file, which no report has");
    }
    if (!isPlain(name)) {
        throw BadReport("it has a member with a name that no report has: \"" +
                        name.substr(0, kLongestName) + "\"");
    }
    const bool isTwice = std::any_of(members->begin(), members->end(),
                                     [&](const Member& other) { return other.name == name; });
    if (isTwice) throw BadReport("it has the member " + name + " twice");
    members->push_back({name, readBytes(reader, entry, room)});
}

Reader makeReader(std::string_view bytes) {
    Reader reader(archive_read_new(), archive_read_free);
    if (reader == nullptr) throw std::bad_alloc();
    archive_read_support_filter_gzip(reader.get());
    archive_read_support_format_tar(reader.get());
    if (archive_read_open_memory(reader.get(), bytes.data(), bytes.size()) != ARCHIVE_OK) {
        throw BadReport("it is no archive: " + reasonOf(reader.get()));
    }
    return reader;
}

}  // namespace

std::string pack(const std::vector<Member>& members) {
    std::string bytes;
    const Writer writer(archive_write_new(), archive_write_free);
    if (writer == nullptr) throw std::bad_alloc();
    require(writer.get(), archive_write_set_format_ustar(writer.get()));
    require(writer.get(), archive_write_add_filter_gzip(writer.get()));
    require(writer.get(), archive_write_set_bytes_in_last_block(writer.get(), 1));
    require(writer.get(), archive_write_open(writer.get(), &bytes, nullptr, append, nullptr));
    const time_t now = time(nullptr);
    for (const Member& member : members) writeMember(writer.get(), member, now);
    require(writer.get(), archive_write_close(writer.get()));
    return bytes;
}

std::vector<Member> unpack(std::string_view archive) {
    if (archive.empty()) throw BadReport("it is empty");
    if (archive.size() > kMostArchive)
        throw BadReport("it is too large: a report has 16 MiB at most");
    const Reader reader = makeReader(archive);
    std::vector<Member> members;
    size_t room = kMostBytes;
    for (size_t entries = 0;; ++entries) {
        archive_entry* entry = nullptr;
        const int result = archive_read_next_header(reader.get(), &entry);
        if (result == ARCHIVE_EOF) return members;
        if (result < ARCHIVE_WARN) {
            throw BadReport(entries == 0 ? "it is no archive: " + reasonOf(reader.get())
                                         : "it is damaged or cut off: " + reasonOf(reader.get()));
        }
        if (entries == kMostMembers) throw BadReport("it has more than 64 members");
        const size_t before = members.size();
        take(reader.get(), entry, room, &members);
        if (members.size() > before) room -= members.back().bytes.size();
    }
}

}  // namespace report
