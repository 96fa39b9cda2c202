// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// One attachment of an ACM tty: a new pty behind /dev/ttyACM<n>. Emulator thread only.
//
// From the first open on no descriptor of the pty's slave is kept: so the kernel hangs the master
// up at the last close of the phone's software, and no close need be supervised. (A count of
// inotify's events would be wrong: it merges two that are alike.)
#pragma once

#include <string>
#include <string_view>

#include <termios.h>

#include <android-base/unique_fd.h>

namespace phone {

class Tty {
  public:
    // Makes the pty with the line settings that the kernel's driver begins with; not yet visible,
    // nor open. Throws phone::Error.
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
    // Whether an open of this path leads here: that of the node, or of the pty below.
    bool isAt(const std::string& path) const;

    // A descriptor that can be read when something has happened; takeEvent() comes first then.
    int events() const { return mEvents.get(); }
    void takeEvent() const;

    // Opens it for the phone's software, with its flags; on failure errno says why. What was left
    // unread at the last close is dropped, as the kernel does.
    android::base::unique_fd open(int flags);
    // Whether the phone's software has a descriptor of it.
    bool isOpen() const;

    termios settings() const;

    // What the phone has written since the last call.
    std::string read();

    // Bytes for the phone. They wait here while the pty is full or closed: the host does not ask a
    // device for input while its tty is closed.
    void send(std::string_view bytes) { mPending += bytes; }
    // Hands over what the pty takes.
    void flush();
    bool hasRoom() const;
    // Whether the phone has not read all that was sent; what is lost to it does not count.
    bool hasUnread() const;

  private:
    void watch(int operation, bool forRoom);

    const std::string mNode;
    std::string mPty;
    android::base::unique_fd mMaster;
    // An epoll instance, for edges: the master of a closed pty hangs up for as long as it is
    // closed.
    android::base::unique_fd mEvents;
    bool mAwaitsRoom = false;
    // Held until the first open(). A program without the filter opens the pty unseen, and its
    // closes then cost no wake-up.
    android::base::unique_fd mSlave;
    bool mIsUsedUnseen = false;  // such a program has written
    bool mPublished = false;
    std::string mPending;
};

}  // namespace phone
