// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/Hidraw.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "emulator/phone/Error.h"

namespace phone {

using android::base::unique_fd;

namespace {

// As many as the kernel has.
constexpr int kMaxNumber = 63;
// A report and the byte of its number, at least.
constexpr size_t kMinReport = 2;

bool isClosed(const unique_fd& alive) {
    pollfd state = {alive.get(), 0, 0};
    return poll(&state, 1, 0) > 0;
}

// How /proc names a pipe to processes that have it open.
std::string nameOfPipe(const unique_fd& pipe) {
    struct stat status;
    if (fstat(pipe.get(), &status) != 0) throwErrno("cannot look at a pipe");
    return "pipe:[" + std::to_string(status.st_ino) + "]";
}

Verdict verdictOf(const HidAnswer& answer) {
    Verdict verdict;
    if (answer.askAgainAfter) {
        verdict.askAgainAfter = answer.askAgainAfter;
    } else if (answer.result < 0) {
        verdict.error = static_cast<int>(-answer.result);
    } else {
        verdict.result = answer.result;
        verdict.output = answer.report;
    }
    return verdict;
}

}  // namespace

void Hidraw::checkNumber(int number) {
    if (number < 0 || number > kMaxNumber) {
        throw Error("a hidraw node's number is 0 to " + std::to_string(kMaxNumber));
    }
    struct stat status;
    if (lstat(hidrawNode(number).c_str(), &status) == 0) {
        throw Error(hidrawNode(number) + " is there already");
    }
}

void Hidraw::plug(int number, HidListener& listener) {
    // A socket file: a program that is not supervised cannot open it, and its writes reach no
    // process.
    const std::string node = hidrawNode(number);
    if (mknod(node.c_str(), S_IFSOCK | 0600, 0) != 0) throwErrno("cannot make " + node);
    mNodes[node] = std::make_shared<Node>(Node{.path = node, .listener = &listener});
}

void Hidraw::hangUp(int number) {
    mNodes.at(hidrawNode(number))->hasDevice = false;
}

void Hidraw::unplug(int number) {
    hangUp(number);
    const std::string node = hidrawNode(number);
    unlink(node.c_str());
    mNodes.erase(node);
}

std::optional<Verdict> Hidraw::open(const std::string& path, const OpenCall& call, bool waited) {
    const auto found = mNodes.find(path);
    if (found == mNodes.end()) return std::nullopt;
    // A copy: the listener may unplug the device.
    const std::shared_ptr<Node> node = found->second;
    // An open that was under way comes to its end, as in the kernel, whose unplugging waits for it.
    if (!node->hasDevice && !waited) return verdictOf({.result = -ENODEV});
    const bool isFirst = std::none_of(mOpens.begin(), mOpens.end(),
                                      [&](const auto& open) { return open.second.node == node; });
    const HidAnswer answer =
            node->listener->hidOpened(path, {call.nameFlags(), isFirst, call.held}, waited);
    if (answer.askAgainAfter || answer.result < 0) return verdictOf(answer);
    return makeDescriptor(node, call);
}

Verdict Hidraw::makeDescriptor(const std::shared_ptr<Node>& node, const OpenCall& call) {
    unique_fd reader;
    Open open = {.node = node, .flags = call.flags, .alive = {}};
    if (!android::base::Pipe(&reader, &open.alive, O_CLOEXEC | (call.flags & O_NONBLOCK))) {
        throwErrno("cannot make a pipe");
    }
    mLoop.watch(open.alive.get(), 0, [this](short) { drain(); });
    mOpens[nameOfPipe(open.alive)] = std::move(open);
    Verdict verdict;
    verdict.replacement = std::move(reader);
    verdict.closeOnExec = (call.flags & O_CLOEXEC) != 0;
    verdict.numbers = kHidrawNumbers;
    return verdict;
}

int Hidraw::checkCall(const ReportCall& call, const Open& open, bool waited) {
    const bool writes = (open.flags & O_ACCMODE) != O_RDONLY;
    if (call.request.kind == HidRequest::Kind::Write && !writes) return EBADF;
    // One that was under way is cut off by the USB host; for any later one there is no device.
    if (!open.node->hasDevice) return waited ? ESHUTDOWN : ENODEV;
    if (call.request.size < kMinReport || call.request.size > kMaxReport) return EINVAL;
    return call.isReadable ? 0 : EFAULT;
}

Verdict Hidraw::decide(const ReportCall& call, bool waited) {
    const auto open = mOpens.find(call.file);
    if (open == mOpens.end()) return {};
    // A copy: the listener may unplug the device, and what is closed then goes from here.
    const std::shared_ptr<Node> node = open->second.node;
    if (const int error = checkCall(call, open->second, waited)) {
        node->listener->hidRefused(node->path, call.request, error);
        return verdictOf({.result = -error});
    }
    return verdictOf(node->listener->hidRequested(node->path, call.request, waited));
}

void Hidraw::drain() {
    for (auto open = mOpens.begin(); open != mOpens.end();) {
        if (!isClosed(open->second.alive)) {
            ++open;
            continue;
        }
        open->second.node->listener->hidClosed(open->second.node->path);
        mLoop.unwatch(open->second.alive.get());
        open = mOpens.erase(open);
    }
}

}  // namespace phone
