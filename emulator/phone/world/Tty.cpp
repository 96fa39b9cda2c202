// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/Tty.h"

#include <cstdlib>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/backend/Device.h"
#include "emulator/phone/world/Files.h"

namespace phone {

Tty::Tty(int number)
    : mNode(ttyNode(number)),
      mMaster(open("/dev/ptmx", O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)) {
    char name[64];
    if (!mMaster.ok() || unlockpt(mMaster.get()) != 0 ||
        ptsname_r(mMaster.get(), name, sizeof(name)) != 0) {
        throwErrno("cannot make a pty");
    }
    mPty = name;
    mSlave.reset(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios settings;
    if (!mSlave.ok() || tcgetattr(mSlave.get(), &settings) != 0) throwErrno("cannot open " + mPty);
    cfmakeraw(&settings);
    if (tcsetattr(mSlave.get(), TCSANOW, &settings) != 0) throwErrno("cannot set up " + mPty);
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
    return bytes;
}

void Tty::flush() {
    size_t sent = 0;
    while (sent < mPending.size()) {
        const ssize_t count = write(mMaster.get(), mPending.data() + sent, mPending.size() - sent);
        if (count <= 0) break;
        sent += static_cast<size_t>(count);
    }
    mPending.erase(0, sent);
}

bool Tty::hasUnread() const {
    pollfd state = {mSlave.get(), POLLIN, 0};
    return poll(&state, 1, 0) > 0;
}

}  // namespace phone
