// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/play/Stage.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "emulator/phone/Error.h"
#include "emulator/phone/control/Ability.h"
#include "emulator/phone/control/SocketFolder.h"
#include "emulator/phone/world/ServiceProgram.h"
#include "emulator/timeline/Spelling.h"

namespace play {

using android::base::unique_fd;
using std::chrono::steady_clock;

namespace {

// What takes longer than this has failed.
constexpr Milliseconds kLongestStart(30'000);
// Of a phone that was told to end; then it is killed.
constexpr Milliseconds kLongestEnd(5'000);
// A journal that grows without end must not hold the player.
constexpr Milliseconds kLongestPull(10'000);
constexpr Milliseconds kBetweenLooks(50);

constexpr char kErrors[] = "errors";
constexpr char kRegistry[] = "hidl";

// Waits for a line before it becomes the service, whose log goes into the file of the first word.
constexpr char kService[] = R"(echo && read -r go && exec "$@" >>"$0" 2>&1)";

void makePipe(unique_fd* output, unique_fd* input) {
    if (!android::base::Pipe(output, input, O_CLOEXEC)) phone::throwErrno("cannot make a pipe");
}

unique_fd makeFile(const std::string& path) {
    unique_fd file(open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    if (!file.ok()) phone::throwErrno("cannot make " + path);
    return file;
}

// The text of a small file, without its last line end.
std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    std::string text(4096, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<size_t>(file.gcount()));
    if (text.ends_with('\n')) text.pop_back();
    return text;
}

// The last lines of the log, each in a line of its own.
std::string tellLog(const Stream<LogLine>& lines) {
    constexpr size_t kLast = 5;
    if (lines.end() == 0) return "; its log is empty";
    std::string text = "; its log ends with:";
    for (size_t i = lines.end() - std::min(kLast, lines.end() - lines.begin()); i < lines.end();
         ++i) {
        text += std::string("\n") + lines[i].priority + " " + timeline::spell(lines[i].text);
    }
    return text;
}

}  // namespace

Stage::Stage(const std::string& folder, const std::string& registry, const std::string& log)
    : mFolder(folder),
      mRegistry(registry),
      mRegistryFd(open(registry.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)),
      mLog(log),
      // However long the folder's own path is.
      mClient(std::make_unique<emulator::Client>(
              "/proc/self/fd/" + std::to_string(mRegistryFd.get()) + "/" + control::kSocketName)) {}

std::unique_ptr<Stage> Stage::make(const std::string& folder) {
    const std::string log = folder + "/" + kLog;
    makeFile(log);
    control::makeSocketFolder(folder + "/" + kRegistry);
    std::unique_ptr<Stage> stage(new Stage(folder, folder + "/" + kRegistry, log));
    setenv("HIDL_SOCKET_DIR", stage->mRegistry.c_str(), 1);
    stage->startPhone();
    return stage;
}

void Stage::startPhone() {
    unique_fd in;
    unique_fd out;
    makePipe(&in, &mGo);
    makePipe(&mReady, &out);
    const unique_fd errors = makeFile(mFolder + "/" + kErrors);
    mPhone = std::make_unique<StageProgram>(
            std::vector<std::string>{std::filesystem::read_symlink("/proc/self/exe"), "run",
                                     "--no-cover", "--journal", mFolder + "/" + kJournal, "--",
                                     "sh", "-c", kService, mFolder + "/" + kLog,
                                     phone::findService()},
            Descriptors{in.get(), out.get(), errors.get()});
    in.reset();
    out.reset();
    char line = 0;
    const bool isReady =
            awaitInput(mReady.get(), kLongestStart) && read(mReady.get(), &line, 1) == 1;
    if (isReady) return;
    const std::string why = contentOf(mFolder + "/" + kErrors);
    throw Gone("there is no phone: " + (why.empty() ? "it does not come up" : why));
}

std::unique_ptr<Stage> Stage::join(const std::string& log) {
    const std::string registry = std::filesystem::absolute(control::socketFolder());
    // For programs that run in other folders.
    setenv("HIDL_SOCKET_DIR", registry.c_str(), 1);
    std::unique_ptr<Stage> stage(new Stage("", registry, log));
    stage->mLog.skip();
    stage->pullPages(Milliseconds(0));
    stage->mStreams = {};
    return stage;
}

Stage::~Stage() {
    if (mPhone == nullptr || mHasEnded) return;
    mGo.reset();
    mPhone->signal(SIGTERM);
    mPhone->wait(kLongestEnd);
}

void Stage::begin() {
    // A phone that has ended meanwhile is found by the next request.
    (void)!write(mGo.get(), "\n", 1);
}

// Nothing when the phone has ended, and that was meant.
std::optional<Json> Stage::tryAsk(const std::string& method, const std::string& path,
                                  const Json& values) {
    if (mHasEnded) return std::nullopt;
    const httplib::Result result = mClient->ask(method, path, values);
    constexpr int kDone = 200;
    constexpr int kEnding = 410;
    if (!result || result->status == kEnding) {
        noteEnd(emulator::tellNoAnswer(result.error(), mRegistry));
        return std::nullopt;
    }
    Json answer = emulator::parseJson(result->body);
    if (!answer.is_object()) throw Gone("what answers in " + mRegistry + " is no emulator");
    if (result->status != kDone) throw Refused(answer.value("error", "without a reason"));
    return answer;
}

Json Stage::ask(const std::string& method, const std::string& path, const Json& values) {
    if (std::optional<Json> answer = tryAsk(method, path, values)) return *std::move(answer);
    throw Gone("the phone has ended, as its service has");
}

const Json& Stage::look(const std::string& path) {
    const auto now = steady_clock::now();
    Look& look = mLooks[path];
    if (look.answer.is_null() || now - look.time >= kBetweenLooks) {
        look = {now, ask("GET", path)};
    }
    return look.answer;
}

void Stage::pull(Milliseconds wait) {
    if (mHasEnded) {
        std::this_thread::sleep_for(wait);
    } else {
        pullPages(wait);
    }
    mLog.readInto(mStreams.lines);
}

// Up to the entries of now, also where new ones come all the time.
void Stage::pullPages(Milliseconds wait) {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto end = steady_clock::now() + wait + kLongestPull;
    for (bool isBehind = true; isBehind && steady_clock::now() < end; wait = Milliseconds(0)) {
        const std::optional<Json> page = tryAsk(
                "GET", "/v1/journal",
                {{"since", mNext}, {"limit", control::kMostEntries}, {"wait_ms", wait.count()}});
        if (!page) return;
        const auto next = page->value("next", uint64_t{0});
        isBehind = next > mNext;
        for (const Json& object : page->value("entries", Json::array())) {
            if (!addEntry(object, mStreams.entries)) continue;
            const phone::Entry& last = mStreams.entries[mStreams.entries.end() - 1];
            isBehind = last.wall < now;
        }
        mNext = std::max(mNext, next);
    }
}

// The phone does not answer. It may be about to end.
void Stage::noteEnd(const std::string& why) {
    if (mPhone == nullptr) {
        if (!mIsEndMeant) throw Gone(why);
        mHasEnded = true;
        return;
    }
    const std::optional<int> status = mPhone->wait(kLongestEnd);
    if (!status) throw Gone("the phone does not answer any more");
    mHasEnded = true;
    readJournalFile();
    mLog.readInto(mStreams.lines);
    if (!mIsEndMeant) throw Gone(tellEnd(*status));
}

// The entries that no request has given: those of the phone's last moments.
void Stage::readJournalFile() {
    std::ifstream file(mFolder + "/" + kJournal);
    for (std::string line; std::getline(file, line);) {
        const Json object = emulator::parseJson(line);
        if (!object.is_object() || object.value("seq", uint64_t{0}) < mNext) continue;
        addEntry(object, mStreams.entries);
    }
}

std::string Stage::tellEnd(int waitStatus) const {
    constexpr int kPhoneFailed = 125;
    constexpr int kSignal = 128;
    if (WIFSIGNALED(waitStatus)) {
        return std::string("the phone was killed: SIG") + sigabbrev_np(WTERMSIG(waitStatus));
    }
    const int status = WEXITSTATUS(waitStatus);
    if (status == kPhoneFailed) return "the phone failed: " + contentOf(mFolder + "/" + kErrors);
    const char* name = status > kSignal ? sigabbrev_np(status - kSignal) : nullptr;
    return "the service " +
           (name != nullptr ? std::string("was ended by SIG") + name
                            : "ended with status " + std::to_string(status)) +
           tellLog(mStreams.lines);
}

}  // namespace play
