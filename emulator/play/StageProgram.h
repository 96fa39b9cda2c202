// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A program that a scenario needs, as a process.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

#include <android-base/unique_fd.h>

namespace play {

// Descriptors that the program gets; -1: it has those of this process.
struct Descriptors {
    int in = -1;
    int out = -1;
    int err = -1;
};

// Killed with the object, and when this process dies, however that happens. To be used by the main
// thread alone. What the program starts is not killed with it.
class StageProgram {
  public:
    // The first word is looked up as a shell does; a program that cannot be executed ends with
    // status 127, and says so on its standard error. It runs in this folder; empty: that of this
    // process. Throws phone::Error when there is no process left.
    StageProgram(const std::vector<std::string>& words, const Descriptors& descriptors,
                 const std::string& folder = "");
    ~StageProgram();
    StageProgram(const StageProgram&) = delete;
    StageProgram& operator=(const StageProgram&) = delete;

    void signal(int number) const;
    // The status as waitpid() has it; nothing when it still runs after `limit`.
    std::optional<int> wait(std::chrono::milliseconds limit);
    // Becomes readable when it has ended.
    int pidfd() const { return mPidfd.get(); }

  private:
    const pid_t mPid;
    const android::base::unique_fd mPidfd;
    std::optional<int> mStatus;
};

// Waits until the descriptor can be read, or its other end is closed; false after `limit`.
bool awaitInput(int fd, std::chrono::milliseconds limit);

}  // namespace play
