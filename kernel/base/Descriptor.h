// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A file descriptor that is closed at the end of its scope; errno survives the close.
#pragma once

#include <cerrno>

#include <unistd.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

// Puts errno back at the end of its scope: callers print the cause of a failure after clean-up.
class ErrnoKeeper {
  public:
    ErrnoKeeper() = default;
    ~ErrnoKeeper() { errno = mErrno; }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

  private:
    const int mErrno = errno;
};

class Descriptor {
  public:
    // Takes the result of an open: a descriptor, or a negative value for none.
    explicit Descriptor(int fd) : mFd(fd) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    bool isOpen() const { return mFd >= 0; }
    int get() const { return mFd; }

    void close() {
        if (mFd < 0) return;
        const ErrnoKeeper keeper;
        ::close(mFd);
        mFd = -1;
    }

  private:
    int mFd;
};

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
