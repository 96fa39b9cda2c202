#include "emulator/phone/Hidraw.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "emulator/phone/Files.h"
#include "emulator/phone/OpenFlags.h"
#include "emulator/phone/Phone.h"

namespace phone {

using cover::PanelCall;
using cover::PanelOutcome;

namespace {

// As many as the kernel has.
constexpr int kMaxNumber = 63;
// A report and the byte of its number, at least.
constexpr size_t kMinReport = 2;

std::string nodeOf(int number) {
    return "/dev/hidraw" + std::to_string(number);
}

PanelCall callOf(ReportCall::Kind kind) {
    switch (kind) {
        case ReportCall::Kind::GetFeature:
            return PanelCall::Info;
        case ReportCall::Kind::SetFeature:
            return PanelCall::Config;
        case ReportCall::Kind::Write:
            return PanelCall::Write;
    }
    return PanelCall::Any;
}

Kind journalKindOf(ReportCall::Kind kind) {
    switch (kind) {
        case ReportCall::Kind::GetFeature:
            return Kind::HidGet;
        case ReportCall::Kind::SetFeature:
            return Kind::HidSet;
        case ReportCall::Kind::Write:
            return Kind::HidWrite;
    }
    return Kind::HidWrite;
}

bool isClosed(const Fd& alive) {
    pollfd state = {alive.get(), 0, 0};
    return poll(&state, 1, 0) > 0;
}

// How /proc names a pipe to those who have it open.
std::string nameOfPipe(const Fd& pipe) {
    struct stat status;
    if (fstat(pipe.get(), &status) != 0) throwErrno("cannot look at a pipe");
    return "pipe:[" + std::to_string(status.st_ino) + "]";
}

// What a transfer of `size` bytes with this result adds to its record.
std::string noteOf(int64_t result, size_t size) {
    if (result < 0) return strerrorname_np(static_cast<int>(-result));
    return static_cast<size_t>(result) == size ? "" : "passed " + std::to_string(result);
}

Verdict refuse(int error) {
    Verdict verdict;
    verdict.error = error;
    return verdict;
}

Verdict later(cover::Time delay) {
    Verdict verdict;
    verdict.askAgainAfter = delay;
    return verdict;
}

}  // namespace

Hidraw::Hidraw(EventLoop& loop, Journal& journal, std::function<void()> pullOff)
    : mLoop(loop), mJournal(journal), mPullOff(std::move(pullOff)) {}

Hidraw::~Hidraw() = default;

void Hidraw::checkNumber(int number) {
    if (number < 0 || number > kMaxNumber) {
        throw Error("a hidraw node's number is 0 to " + std::to_string(kMaxNumber));
    }
    struct stat status;
    if (lstat(nodeOf(number).c_str(), &status) == 0) {
        throw Error(nodeOf(number) + " is there already");
    }
}

void Hidraw::plug(int number) {
    mPanel.powerUp();
    // A socket file: a program that is not supervised cannot open it, and writes to nobody.
    const std::string node = nodeOf(number);
    if (mknod(node.c_str(), S_IFSOCK | 0600, 0) != 0) throwErrno("cannot make " + node);
    mNode = node;
}

void Hidraw::unplug() {
    drain();
    unlink(mNode.c_str());
    mNode.clear();
    for (auto& [name, open] : mOpens) open.hasDevice = false;
    mPanel.powerDown();
}

std::optional<Verdict> Hidraw::open(const std::string& path, const OpenCall& call, bool waited) {
    if (!isPlugged() || path != mNode) return std::nullopt;
    if (!waited) {
        const cover::Time delay = mFaults.takeDelay(PanelCall::Open);
        if (delay > cover::Time::zero()) return later(delay);
    }
    const PanelOutcome outcome = mFaults.takeOutcome(PanelCall::Open);
    if (outcome.unplugs) mPullOff();
    const int error = outcome.unplugs ? ENODEV : outcome.error;
    const std::string flags = nameOpenFlags(call.flags);
    mJournal.add(Kind::HidOpen, path, {},
                 error == 0 ? flags : flags + " " + strerrorname_np(error));
    return error == 0 ? makeDescriptor(call) : refuse(error);
}

Verdict Hidraw::makeDescriptor(const OpenCall& call) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | (call.flags & O_NONBLOCK)) != 0) throwErrno("cannot make a pipe");
    Verdict verdict;
    verdict.replacement = Fd(ends[0]);
    Open open = {mNode, call.flags, Fd(ends[1])};
    mLoop.watch(open.alive.get(), 0, [this](short) { drain(); });
    mOpens[nameOfPipe(open.alive)] = std::move(open);
    verdict.closeOnExec = (call.flags & O_CLOEXEC) != 0;
    verdict.watched = true;
    return verdict;
}

int Hidraw::checkCall(const ReportCall& call, const Open& open) {
    const bool writes = (open.flags & O_ACCMODE) != O_RDONLY;
    if (call.kind == ReportCall::Kind::Write && !writes) return EBADF;
    if (!open.hasDevice) return ENODEV;
    if (call.size < kMinReport || call.size > kMaxReport) return EINVAL;
    return call.bytes ? 0 : EFAULT;
}

Verdict Hidraw::decide(const ReportCall& call, bool waited) {
    const auto open = mOpens.find(call.file);
    if (open == mOpens.end()) return {};
    const std::string node = open->second.node;
    if (const int error = checkCall(call, open->second)) {
        mJournal.add(journalKindOf(call.kind), node, call.bytes.value_or(""),
                     strerrorname_np(error));
        return refuse(error);
    }
    if (!waited) {
        const cover::Time delay = mFaults.takeDelay(callOf(call.kind));
        if (delay > cover::Time::zero()) return later(delay);
    }
    return transfer(call, node);
}

Verdict Hidraw::transfer(const ReportCall& call, const std::string& node) {
    const PanelOutcome outcome = mFaults.takeOutcome(callOf(call.kind));
    if (outcome.unplugs) mPullOff();
    std::string answer;
    const int64_t result = carryOut(call, outcome, &answer);
    const bool reads = call.kind == ReportCall::Kind::GetFeature;
    mJournal.add(journalKindOf(call.kind), node, reads && result >= 0 ? answer : *call.bytes,
                 noteOf(result, reads ? answer.size() : call.size));
    if (result < 0) return refuse(static_cast<int>(-result));
    Verdict verdict;
    verdict.result = result;
    verdict.output = answer;
    return verdict;
}

int64_t Hidraw::carryOut(const ReportCall& call, const PanelOutcome& outcome, std::string* answer) {
    if (outcome.unplugs) return -ENODEV;
    if (outcome.error != 0) return -outcome.error;
    const size_t passed = std::min<uint64_t>(call.size, outcome.pass.value_or(call.size));
    const std::string& bytes = *call.bytes;
    bool taken = false;
    if (call.kind == ReportCall::Kind::GetFeature) {
        const std::optional<std::string> report = mPanel.feature(static_cast<uint8_t>(bytes[0]));
        if (!report) return -EPIPE;
        *answer = report->substr(0, passed);
        return static_cast<int64_t>(answer->size());
    }
    if (call.kind == ReportCall::Kind::SetFeature) {
        // Half a configuration is none.
        taken = passed < bytes.size() || mPanel.setFeature(bytes);
    } else {
        taken = mPanel.write(bytes, passed);
    }
    // A panel that does not take a report stalls the request.
    return taken ? static_cast<int64_t>(passed) : -EPIPE;
}

void Hidraw::drain() {
    for (auto open = mOpens.begin(); open != mOpens.end();) {
        if (!isClosed(open->second.alive)) {
            ++open;
            continue;
        }
        mJournal.add(Kind::HidClose, open->second.node);
        mLoop.unwatch(open->second.alive.get());
        open = mOpens.erase(open);
    }
}

}  // namespace phone
