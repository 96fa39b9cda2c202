// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/cover/Microcontroller.h"

#include <algorithm>
#include <utility>

namespace cover {
namespace {

const char* serialOf(LoaderEntry entry) {
    return entry == LoaderEntry::OnRequest ? "00000000001A" : "00000000001B";
}

}  // namespace

Microcontroller::Microcontroller(Options options) : mOptions(std::move(options)) {
    mDispatcher.add(mBasic.routes());
    mDispatcher.add(mScreen.routes());
    mDispatcher.add(mFirmware.routes());
    mDispatcher.add(mTouch.routes());
    mDispatcher.add(mLog.routes());
}

UsbIdentity Microcontroller::usbIdentity() const {
    if (!mLoader) return mOptions.usb;
    return {mOptions.loaderVendor, mOptions.loaderProduct, mOptions.usb.productName,
            serialOf(*mLoader)};
}

// Whatever was under way ends with a change of power.
void Microcontroller::turn(Power power) {
    mChannel.reset();
    mTransmitter.reset(Time::zero());
    mStream.reset();
    mDeparture.reset();
    mLoader.reset();
    mLoaderIsUp = false;
    // A plan goes along into the loader; what is being written does not survive.
    if (power != Power::Loader || mUpgrade.phase() == Upgrade::Phase::Writing) mUpgrade.reset();
    mState.power = power;
}

// Starts the next reply, unless one is under way or the device is about to leave.
void Microcontroller::takeUpLine() {
    if (!mTransmitter.idle() || mDeparture || !mChannel.hasLine()) return;
    const CommandLine line = mChannel.takeLine();
    const std::vector<Fault> taken = mFaults.take(line.text);
    std::string echo = mState.echo ? line.text + '\r' : "";
    const Answer answer = execute(line, refuses(taken));
    mLeaveTo = answer.leaveTo;
    if (!mState.streamsLog()) mStream.reset();
    mStream.announceReply(line.arrival);

    Reply reply = makeReply(std::move(echo), answer);
    if (!mOptions.banner.empty() && mState.commands == 1) reply.delay += mOptions.bannerTime;
    apply(taken, reply);
    mTransmitter.start(reply, std::max(line.arrival, mTransmitter.due()));
}

Answer Microcontroller::execute(const CommandLine& line, bool refuse) {
    ++mState.commands;
    if (refuse) return refused();
    Answer answer = line.tooLong ? refused() : mDispatcher.dispatch(line.text);
    if (!answer.ok) ++mState.refused;
    return answer;
}

void Microcontroller::finishReply() {
    if (mLeaveTo && !mDeparture) {
        mDeparture = Departure{mTransmitter.due() + mOptions.loaderDelay, mLeaveTo};
    }
    takeUpLine();
}

// That of a reset or a command goes ahead of one for an upgrade.
std::optional<Microcontroller::Departure> Microcontroller::nextDeparture() const {
    if (mDeparture || mState.power != Power::Running) return mDeparture;
    if (mUpgrade.phase() != Upgrade::Phase::Planned) return std::nullopt;
    return Departure{*mUpgrade.due(), LoaderEntry::OnRequest};
}

void Microcontroller::depart(std::vector<Action>& actions) {
    std::optional<LoaderEntry> to = nextDeparture()->loader;
    // Without firmware it cannot come back as anything else.
    if (!to && !mIsBootable) to = LoaderEntry::Error;
    turn(to ? Power::Loader : Power::Off);
    mLoader = to;
    actions.push_back({.kind = Action::Kind::Reenumerate, .identity = usbIdentity()});
}

bool Microcontroller::departureIsNext(Time now) const {
    const std::optional<Departure> next = nextDeparture();
    return next && next->at <= now && (mTransmitter.idle() || next->at <= mTransmitter.due());
}

void Microcontroller::beginWriting(Time now) {
    // What was there is erased first.
    mIsBootable = false;
    mUpgrade.begin(now, mOptions.upgradeTime);
}

// Takes one step of the writing that is due; false when there is none.
bool Microcontroller::writeFirmware(Time now, std::vector<Action>& actions) {
    if (mUpgrade.phase() != Upgrade::Phase::Writing) return false;
    const Time due = *mUpgrade.due();
    if (due > now || (mDeparture && mDeparture->at < due)) return false;
    const int percent = mUpgrade.step();
    actions.push_back({.kind = Action::Kind::Progress, .percent = percent});
    if (percent == 100) {
        mIsBootable = true;
        mOptions.version = mUpgrade.version();
        mDeparture = Departure{due, std::nullopt};
        mUpgrade.reset();
    }
    return true;
}

bool Microcontroller::transmitterIsDue(Time now) const {
    return !mTransmitter.idle() && mTransmitter.due() <= now;
}

// Lines of the log go between replies.
bool Microcontroller::sendLog(std::vector<Action>& actions) {
    if (!mTransmitter.lineIsFree() || !mStream.hasWaiting()) return false;
    actions.push_back({.kind = Action::Kind::Send, .bytes = mStream.takeWaiting()});
    return true;
}

// When a line of chatter may be sent, if nothing changes.
std::optional<Time> Microcontroller::nextChatter() const {
    if (mState.power != Power::Running || !mTransmitter.lineIsFree()) return std::nullopt;
    const std::optional<Time> due = mStream.chatterDue();
    // A reply goes ahead of the chatter, which has no end.
    if (!mTransmitter.idle() && due >= mTransmitter.due()) return std::nullopt;
    return due;
}

bool Microcontroller::sendChatter(Time now, std::vector<Action>& actions) {
    const std::optional<Time> due = nextChatter();
    if (!due || *due > now) return false;
    actions.push_back({.kind = Action::Kind::Send, .bytes = mStream.takeChatter(now)});
    return true;
}

void Microcontroller::powerUp(Time now) {
    if (!mIsBootable) return powerUpInLoader(LoaderEntry::Error, now);
    mState = State{};
    turn(Power::Running);
    mTransmitter.reset(now);
}

void Microcontroller::powerUpInLoader(LoaderEntry entry, Time now) {
    mState = State{};
    turn(Power::Loader);
    mLoader = entry;
    mLoaderIsUp = true;
    if (mUpgrade.phase() == Upgrade::Phase::Planned) beginWriting(now);
}

bool Microcontroller::startUpgrade(std::string version, Time now) {
    if (mState.power == Power::Off) return false;
    if (mUpgrade.phase() != Upgrade::Phase::None) return false;
    mUpgrade.plan(std::move(version), now + mOptions.upgradeDelay);
    if (mLoaderIsUp) beginWriting(now);
    return true;
}

bool Microcontroller::cancelUpgrade() {
    const bool isWaiting =
            mState.power == Power::Running && mUpgrade.phase() == Upgrade::Phase::Planned;
    if (isWaiting) mUpgrade.reset();
    return isWaiting;
}

void Microcontroller::recover(Time now) {
    if (mState.power == Power::Off || mDeparture) return;
    mDeparture = Departure{now + mOptions.recoveryDelay, std::nullopt};
}

size_t Microcontroller::receive(std::string_view bytes, Time now) {
    if (mState.power != Power::Running) return bytes.size();
    const size_t heard = hear(bytes);
    mState.lost += mChannel.receive(bytes.substr(0, heard), now);
    takeUpLine();
    return heard;
}

// How many of the bytes come ahead of a command that the cover is deaf to.
size_t Microcontroller::hear(std::string_view bytes) {
    if (!mayBeDeaf()) return bytes.size();
    std::string line = mChannel.partial();
    size_t begin = 0;
    while (!mState.deaf && begin < bytes.size()) {
        const size_t end = std::min(bytes.find('\r', begin), bytes.size());
        line += bytes.substr(begin, end - begin);
        line.erase(0, line.find_first_not_of('\n'));
        mState.deaf = mFaults.takeDeaf(line);
        if (mState.deaf) return begin;
        line.clear();
        begin = end + 1;
    }
    return std::min(begin, bytes.size());
}

bool Microcontroller::removeFault(std::string_view text) {
    const std::optional<Fault> removed = mFaults.remove(text);
    if (removed && removed->effect == Fault::Effect::Deaf) mState.deaf = false;
    return removed.has_value();
}

void Microcontroller::clearFaults() {
    mFaults.clear();
    mState.deaf = false;
}

void Microcontroller::setDtr(bool raised) {
    mState.dtr = raised;
    if (!raised) mStream.reset();
}

bool Microcontroller::log(std::string_view line, Time now) {
    return mState.power == Power::Running && mStream.add(line, now);
}

void Microcontroller::setChatter(std::optional<Chatter> chatter, Time now) {
    mStream.setChatter(std::move(chatter), now);
}

std::optional<Time> Microcontroller::nextDeadline() const {
    std::optional<Time> next;
    if (!mTransmitter.idle()) next = mTransmitter.due();
    const auto consider = [&next](Time due) { next = std::min(next.value_or(Time::max()), due); };
    if (const std::optional<Departure> departure = nextDeparture()) {
        consider(departure->at);
    }
    if (mUpgrade.phase() == Upgrade::Phase::Writing) consider(*mUpgrade.due());
    if (mTransmitter.lineIsFree()) {
        if (const std::optional<Time> lines = mStream.waitingSince()) consider(*lines);
    }
    if (const std::optional<Time> chatter = nextChatter()) consider(*chatter);
    return next;
}

std::vector<Action> Microcontroller::poll(Time now) {
    std::vector<Action> actions;
    for (;;) {
        if (writeFirmware(now, actions)) continue;
        if (departureIsNext(now)) {
            depart(actions);
            return actions;
        }
        if (sendLog(actions)) continue;
        if (!transmitterIsDue(now)) {
            sendChatter(now, actions);
            return actions;
        }
        switch (mTransmitter.step(now, actions)) {
            case Transmitter::Step::Sent:
                break;
            case Transmitter::Step::FloodSent:
                return actions;
            case Transmitter::Step::HungUp:
                turn(Power::Off);
                actions.push_back({.kind = Action::Kind::HangUp});
                return actions;
            case Transmitter::Step::Finished:
                finishReply();
                break;
        }
    }
}

}  // namespace cover
