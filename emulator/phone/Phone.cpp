#include "emulator/phone/Phone.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "emulator/phone/Devices.h"
#include "emulator/phone/EventLoop.h"
#include "emulator/phone/Files.h"
#include "emulator/phone/Keeper.h"
#include "emulator/phone/Supervisor.h"
#include "emulator/phone/SyscallFilter.h"
#include "emulator/phone/Uevents.h"

namespace phone {

namespace {

// Set for what is supervised.
constexpr char kSupervisedVariable[] = "BIVISTA_SUPERVISED";

[[noreturn]] void throwSupervisedAlready() {
    throw Error("this process is supervised already: start it outside of the emulated phone");
}

[[noreturn]] void throwSupervision() {
    if (errno == EBUSY) throwSupervisedAlready();
    throwErrno(
            "cannot supervise the phone's software (it takes Linux 5.19 and seccomp user "
            "notification)");
}

// The panel's descriptors have high numbers in the phone's software, which inherits this limit.
void allowDescriptors() {
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur >= kEndWatched) return;
    const rlimit wanted = {kEndWatched, std::max<rlim_t>(limit.rlim_max, kEndWatched)};
    if (setrlimit(RLIMIT_NOFILE, &wanted) == 0) return;
    const std::string needed = std::to_string(kEndWatched);
    throw Error("the phone's software needs " + needed + " descriptors, and " +
                std::to_string(limit.rlim_max) +
                " is the most that is allowed here: allow more with \"ulimit -Hn " + needed +
                "\" as root, or start the container with \"--ulimit nofile=" + needed + "\"");
}

// What a child reports before it runs the program: the listener beside it, or an error.
struct Report {
    int error = 0;
};

union ControlBuffer {
    char bytes[CMSG_SPACE(sizeof(int))];
    cmsghdr header;
};

msghdr makeMessage(iovec* data, ControlBuffer* control) {
    msghdr message = {};
    message.msg_iov = data;
    message.msg_iovlen = 1;
    message.msg_control = control->bytes;
    message.msg_controllen = sizeof(control->bytes);
    return message;
}

// Async-signal-safe: runs in the child of a process with threads.
void sendReport(int socket, int error, int listener) {
    Report report = {error};
    iovec data = {&report, sizeof(report)};
    ControlBuffer control = {};
    msghdr message = makeMessage(&data, &control);
    if (listener < 0) {
        message.msg_controllen = 0;
    } else {
        cmsghdr* header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        memcpy(CMSG_DATA(header), &listener, sizeof(listener));
    }
    sendmsg(socket, &message, MSG_NOSIGNAL);
}

// False when the other side is gone.
bool receiveReport(int socket, Report* report, Fd* listener) {
    iovec data = {report, sizeof(*report)};
    ControlBuffer control = {};
    msghdr message = makeMessage(&data, &control);
    if (recvmsg(socket, &message, MSG_CMSG_CLOEXEC) != sizeof(*report)) return false;
    if (const cmsghdr* header = CMSG_FIRSTHDR(&message)) {
        int fd = -1;
        memcpy(&fd, CMSG_DATA(header), sizeof(fd));
        *listener = Fd(fd);
    }
    return true;
}

[[noreturn]] void runProgram(int socket, const std::vector<sock_filter>& filter,
                             char* const* argv) {
    // A keeper that is killed takes it along.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    const int listener = installFilter(filter);
    sendReport(socket, listener < 0 ? errno : 0, listener);
    if (listener >= 0) {
        close(listener);
        execvp(argv[0], argv);
        sendReport(socket, errno, -1);
    }
    _exit(127);
}

[[noreturn]] void runKeeper(pid_t phone, int socket, const std::vector<sock_filter>& filter,
                            char* const* argv) {
    becomeKeeper(phone);
    const pid_t program = fork();
    if (program == 0) runProgram(socket, filter, argv);
    if (program < 0) {
        sendReport(socket, errno, -1);
        _exit(127);
    }
    keep(program);
}

}  // namespace

struct Phone::Parts {
    Journal journal;
    EventLoop loop;
    Devices devices{loop, journal};
    Uevents uevents{journal};

    // Carries out `work` on the emulator thread and returns its result.
    template <typename Work>
    auto call(Work work) {
        using Result = decltype(work(devices));
        if constexpr (std::is_void_v<Result>) {
            loop.call([&] { work(devices); });
        } else {
            std::optional<Result> result;
            loop.call([&] { result.emplace(work(devices)); });
            return *std::move(result);
        }
    }
};

Phone::Phone() {
    // Its own files would be recorded by the phone around it.
    if (getenv(kSupervisedVariable) != nullptr) throwSupervisedAlready();
    allowDescriptors();
    mParts = std::make_unique<Parts>();
    mParts->journal.setSync(
            [parts = mParts.get()] { parts->loop.call([parts] { parts->devices.record(); }); });
    mParts->loop.start([parts = mParts.get()] { return parts->devices.turn(); });
}

Phone::~Phone() {
    // Nothing that was written is missing in the journal.
    mParts->call([](Devices& devices) { devices.record(); });
    mParts->loop.stop();
}

void Phone::superviseThisThread() {
    Fd listener(installFilter(makeFilter(findCLibrary(), Supervisor::handledCalls())));
    if (!listener) throwSupervision();
    setenv(kSupervisedVariable, "1", 1);
    mParts->call([&](Devices& devices) { devices.supervise(std::move(listener)); });
}

pid_t Phone::spawn(const std::vector<std::string>& command) {
    if (command.empty()) throw Error("no program to run was named");
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        throwErrno("cannot make a socket pair");
    }
    const Fd ours(ends[0]);
    Fd theirs(ends[1]);
    std::vector<char*> argv;
    argv.reserve(command.size() + 1);
    for (const std::string& argument : command) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    const std::vector<sock_filter> filter = makeFilter({}, Supervisor::handledCalls());
    setenv(kSupervisedVariable, "1", 1);

    const pid_t self = getpid();
    const pid_t child = fork();
    if (child < 0) throwErrno("cannot start a process");
    if (child == 0) runKeeper(self, theirs.get(), filter, argv.data());
    theirs = Fd();

    Report report;
    Fd listener;
    const bool told = receiveReport(ours.get(), &report, &listener);
    if (told && listener) {
        mParts->call([&](Devices& devices) { devices.supervise(std::move(listener)); });
        // Silence: the program runs.
        if (!receiveReport(ours.get(), &report, &listener)) return child;
    }
    waitpid(child, nullptr, 0);
    errno = told ? report.error : ECHILD;
    if (errno == EBUSY) throwSupervision();
    throwErrno("cannot run " + command[0]);
}

void Phone::attachCover(const CoverOptions& options) {
    mParts->call([&](Devices& devices) { devices.attachCover(options); });
}

void Phone::detachCover(Unread unread) {
    if (unread == Unread::Lost) {
        mParts->call([](Devices& devices) { devices.detachCover(); });
    } else {
        detachCoverWhenRead().get();
    }
}

std::future<void> Phone::detachCoverWhenRead() {
    return mParts->call([](Devices& devices) { return devices.detachCoverWhenRead(); });
}

void Phone::reattachCover() {
    mParts->call([](Devices& devices) { devices.reattachCover(); });
}

bool Phone::isCoverAttached() const {
    return mParts->call([](Devices& devices) { return devices.isCoverAttached(); });
}

cover::State Phone::coverState() const {
    return mParts->call([](Devices& devices) { return devices.controller().state(); });
}

std::vector<std::pair<std::string, std::string>> Phone::listCoverState() const {
    return mParts->call([](Devices& devices) { return devices.controller().listState(); });
}

cover::Options Phone::coverOptions() const {
    return mParts->call([](Devices& devices) { return devices.controller().options(); });
}

void Phone::setCoverOptions(cover::Options options) {
    mParts->call([&](Devices& devices) { devices.controller().setOptions(std::move(options)); });
}

void Phone::sendFromCover(const std::string& bytes) {
    mParts->call([&](Devices& devices) { devices.sendFromCover(bytes); });
}

cover::PanelState Phone::panelState() const {
    return mParts->call([](Devices& devices) { return devices.panel().state(); });
}

bool Phone::isPanelAttached() const {
    return mParts->call([](Devices& devices) { return devices.isPanelAttached(); });
}

cover::PanelOptions Phone::panelOptions() const {
    return mParts->call([](Devices& devices) { return devices.panel().options(); });
}

void Phone::setPanelOptions(const cover::PanelOptions& options) {
    mParts->call([&](Devices& devices) { devices.panel().setOptions(options); });
}

std::optional<cover::Picture> Phone::panelPicture() const {
    return mParts->call([](Devices& devices) {
        return devices.isPanelAttached() ? devices.panel().picture() : std::nullopt;
    });
}

bool Phone::logFromCover(const std::string& line) {
    return mParts->call([&](Devices& devices) { return devices.logFromCover(line); });
}

void Phone::setChatter(std::optional<cover::Chatter> chatter) {
    mParts->call([&](Devices& devices) { devices.setChatter(std::move(chatter)); });
}

std::optional<cover::Chatter> Phone::chatter() const {
    return mParts->call([](Devices& devices) { return devices.controller().chatter(); });
}

void Phone::attachForeignTty(int number, const std::string& idVendorText,
                             const std::string& idProductText) {
    mParts->call([&](Devices& devices) {
        devices.attachForeignTty(number, idVendorText, idProductText);
    });
}

void Phone::detachForeignTty(int number) {
    mParts->call([&](Devices& devices) { devices.detachForeignTty(number); });
}

void Phone::attachLoader(const std::string& serial, const std::string& product) {
    mParts->call([&](Devices& devices) {
        const cover::Options& options = devices.controller().options();
        devices.attachLoader({options.loaderVendor, options.loaderProduct, product, serial});
    });
}

void Phone::detachLoader() {
    mParts->call([](Devices& devices) { devices.detachLoader(); });
}

void Phone::sendToLoader(cover::LoaderEntry entry) {
    mParts->call([&](Devices& devices) { devices.sendToLoader(entry); });
}

void Phone::leaveLoader() {
    mParts->call([](Devices& devices) { devices.leaveLoader(); });
}

void Phone::putFirmware(const std::string& name, size_t size) {
    mParts->call([&](Devices& devices) { devices.putFirmware(name, size); });
}

std::vector<FirmwareFile> Phone::firmware() const {
    return mParts->call([](Devices& devices) { return devices.firmware(); });
}

void Phone::clearFirmware() {
    mParts->call([](Devices& devices) { devices.clearFirmware(); });
}

void Phone::raiseUevent(const std::string& message) {
    mParts->uevents.raise(message);
}

void Phone::raiseTouchEvent(const std::string& name) {
    mParts->uevents.raise(touchEventMessage(name));
}

void Phone::forgeUevent(const std::string& message) {
    mParts->uevents.forge(message);
}

void Phone::setProperty(const std::string& key, const std::string& value) {
    mParts->call([&](Devices& devices) { devices.setProperty(key, value); });
}

std::map<std::string, std::string> Phone::properties() const {
    return mParts->call([](Devices& devices) { return devices.properties(); });
}

void Phone::clearProperties() {
    mParts->call([](Devices& devices) { devices.clearProperties(); });
}

void Phone::setNode(const std::string& path, const std::string& text) {
    mParts->call([&](Devices& devices) { devices.setNode(path, text); });
}

void Phone::removeNode(const std::string& path) {
    mParts->call([&](Devices& devices) { devices.removeNode(path); });
}

std::optional<std::string> Phone::node(const std::string& path) const {
    return mParts->call([&](Devices& devices) { return devices.node(path); });
}

void Phone::wakeLock(bool held) {
    mParts->call([&](Devices& devices) { devices.wakeLock(held); });
}

void Phone::setFault(const std::string& text) {
    mParts->call([&](Devices& devices) { devices.setFault(text); });
}

std::vector<std::string> Phone::faults() const {
    return mParts->call([](Devices& devices) { return devices.faults(); });
}

void Phone::clearFaults() {
    mParts->call([](Devices& devices) { devices.clearFaults(); });
}

void Phone::reset() {
    mParts->call([](Devices& devices) { devices.reset(); });
}

Journal& Phone::journal() {
    return mParts->journal;
}

const Journal& Phone::journal() const {
    return mParts->journal;
}

}  // namespace phone
