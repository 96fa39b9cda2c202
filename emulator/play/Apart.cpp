// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Apart.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include "emulator/phone/Error.h"
#include "emulator/phone/world/Keeper.h"
#include "emulator/play/Player.h"

namespace play {

using android::base::unique_fd;
using std::chrono::steady_clock;

namespace fs = std::filesystem;

namespace {

constexpr char kPrefix[] = "bivista-scenario-";

// A folder of this user; else not valid.
unique_fd openOwn(const std::string& path) {
    unique_fd folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    const bool isOwn =
            folder.ok() && fstat(folder.get(), &status) == 0 && status.st_uid == geteuid();
    return isOwn ? std::move(folder) : unique_fd();
}

// Removes what players have left that were killed: folders that nobody has locked. One that is
// empty may be about to be locked.
void sweep(const fs::path& parent) {
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(parent, ignored)) {
        if (!entry.path().filename().string().starts_with(kPrefix)) continue;
        const unique_fd folder = openOwn(entry.path());
        const bool isLeft = folder.ok() && flock(folder.get(), LOCK_EX | LOCK_NB) == 0 &&
                            !fs::is_empty(entry.path(), ignored);
        if (isLeft) fs::remove_all(entry.path(), ignored);
    }
}

// Gone with the object. When this process is killed, the next player removes it.
class TemporaryFolder {
  public:
    TemporaryFolder() {
        const fs::path parent = fs::absolute(fs::temp_directory_path());
        sweep(parent);
        mPath = parent / (std::string(kPrefix) + "XXXXXX");
        if (mkdtemp(mPath.data()) == nullptr) phone::throwErrno("cannot make " + mPath);
        mLocked = openOwn(mPath);
        // Where there are no locks, nothing is removed.
        flock(mLocked.get(), LOCK_EX);
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        fs::remove_all(mPath, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return mPath; }

  private:
    std::string mPath;
    unique_fd mLocked;
};

// While it lives, the signals that are to end this program wait in its descriptor.
class EndingSignals {
  public:
    EndingSignals() {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
            struct sigaction now = {};
            sigaction(number, nullptr, &now);
            // As under nohup(1).
            if (now.sa_handler != SIG_IGN) sigaddset(&signals, number);
        }
        sigprocmask(SIG_BLOCK, &signals, &mBefore);
        mFd.reset(signalfd(-1, &signals, SFD_CLOEXEC));
    }
    ~EndingSignals() { sigprocmask(SIG_SETMASK, &mBefore, nullptr); }
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;

    int fd() const { return mFd.get(); }
    int take() const {
        signalfd_siginfo info = {};
        return read(mFd.get(), &info, sizeof(info)) == sizeof(info)
                       ? static_cast<int>(info.ssi_signo)
                       : SIGTERM;
    }

  private:
    sigset_t mBefore = {};
    unique_fd mFd;
};

// Whatever a scenario's process started and left is this process's child then.
class Processes {
  public:
    Processes() { prctl(PR_SET_CHILD_SUBREAPER, 1); }
    ~Processes() {
        phone::endChildren();
        prctl(PR_SET_CHILD_SUBREAPER, 0);
    }
    Processes(const Processes&) = delete;
    Processes& operator=(const Processes&) = delete;
};

std::string toJson(const Player::Verdict& verdict) {
    Json json = {{"no_service", verdict.noService}};
    if (const auto& failure = verdict.failure) {
        json["failure"] = {{"line", failure->place.line}, {"column", failure->place.column},
                           {"step", failure->step},       {"expected", failure->expected},
                           {"came", failure->came},       {"around", failure->around}};
    }
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Player::Verdict fromJson(const std::string& text) {
    const Json json = Json::parse(text, nullptr, false);
    // Only a process that was killed, or had no memory, says nothing.
    if (!json.is_object()) {
        return {Failure{{1, 1}, "start", "the scenario is played", "its player was killed", ""},
                true};
    }
    Player::Verdict verdict = {std::nullopt, json.at("no_service").get<bool>()};
    if (json.contains("failure")) {
        const Json& failure = json.at("failure");
        verdict.failure = {{failure.at("line").get<int>(), failure.at("column").get<int>()},
                           failure.at("step").get<std::string>(),
                           failure.at("expected").get<std::string>(),
                           failure.at("came").get<std::string>(),
                           failure.at("around").get<std::string>()};
    }
    return verdict;
}

Player::Verdict playOnStage(const Scenario& scenario, const Options& options,
                            const std::string& folder) {
    const std::string shown = options.keep.empty() ? "" : keptName(scenario, options) + ".png";
    try {
        const auto stage = options.running ? Stage::join(options.log) : Stage::make(folder);
        return Player(scenario, *stage, shown).play();
    } catch (const std::exception& error) {
        return {Failure{{1, 1}, "start", "the service serves", error.what(), ""}, true};
    }
}

void tell(std::string_view text, const unique_fd& output) {
    while (!text.empty()) {
        const ssize_t count = write(output.get(), text.data(), text.size());
        if (count <= 0) return;
        text.remove_prefix(static_cast<size_t>(count));
    }
}

[[noreturn]] void become(pid_t parent, const Scenario& scenario, const Options& options,
                         const std::string& folder, unique_fd output) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(0);
    tell(toJson(playOnStage(scenario, options, folder)), output);
    // Calls that have no answer may still wait.
    _exit(0);
}

// What the process says, up to its end. Throws Interrupted.
std::string hear(const unique_fd& input, const EndingSignals& signals) {
    std::string text;
    for (;;) {
        pollfd watched[] = {{signals.fd(), POLLIN, 0}, {input.get(), POLLIN, 0}};
        poll(watched, 2, -1);
        if ((watched[0].revents & POLLIN) != 0) throw Interrupted(signals.take());
        char buffer[1 << 16];
        const ssize_t count =
                watched[1].revents == 0 ? -1 : ::read(input.get(), buffer, sizeof(buffer));
        if (count == 0) return text;
        if (count > 0) text.append(buffer, static_cast<size_t>(count));
    }
}

void keepFile(const std::string& from, const std::string& to) {
    std::error_code error;
    // A phone that could not be made has written none.
    if (!fs::exists(from)) return;
    fs::copy_file(from, to, fs::copy_options::overwrite_existing, error);
    if (error) throw fs::filesystem_error("cannot keep a file", to, error);
}

}  // namespace

std::string keptName(const Scenario& scenario, const Options& options) {
    return fs::absolute(options.keep) / scenario.file.stem();
}

Result playApart(const Scenario& scenario, const Options& options) {
    const EndingSignals signals;
    const TemporaryFolder folder;
    const auto begin = steady_clock::now();
    std::string told;
    {
        const Processes processes;
        unique_fd input;
        unique_fd output;
        if (!android::base::Pipe(&input, &output, O_CLOEXEC))
            phone::throwErrno("cannot make a pipe");
        const pid_t parent = getpid();
        const pid_t child = fork();
        if (child < 0) phone::throwErrno("cannot start a process");
        if (child == 0) become(parent, scenario, options, folder.path(), std::move(output));
        output.reset();
        told = hear(input, signals);
    }
    const auto took = std::chrono::duration_cast<Milliseconds>(steady_clock::now() - begin);
    Player::Verdict verdict = fromJson(told);
    if (!options.keep.empty()) {
        keepFile(folder.path() + "/" + Stage::kJournal, keptName(scenario, options) + ".jsonl");
        keepFile(folder.path() + "/" + Stage::kLog, keptName(scenario, options) + ".log");
    }
    return {&scenario, std::move(verdict.failure), verdict.noService, took};
}

}  // namespace play
