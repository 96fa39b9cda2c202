// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/control/ControlServer.h"

#include <cstring>
#include <thread>

#include <fcntl.h>
#include <httplib.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include "emulator/phone/control/RequestThreads.h"
#include "emulator/phone/control/Routes.h"
#include "emulator/phone/control/SocketFolder.h"
#include "emulator/phone/control/WaitingRoom.h"
#include "emulator/phone/world/Files.h"

namespace control {

namespace {

constexpr char kTemporaryName[] = "emulator.sock.new";

bool isAnswered(const std::string& path) {
    const android::base::unique_fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    return connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
}

// The library's own backlog is 5, and a Unix socket refuses every client beyond it.
constexpr int kBacklog = 128;

class Server : public httplib::Server {
  public:
    void widenBacklog() { ::listen(svr_sock_, kBacklog); }
};

}  // namespace

class ControlServer::Impl {
  public:
    Impl(phone::Phone& phone, neighbours::Neighbours& neighbours, const std::string& folder);
    ~Impl();

  private:
    // A path into the folder that fits a socket address, however long the folder's own path is.
    std::string pathOf(const char* name) const {
        return "/proc/self/fd/" + std::to_string(mFolder.get()) + "/" + name;
    }
    void bind(const std::string& folder);

    const android::base::unique_fd mFolder;
    WaitingRoom mWaitingRoom;
    Server mServer;
    std::thread mThread;
    ino_t mSocket = 0;
};

ControlServer::Impl::Impl(phone::Phone& phone, neighbours::Neighbours& neighbours,
                          const std::string& folder)
    : mFolder(open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
      mWaitingRoom([&phone] { phone.journal().wake(); }) {
    if (!mFolder.ok()) phone::throwErrno("cannot open " + folder);
    addRoutes(mServer, {phone, neighbours, mWaitingRoom});
    mServer.new_task_queue = [] { return new RequestThreads; };
    mServer.set_payload_max_length(kMaxBody);
    bind(folder);

    sigset_t all;
    sigset_t old;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &old);
    mThread = std::thread([this] { mServer.listen_after_bind(); });
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    // A stop before the server runs would be lost, and the server would run for ever.
    while (!mServer.is_running()) std::this_thread::yield();
}

void ControlServer::Impl::bind(const std::string& folder) {
    if (isAnswered(pathOf(kSocketName))) {
        throw phone::Error("an emulator is running already on " + folder + "/" + kSocketName +
                           ": end it, or choose another folder with HIDL_SOCKET_DIR");
    }
    const std::string temporary = pathOf(kTemporaryName);
    unlink(temporary.c_str());
    if (!mServer.set_address_family(AF_UNIX).bind_to_port(temporary, 80)) {
        phone::throwErrno("cannot make a socket in " + folder);
    }
    mServer.widenBacklog();
    struct stat status = {};
    chmod(temporary.c_str(), 0600);
    stat(temporary.c_str(), &status);
    mSocket = status.st_ino;
    if (rename(temporary.c_str(), pathOf(kSocketName).c_str()) != 0) {
        phone::throwErrno("cannot make " + folder + "/" + kSocketName);
    }
}

ControlServer::Impl::~Impl() {
    struct stat status = {};
    const std::string path = pathOf(kSocketName);
    // Another emulator may have put its own socket there after ours was removed.
    if (stat(path.c_str(), &status) == 0 && status.st_ino == mSocket) unlink(path.c_str());
    // Before the stop, in which the HTTP library breaks off answers.
    mWaitingRoom.close();
    mServer.stop();
    mThread.join();
}

ControlServer::ControlServer(phone::Phone& phone, neighbours::Neighbours& neighbours,
                             const std::string& folder)
    : mImpl(std::make_unique<Impl>(phone, neighbours, folder)) {}

ControlServer::~ControlServer() = default;

}  // namespace control

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
// The HTTP library is not instrumented: its own locks hide what they guard from the sanitizer. So
// does the guard of its static regular expressions, whose code it takes from a program that has
// some.
extern "C" const char* __tsan_default_suppressions() {
    return "called_from_lib:libcpp-httplib.so\nrace:bits/regex\n";
}
#endif
#endif
