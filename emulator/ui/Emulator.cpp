// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/ui/Emulator.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/control/SocketFolder.h"

namespace ui {

namespace {

std::string madeFolder(const std::string& folder) {
    control::makeSocketFolder(folder);
    return folder;
}

}  // namespace

Emulator::Emulator(const std::string& folder)
    : mFolder(madeFolder(folder)),
      mFolderFd(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    if (!mFolderFd.ok()) phone::throwErrno("cannot open " + folder);
}

std::string Emulator::socketPath() const {
    // However long the folder's own path is.
    return "/proc/self/fd/" + std::to_string(mFolderFd.get()) + "/" + control::kSocketName;
}

std::optional<Emulator::Identity> Emulator::identity() const {
    struct stat status;
    if (stat(socketPath().c_str(), &status) != 0) return std::nullopt;
    return Identity(status.st_ino, status.st_ctim.tv_sec, status.st_ctim.tv_nsec);
}

std::unique_ptr<emulator::Client> Emulator::connect() const {
    return std::make_unique<emulator::Client>(socketPath());
}

Answer Emulator::ask(const std::string& method, const std::string& path, const Json& values) const {
    const httplib::Result result = connect()->ask(method, path, values);
    if (result) return {result->status, result->body};
    constexpr int kUnavailable = 503;
    return {kUnavailable,
            Json({{"error", emulator::tellNoAnswer(result.error(), mFolder)}}).dump() + "\n"};
}

}  // namespace ui
