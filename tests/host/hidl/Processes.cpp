#include "Processes.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

namespace hidltest {

ServiceDirectory::ServiceDirectory() {
    char path[] = "/tmp/hidl-test-XXXXXX";
    mPath = mkdtemp(path);
    setenv("HIDL_SOCKET_DIR", mPath.c_str(), 1);
}

ServiceDirectory::~ServiceDirectory() {
    std::filesystem::remove_all(mPath);
}

Child::Child(const std::function<int(Ready)>& body) {
    if (pipe2(mReady, O_CLOEXEC) != 0) abort();
    mPid = fork();
    if (mPid != 0) {
        close(mReady[1]);
        return;
    }
    close(mReady[0]);
    const int result = body([this] {
        if (write(mReady[1], "r", 1) != 1) abort();
    });
    // Through exit(), so that leaks are looked for in the child too.
    exit(result);
}

Child::~Child() {
    if (!mWaited) {
        kill(SIGKILL);
        wait();
    }
    close(mReady[0]);
}

bool Child::waitUntilReady() {
    char byte;
    return read(mReady[0], &byte, 1) == 1;
}

void Child::kill(int signal) {
    ::kill(mPid, signal);
}

int Child::wait() {
    int status = 0;
    while (waitpid(mPid, &status, 0) < 0 && errno == EINTR) {
    }
    mWaited = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

ServiceChild::ServiceChild(const std::function<sp<IBivista>()>& make)
    : Child([&](const Ready& ready) {
          sp<IBivista> service = make();
          ::android::hardware::configureRpcThreadpool(1, true);
          if (service->registerAsService() != ::android::OK) return 1;
          ready();
          ::android::hardware::joinRpcThreadpool();
          return 1;
      }) {
    EXPECT_TRUE(waitUntilReady());
}

sp<IBivista> getService() {
    sp<IBivista> service = IBivista::getService();
    EXPECT_NE(service, nullptr);
    return service;
}

int connectToService(const ServiceDirectory& directory) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "%s/%s/default", directory.path().c_str(),
             IBivista::descriptor);
    EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    return fd;
}

namespace {

size_t entriesOf(const std::string& folder) {
    const auto entries = std::filesystem::directory_iterator(folder);
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace

size_t threadsOf(pid_t process) {
    return entriesOf("/proc/" + std::to_string(process) + "/task");
}

size_t descriptorsOf(pid_t process) {
    return entriesOf("/proc/" + std::to_string(process) + "/fd");
}

void waitUntil(const std::function<bool()>& condition) {
    while (!condition()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

}  // namespace hidltest
