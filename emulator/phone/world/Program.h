// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A program that runs on the phone below a keeper (Keeper.h), in its world with its system calls
// handed over.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>

#include <android-base/unique_fd.h>

namespace phone {

enum class Supervision { Full, None };

class Program {
  public:
    // Starts it; PATH applies. Supervised, it waits at its first call that is handed over until the
    // listener is answered. Throws phone::Error when it cannot be executed.
    explicit Program(const std::vector<std::string>& command,
                     Supervision supervision = Supervision::Full);

    // Ends as the program does; its parent waits for it.
    pid_t keeper() const { return mKeeper; }
    // For a Supervisor; none without supervision.
    android::base::unique_fd takeListener() { return std::move(mListener); }
    // A pidfd of the program itself; none when it has ended already.
    android::base::unique_fd takeProcess() { return std::move(mProcess); }

  private:
    pid_t mKeeper = -1;
    android::base::unique_fd mListener;
    android::base::unique_fd mProcess;
};

// Sends a signal to the program of a pidfd. Throws phone::Error when it does not run.
void signalProgram(const android::base::unique_fd& process, int number);

// Supervises the calling thread and what it starts from now on. Returns the listener for a
// Supervisor. Throws phone::Error when that cannot be.
android::base::unique_fd superviseCaller();

// Throws phone::Error when this process is supervised: its own files would be recorded by the phone
// around it.
void refuseSupervised();

}  // namespace phone
