// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/Supervisor.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include <fcntl.h>
#include <sys/ioctl.h>

#include "emulator/phone/EventLoop.h"

namespace phone {

using android::base::unique_fd;

namespace fs = std::filesystem;

namespace {

// The first of these numbers that is free for a descriptor.
std::optional<uint32_t> findFreeNumber(pid_t task, const Numbers& numbers) {
    const fs::path folder = "/proc/" + std::to_string(task) + "/fd";
    std::error_code error;
    for (uint32_t number = numbers.first; number < numbers.end; ++number) {
        const fs::path link = folder / std::to_string(number);
        if (fs::symlink_status(link, error).type() == fs::file_type::not_found) return number;
    }
    return std::nullopt;
}

void setHeld(Call& call, cover::Time held) {
    if (auto* const open = std::get_if<OpenCall>(&call)) open->held = held;
    if (auto* const report = std::get_if<ReportCall>(&call)) report->request.held = held;
}

}  // namespace

Supervisor::Supervisor(unique_fd listener, Decide decide)
    : mListener(std::move(listener)), mDecide(std::move(decide)) {}

bool Supervisor::replace(const seccomp_notif& notification, const Verdict& verdict) const {
    seccomp_notif_addfd add = {};
    add.id = notification.id;
    add.flags = SECCOMP_ADDFD_FLAG_SEND;
    add.srcfd = static_cast<uint32_t>(verdict.replacement.get());
    add.newfd_flags = verdict.closeOnExec ? O_CLOEXEC : 0;
    if (verdict.numbers) {
        const auto number = findFreeNumber(taskOf(notification), *verdict.numbers);
        if (!number) {
            errno = EMFILE;
            return false;
        }
        add.flags |= SECCOMP_ADDFD_FLAG_SETFD;
        add.newfd = *number;
    }
    if (ioctl(fd(), SECCOMP_IOCTL_NOTIF_ADDFD, &add) >= 0 || errno == ENOENT) return true;
    // The caller has lowered its limit below the number.
    if (errno == EBADF) errno = EMFILE;
    return false;
}

void Supervisor::reply(const seccomp_notif& notification, const Verdict& verdict) const {
    if (verdict.replacement.ok() && replace(notification, verdict)) return;
    seccomp_notif_resp answer = {};
    answer.id = notification.id;
    if (verdict.replacement.ok()) {
        // No descriptor is left to the caller, most likely.
        answer.error = -errno;
    } else if (verdict.error != 0) {
        answer.error = -verdict.error;
    } else if (!verdict.output.empty() && !writeReport(notification, verdict.output)) {
        answer.error = -EFAULT;
    } else if (verdict.result) {
        answer.val = *verdict.result;
    } else {
        answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    }
    // A caller that was killed in the meantime needs no answer.
    ioctl(fd(), SECCOMP_IOCTL_NOTIF_SEND, &answer);
}

bool Supervisor::isPending(const seccomp_notif& notification) const {
    uint64_t id = notification.id;
    return ioctl(fd(), SECCOMP_IOCTL_NOTIF_ID_VALID, &id) == 0;
}

void Supervisor::decide(Waiting call, bool waited) {
    const Verdict verdict = mDecide(call.call, waited);
    if (verdict.askAgainAfter) {
        const cover::Time now = EventLoop::now();
        if (!waited) call.came = now;
        call.due = now + *verdict.askAgainAfter;
        mWaiting.push_back(std::move(call));
    } else {
        reply(call.notification, verdict);
    }
}

void Supervisor::decideWaiting(cover::Time now) {
    const auto due = std::partition(mWaiting.begin(), mWaiting.end(),
                                    [now](const Waiting& call) { return call.due > now; });
    // Apart, since a decision may lead here again.
    std::vector<Waiting> calls(std::make_move_iterator(due),
                               std::make_move_iterator(mWaiting.end()));
    mWaiting.erase(due, mWaiting.end());
    for (Waiting& call : calls) {
        if (!isPending(call.notification)) continue;
        setHeld(call.call, EventLoop::now() - call.came);
        decide(std::move(call), true);
    }
}

std::optional<cover::Time> Supervisor::nextDeadline() const {
    std::optional<cover::Time> next;
    for (const Waiting& call : mWaiting) next = std::min(next.value_or(call.due), call.due);
    return next;
}

void Supervisor::answer() {
    seccomp_notif notification = {};
    // Fails when the caller was killed since it was announced.
    if (ioctl(fd(), SECCOMP_IOCTL_NOTIF_RECV, &notification) != 0) return;
    std::optional<Call> call = readCall(notification);
    // What was read belongs to the caller only if it still waits: ids of tasks are used again.
    if (!isPending(notification)) return;
    if (call) {
        decide({notification, *std::move(call)}, false);
    } else {
        reply(notification, {});
    }
}

}  // namespace phone
