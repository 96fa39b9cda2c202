// A descriptor with one owner.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace android::hardware {

class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : mFd(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : mFd(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    ~UniqueFd() { reset(-1); }

    int get() const { return mFd; }
    bool ok() const { return mFd >= 0; }
    int release() { return std::exchange(mFd, -1); }

  private:
    void reset(int fd) {
        const int saved = errno;
        if (mFd >= 0) close(mFd);
        errno = saved;
        mFd = fd;
    }

    int mFd = -1;
};

}  // namespace android::hardware
