// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// One attachment of an ACM tty: a new pty behind /dev/ttyACM<n>. Emulator thread only.
#pragma once

#include <string>
#include <string_view>

#include <android-base/unique_fd.h>

namespace phone {

class Tty {
  public:
    // Makes the pty, raw and without echo; not yet visible. Throws phone::Error.
    explicit Tty(int number);
    // Removes the node.
    ~Tty();
    Tty(const Tty&) = delete;
    Tty& operator=(const Tty&) = delete;

    // Makes the node. Throws phone::Error when its name is taken.
    void publish();

    // Wakes its readers. Lines that the phone has not read are lost. The node stays.
    void hangUp();
    bool isHungUp() const { return !mMaster.ok(); }

    // "/dev/ttyACM<n>"
    const std::string& node() const { return mNode; }
    // Name of the pty below it, "/dev/pts/<m>".
    const std::string& pty() const { return mPty; }
    int master() const { return mMaster.get(); }

    // What the phone has written since the last call.
    std::string read();

    // Bytes for the phone. They wait here while the pty is full.
    void send(std::string_view bytes) { mPending += bytes; }
    // Hands over what the pty takes.
    void flush();
    bool isFlushed() const { return mPending.empty(); }

    // Whether there is something that a read of the phone would return at once.
    bool hasUnread() const;

  private:
    const std::string mNode;
    std::string mPty;
    android::base::unique_fd mMaster;
    // Held open: without it every close by the phone would hang the master up.
    android::base::unique_fd mSlave;
    bool mPublished = false;
    std::string mPending;
};

}  // namespace phone
