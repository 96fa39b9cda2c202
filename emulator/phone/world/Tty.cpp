// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/Tty.h"

#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <termios.h>
#include <unistd.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/backend/Device.h"
#include "emulator/phone/world/Files.h"

namespace phone {

using android::base::unique_fd;

namespace fs = std::filesystem;

namespace {

// What a device holds for a host that does not ask, as that of Linux's own serial gadget.
constexpr size_t kDeviceBuffer = 8192;

// Those of a fresh pty, among them echo, are every tty's but for the speed and the modem's lines.
termios driverSettings(termios settings) {
    settings.c_cflag = CS8 | CREAD | HUPCL | CLOCAL;
    cfsetspeed(&settings, B9600);
    return settings;
}

}  // namespace

Tty::Tty(int number)
    : mNode(ttyNode(number)),
      mMaster(::open("/dev/ptmx", O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)),
      mEvents(epoll_create1(EPOLL_CLOEXEC)) {
    char name[64];
    if (!mMaster.ok() || unlockpt(mMaster.get()) != 0 ||
        ptsname_r(mMaster.get(), name, sizeof(name)) != 0) {
        throwErrno("cannot make a pty");
    }
    mPty = name;
    mSlave.reset(::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!mSlave.ok()) throwErrno("cannot open " + mPty);
    const termios first = driverSettings(settings());
    if (tcsetattr(mMaster.get(), TCSANOW, &first) != 0) throwErrno("cannot set up " + mPty);
    watch(EPOLL_CTL_ADD, false);
}

Tty::~Tty() {
    if (mPublished) unlink(mNode.c_str());
}

void Tty::publish() {
    putLink(mNode, mPty);
    mPublished = true;
}

void Tty::hangUp() {
    mSlave.reset();
    mMaster.reset();
}

bool Tty::isAt(const std::string& path) const {
    // Something else may have come into the place of the node.
    std::error_code error;
    return path == mPty || (path == mNode && fs::read_symlink(path, error) == mPty);
}

unique_fd Tty::open(int flags) {
    const bool isFirst = !isOpen();
    unique_fd slave(::open(mPty.c_str(), flags | O_NOCTTY | O_CLOEXEC));
    if (!slave.ok()) return slave;
    if (isFirst) tcflush(slave.get(), TCIFLUSH);
    mSlave.reset();
    return slave;
}

// Through the master, which answers for its slave.
termios Tty::settings() const {
    termios settings = {};
    tcgetattr(mMaster.get(), &settings);
    return settings;
}

bool Tty::isOpen() const {
    if (isHungUp()) return false;
    if (mSlave.ok()) return mIsUsedUnseen;
    pollfd state = {mMaster.get(), 0, 0};
    return poll(&state, 1, 0) == 0;
}

void Tty::watch(int operation, bool forRoom) {
    epoll_event wanted = {};
    wanted.events = EPOLLIN | EPOLLET | (forRoom ? uint32_t{EPOLLOUT} : 0);
    if (epoll_ctl(mEvents.get(), operation, mMaster.get(), &wanted) != 0) {
        throwErrno("cannot watch " + mPty);
    }
    mAwaitsRoom = forRoom;
}

void Tty::takeEvent() const {
    epoll_event event;
    epoll_wait(mEvents.get(), &event, 1, 0);
}

std::string Tty::read() {
    std::string bytes;
    char buffer[4096];
    // poll() makes the kernel hand over what is on its way from the other side.
    pollfd state = {mMaster.get(), POLLIN, 0};
    while (poll(&state, 1, 0) > 0) {
        const ssize_t count = ::read(mMaster.get(), buffer, sizeof(buffer));
        if (count <= 0) break;
        bytes.append(buffer, static_cast<size_t>(count));
    }
    if (!bytes.empty()) mIsUsedUnseen = true;
    return bytes;
}

void Tty::flush() {
    if (mPending.empty() || !isOpen()) return;
    size_t sent = 0;
    while (sent < mPending.size()) {
        const ssize_t count = write(mMaster.get(), mPending.data() + sent, mPending.size() - sent);
        if (count <= 0) break;
        sent += static_cast<size_t>(count);
    }
    mPending.erase(0, sent);
    if (mAwaitsRoom == mPending.empty()) watch(EPOLL_CTL_MOD, !mPending.empty());
}

bool Tty::hasRoom() const {
    return mPending.size() < kDeviceBuffer;
}

bool Tty::hasUnread() const {
    if (!mPending.empty()) return true;
    if (!isOpen()) return false;
    const unique_fd slave(::open(mPty.c_str(), O_RDONLY | O_NOCTTY | O_CLOEXEC));
    pollfd state = {slave.get(), POLLIN, 0};
    return poll(&state, 1, 0) > 0;
}

}  // namespace phone
