// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The file of declarations, written anew and renamed into place; inotify for those who wait.
#define LOG_TAG "host-hidl"

#include "Declarations.h"

#include <fcntl.h>
#include <limits.h>
#include <log/log.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <sstream>

#include "Registry.h"

namespace android::hardware::registry {

namespace {

constexpr char kFile[] = "declared";

constexpr uint32_t kDirectoryChanges = IN_CREATE | IN_CLOSE_WRITE | IN_DELETE | IN_MOVED_FROM |
                                       IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
constexpr uint32_t kInterfaceChanges = IN_CREATE | IN_MOVED_TO | IN_DELETE_SELF | IN_ONLYDIR;

using Lines = std::vector<std::string>;

status_t fail(const char* what) {
    const int error = errno;
    ALOGE("%s %s/%s: %s", what, directory().c_str(), kFile, strerror(error));
    return -error;
}

std::string nameOf(const std::string& descriptor, const std::string& instance) {
    return descriptor + "/" + instance;
}

// Nothing when the file cannot be read; no lines when there is none.
std::optional<Lines> readLines(int folder) {
    // A pipe of that name must not block.
    const base::unique_fd file(openat(folder, kFile, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.ok()) {
        if (errno == ENOENT) return Lines();
        fail("Cannot read");
        return std::nullopt;
    }
    std::string text;
    char buffer[4096];
    ssize_t size;
    while ((size = read(file.get(), buffer, sizeof(buffer))) > 0) text.append(buffer, size);
    if (size < 0) {
        fail("Cannot read");
        return std::nullopt;
    }
    Lines lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

bool has(const Lines& lines, const std::string& name) {
    return std::find(lines.begin(), lines.end(), name) != lines.end();
}

bool writeFile(int folder, const std::string& name, const std::string& text) {
    const base::unique_fd file(
            openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    return file.ok() &&
           write(file.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

// Whoever reads meanwhile sees the lines of before, or these.
status_t replaceLines(int folder, const Lines& lines) {
    if (lines.empty()) {
        if (unlinkat(folder, kFile, 0) == 0 || errno == ENOENT) return OK;
        return fail("Cannot remove");
    }
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    const std::string temporary = ".new-" + std::to_string(getpid());
    if (writeFile(folder, temporary, text) &&
        renameat(folder, temporary.c_str(), folder, kFile) == 0)
        return OK;
    const status_t status = fail("Cannot write");
    unlinkat(folder, temporary.c_str(), 0);
    return status;
}

// Lets `change` work on the lines of the file, while nobody else does.
template <typename Change>
status_t changeLines(const base::unique_fd& folder, Change change) {
    if (flock(folder.get(), LOCK_EX) != 0) return fail("Cannot lock the directory of");
    std::optional<Lines> lines = readLines(folder.get());
    if (!lines) return UNKNOWN_ERROR;
    const Lines before = *lines;
    change(*lines);
    return *lines == before ? OK : replaceLines(folder.get(), *lines);
}

}  // namespace

status_t declare(const std::vector<std::string>& descriptors, const std::string& instance) {
    base::unique_fd folder;
    if (const status_t status = makeDirectory(&folder); status != OK) return status;
    return changeLines(folder, [&](Lines& lines) {
        for (const std::string& descriptor : descriptors) {
            const std::string name = nameOf(descriptor, instance);
            if (!has(lines, name)) lines.push_back(name);
        }
    });
}

status_t undeclare(const std::vector<std::string>& descriptors, const std::string& instance) {
    const base::unique_fd folder = openDirectory();
    if (!folder.ok()) return OK;
    return changeLines(folder, [&](Lines& lines) {
        for (const std::string& descriptor : descriptors) {
            std::erase(lines, nameOf(descriptor, instance));
        }
    });
}

bool isDeclared(const std::string& descriptor, const std::string& instance) {
    const base::unique_fd folder = openDirectory();
    if (!folder.ok()) return false;
    const std::optional<Lines> lines = readLines(folder.get());
    return lines && has(*lines, nameOf(descriptor, instance));
}

Changes::Changes(const std::string& descriptor)
    : mDescriptor(descriptor), mInotify(inotify_init1(IN_CLOEXEC)) {}

// Watched anew each time: either folder may have been made, or replaced, since.
bool Changes::watch() {
    const std::string path = directory();
    if (!mInotify.ok() || inotify_add_watch(mInotify.get(), path.c_str(), kDirectoryChanges) < 0) {
        return false;
    }
    const std::string folder = path + "/" + mDescriptor;
    return inotify_add_watch(mInotify.get(), folder.c_str(), kInterfaceChanges) >= 0 ||
           errno == ENOENT;
}

void Changes::wait() {
    alignas(inotify_event) char events[4096];
    // A signal ends the read too: the caller looks once more, and waits again.
    (void)!read(mInotify.get(), events, sizeof(events));
}

}  // namespace android::hardware::registry
