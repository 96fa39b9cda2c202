// What passes between the phone's software and its devices.

#include <algorithm>
#include <cerrno>

#include <poll.h>

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
    mFiles.drain();
    for (size_t at = 0; at < bytes.size();) {
        const size_t end = std::min(bytes.find('\r', at), bytes.size() - 1) + 1;
        mJournal.add(Kind::TtyRx, tty.node(), bytes.substr(at, end - at));
        at = end;
    }
    if (mCover && &tty == mCover->tty.get()) mController->receive(bytes, EventLoop::now());
}

void Devices::record() {
    mFiles.drain();
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
    mSupervisors.try_emplace(fd, std::move(listener),
                             [this](const OpenCall& call) { return decide(call); });
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

Verdict Devices::decide(const OpenCall& call) {
    if (!isOfWorld(call.path)) return {};
    // What the caller wrote before comes first.
    record();
    try {
        Verdict verdict = mFiles.decide(call);
        if (verdict.error == 0 && !verdict.replacement && !call.isTest) noteTtyOpen(call);
        return verdict;
    } catch (const std::exception&) {
        // Out of descriptors or memory: so is the phone's kernel.
        Verdict verdict;
        verdict.error = ENFILE;
        return verdict;
    }
}

void Devices::noteTtyOpen(const OpenCall& call) {
    if (!mCover || !mCover->tty) return;
    const Tty& tty = *mCover->tty;
    const std::string path = resolveFolder(call.path);
    if (path != tty.node() && path != tty.pty()) return;
    mJournal.add(Kind::TtyOpen, tty.node(), {}, nameOpenFlags(call.flags));
    // The kernel's driver raises it with the first open.
    mController->setDtr(true);
}

void Devices::nodeWritten(const std::string& path, const std::string& bytes) {
    // As the driver: the first byte counts.
    if (path == kRecovery && bytes[0] == 'Y' && mCover) mController->recover(EventLoop::now());
}

}  // namespace phone
