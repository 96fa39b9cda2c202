// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/ui/Door.h"

#include <csignal>
#include <cstdio>
#include <string>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include "cli/Message.h"
#include "emulator/phone/Error.h"

namespace ui {

namespace {

void launch(const std::string& file) {
    setsid();
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
    const int nothing = open("/dev/null", O_RDWR);
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dup2(nothing, fd);
    execlp("xdg-open", "xdg-open", file.c_str(), nullptr);
    _exit(127);
}

}  // namespace

Door::Door(const std::string& folder, const std::string& url) : mPath(folder + "/ui.html") {
    const std::string made = mPath + ".new";
    unlink(made.c_str());
    const android::base::unique_fd file(
            open(made.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
    const std::string text =
            "<!doctype html>\n<meta http-equiv=\"refresh\" content=\"0; url=" + url + "\">\n";
    struct stat status = {};
    if (!file.ok() ||
        write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        fstat(file.get(), &status) != 0 || rename(made.c_str(), mPath.c_str()) != 0) {
        phone::throwErrno("cannot write " + mPath);
    }
    mInode = status.st_ino;
}

Door::~Door() {
    struct stat status = {};
    if (stat(mPath.c_str(), &status) == 0 && status.st_ino == mInode) unlink(mPath.c_str());
}

void Door::openInBrowser() const {
    const pid_t child = fork();
    if (child == 0) launch(mPath);
    std::thread([child] {
        int status = 0;
        waitpid(child, &status, 0);
        if (status == 0) return;
        cli::complain("bivista-emulator",
                      "no browser could be opened (xdg-open): open the address by hand");
    }).detach();
}

}  // namespace ui
