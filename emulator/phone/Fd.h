// A file descriptor that is closed when it is given up.
#pragma once

#include <utility>

#include <unistd.h>

namespace phone {

class Fd {
  public:
    Fd() = default;
    // Takes the result of an open: a descriptor, or a negative value for none.
    explicit Fd(int fd) : mFd(fd) {}
    Fd(Fd&& other) noexcept : mFd(std::exchange(other.mFd, -1)) {}
    Fd& operator=(Fd&& other) noexcept {
        std::swap(mFd, other.mFd);
        return *this;
    }
    ~Fd() {
        if (mFd >= 0) close(mFd);
    }

    int get() const { return mFd; }
    explicit operator bool() const { return mFd >= 0; }

  private:
    int mFd = -1;
};

}  // namespace phone
