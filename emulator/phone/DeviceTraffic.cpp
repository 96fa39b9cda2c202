// What passes between the phone's software and its devices.

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <sys/ioctl.h>

#include "emulator/phone/Devices.h"
#include "emulator/phone/Files.h"
#include "emulator/phone/OpenFlags.h"

namespace phone {

void Devices::watch(Tty& tty) {
    mLoop.watch(tty.master(), POLLIN, [this, &tty](short events) {
        if ((events & POLLOUT) != 0) flush(tty);
        readTty(tty);
    });
}

void Devices::readTty(Tty& tty) {
    const std::string bytes = tty.read();
    // What was written to control files before these bytes comes before them.
    recordFiles();
    for (size_t at = 0; at < bytes.size();) {
        const size_t end = std::min(bytes.find('\r', at), bytes.size() - 1) + 1;
        mJournal.add(Kind::TtyRx, tty.node(), bytes.substr(at, end - at));
        at = end;
    }
    if (mCover && &tty == mCover->tty.get()) mController->receive(bytes, EventLoop::now());
}

void Devices::recordFiles() {
    mFiles.drain();
    mHidraw.drain();
}

void Devices::record() {
    recordFiles();
    if (mCover && mCover->tty) readTty(*mCover->tty);
    for (const auto& [number, foreign] : mForeign) readTty(*foreign->tty);
}

void Devices::send(Tty& tty, const std::string& bytes) {
    // First the record: the phone's software may act on the bytes at once.
    mJournal.add(Kind::TtyTx, tty.node(), bytes);
    tty.send(bytes);
    flush(tty);
}

void Devices::flush(Tty& tty) {
    tty.flush();
    mLoop.setEvents(tty.master(), static_cast<short>(POLLIN | (tty.isFlushed() ? 0 : POLLOUT)));
}

void Devices::supervise(Fd listener) {
    const int fd = listener.get();
    mSupervisors.try_emplace(fd, std::move(listener), [this](const Call& call, bool waited) {
        return std::visit([&](const auto& c) { return decide(c, waited); }, call);
    });
    mLoop.watch(fd, POLLIN, [this, fd](short events) {
        if ((events & POLLIN) != 0) {
            mSupervisors.at(fd).answer();
            return;
        }
        // Nobody is left who is supervised by it.
        mLoop.unwatch(fd);
        mSupervisors.erase(fd);
    });
}

void Devices::decideWaiting(std::optional<cover::Time> now) {
    for (auto& [fd, supervisor] : mSupervisors) supervisor.decideWaiting(now);
}

Verdict Devices::decide(const OpenCall& call, bool waited) {
    if (!isOfWorld(call.path)) return {};
    // What the caller wrote before comes first.
    record();
    try {
        Verdict verdict = mFiles.decide(call);
        if (verdict.error != 0 || verdict.replacement || call.isTest) return verdict;
        std::optional<Verdict> ofPanel = mHidraw.open(resolveFolder(call.path), call, waited);
        if (ofPanel) return *std::move(ofPanel);
        noteTtyOpen(call);
        return verdict;
    } catch (const std::exception&) {
        // Out of descriptors or memory: so is the phone's kernel.
        Verdict verdict;
        verdict.error = ENFILE;
        return verdict;
    }
}

// A pty knows no modem lines; the tty of an ACM device does.
Verdict Devices::decide(const IoctlCall& call, bool /*waited*/) {
    const Tty* tty = findTty(call.file);
    if (tty == nullptr) return {};
    // What the caller wrote before comes first.
    record();
    Verdict verdict;
    if (!call.value) {
        verdict.error = EFAULT;
        return verdict;
    }
    if ((*call.value & TIOCM_DTR) != 0) setDtr(*tty, call.request == TIOCMBIS);
    verdict.result = 0;
    return verdict;
}

Verdict Devices::decide(const ReportCall& call, bool waited) {
    // What the caller wrote before comes first.
    record();
    return mHidraw.decide(call, waited);
}

void Devices::noteTtyOpen(const OpenCall& call) {
    const Tty* tty = findTty(resolveFolder(call.path));
    if (tty == nullptr) return;
    mJournal.add(Kind::TtyOpen, tty->node(), {}, nameOpenFlags(call.flags));
    // As the kernel does at each open. Nothing lowers it at the close: HUPCL is not set.
    setDtr(*tty, true);
}

Tty* Devices::findTty(const std::string& path) const {
    const auto isIt = [&path](const std::unique_ptr<Plugged>& device) {
        return device && device->tty && (path == device->tty->node() || path == device->tty->pty());
    };
    if (isIt(mCover)) return mCover->tty.get();
    for (const auto& [number, foreign] : mForeign) {
        if (isIt(foreign)) return foreign->tty.get();
    }
    return nullptr;
}

void Devices::setDtr(const Tty& tty, bool raised) {
    // Only the cover looks at it.
    if (!mCover || &tty != mCover->tty.get() || mController->state().dtr == raised) return;
    mJournal.add(Kind::Dtr, tty.node(), {}, raised ? "raised" : "lowered");
    mController->setDtr(raised);
}

void Devices::nodeWritten(const std::string& path, const std::string& bytes) {
    if (path == kFirmwareWrite) controlFirmware(bytes);
    // As the driver: the first byte counts.
    if (path == kRecovery && bytes[0] == 'Y' && mCover) mController->recover(EventLoop::now());
}

}  // namespace phone
