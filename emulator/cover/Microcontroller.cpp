#include "emulator/cover/Microcontroller.h"

#include <algorithm>
#include <utility>

#include "emulator/cover/BasicService.h"
#include "emulator/cover/Channel.h"
#include "emulator/cover/Dispatcher.h"
#include "emulator/cover/FirmwareService.h"
#include "emulator/cover/LogService.h"
#include "emulator/cover/LogStream.h"
#include "emulator/cover/ScreenService.h"
#include "emulator/cover/TouchService.h"
#include "emulator/cover/Transmitter.h"

namespace cover {
namespace {

const char* serialOf(LoaderEntry entry) {
    return entry == LoaderEntry::OnRequest ? "00000000001A" : "00000000001B";
}

// The device goes off the bus at `at`, and comes back as its loader or as itself.
struct Departure {
    Time at;
    std::optional<LoaderEntry> loader;
};

}  // namespace

struct Microcontroller::Parts {
    explicit Parts(Options chosen);

    UsbIdentity identity() const;
    void turn(Power power);
    void takeUpLine();
    void finishReply();
    Answer execute(const CommandLine& line, bool refuse);
    std::optional<Departure> nextDeparture() const;
    bool departureIsNext(Time now) const;
    void depart(std::vector<Action>& actions);
    void beginWriting(Time now);
    bool writeFirmware(Time now, std::vector<Action>& actions);
    bool transmitterIsDue(Time now) const;
    bool sendLog(std::vector<Action>& actions);
    std::optional<Time> nextChatter() const;
    bool sendChatter(Time now, std::vector<Action>& actions);

    Options options;
    State state;
    std::optional<LoaderEntry> loader;   // while in the Loader
    bool loaderIsUp = false;             // it is on the bus
    std::optional<LoaderEntry> leaveTo;  // when the reply under way has ended
    std::optional<Departure> departure;
    Upgrade upgrade;
    bool isBootable = true;  // all of the firmware is there
    Faults faults;
    Channel channel;
    Transmitter transmitter;
    Dispatcher dispatcher;
    BasicService basic{state};
    ScreenService screen{state.screen, options};
    FirmwareService firmware{state, options};
    TouchService touch{state.touch, options};
    LogService log{state};
    LogStream stream{state};
};

Microcontroller::Parts::Parts(Options chosen) : options(std::move(chosen)) {
    dispatcher.add(basic.routes());
    dispatcher.add(screen.routes());
    dispatcher.add(firmware.routes());
    dispatcher.add(touch.routes());
    dispatcher.add(log.routes());
}

UsbIdentity Microcontroller::Parts::identity() const {
    if (!loader) return options.usb;
    return {options.loaderVendor, options.loaderProduct, options.usb.productName,
            serialOf(*loader)};
}

// Whatever was under way ends with a change of power.
void Microcontroller::Parts::turn(Power power) {
    channel.reset();
    transmitter.reset(Time::zero());
    stream.reset();
    departure.reset();
    loader.reset();
    loaderIsUp = false;
    // A plan goes along into the loader; what is being written does not survive.
    if (power != Power::Loader || upgrade.phase() == Upgrade::Phase::Writing) upgrade.reset();
    state.power = power;
}

// Starts the next reply, unless one is under way or the device is about to leave.
void Microcontroller::Parts::takeUpLine() {
    if (!transmitter.idle() || departure || !channel.hasLine()) return;
    const CommandLine line = channel.takeLine();
    const std::vector<Fault> taken = faults.take(line.text);
    std::string echo = state.echo ? line.text + '\r' : "";
    const Answer answer = execute(line, refuses(taken));
    leaveTo = answer.leaveTo;
    if (!state.streamsLog()) stream.reset();
    stream.announceReply(line.arrival);

    Reply reply = makeReply(std::move(echo), answer);
    apply(taken, reply);
    transmitter.start(reply, std::max(line.arrival, transmitter.due()));
}

Answer Microcontroller::Parts::execute(const CommandLine& line, bool refuse) {
    ++state.commands;
    if (refuse) return refused();
    Answer answer = line.tooLong ? refused() : dispatcher.dispatch(line.text);
    if (!answer.ok) ++state.refused;
    return answer;
}

void Microcontroller::Parts::finishReply() {
    if (leaveTo && !departure) {
        departure = Departure{transmitter.due() + options.loaderDelay, leaveTo};
    }
    takeUpLine();
}

// That of a reset or a command goes ahead of one for an upgrade.
std::optional<Departure> Microcontroller::Parts::nextDeparture() const {
    if (departure || state.power != Power::Running) return departure;
    if (upgrade.phase() != Upgrade::Phase::Planned) return std::nullopt;
    return Departure{*upgrade.due(), LoaderEntry::OnRequest};
}

void Microcontroller::Parts::depart(std::vector<Action>& actions) {
    std::optional<LoaderEntry> to = nextDeparture()->loader;
    // Without firmware it cannot come back as anything else.
    if (!to && !isBootable) to = LoaderEntry::Error;
    turn(to ? Power::Loader : Power::Off);
    loader = to;
    actions.push_back({.kind = Action::Kind::Reenumerate, .identity = identity()});
}

bool Microcontroller::Parts::departureIsNext(Time now) const {
    const std::optional<Departure> next = nextDeparture();
    return next && next->at <= now && (transmitter.idle() || next->at <= transmitter.due());
}

void Microcontroller::Parts::beginWriting(Time now) {
    // What was there is erased first.
    isBootable = false;
    upgrade.begin(now, options.upgradeTime);
}

// Takes one step of the writing that is due; false when there is none.
bool Microcontroller::Parts::writeFirmware(Time now, std::vector<Action>& actions) {
    if (upgrade.phase() != Upgrade::Phase::Writing) return false;
    const Time due = *upgrade.due();
    if (due > now || (departure && departure->at < due)) return false;
    const int percent = upgrade.step();
    actions.push_back({.kind = Action::Kind::Progress, .percent = percent});
    if (percent == 100) {
        isBootable = true;
        options.version = upgrade.version();
        departure = Departure{due, std::nullopt};
        upgrade.reset();
    }
    return true;
}

bool Microcontroller::Parts::transmitterIsDue(Time now) const {
    return !transmitter.idle() && transmitter.due() <= now;
}

// Lines of the log go between replies.
bool Microcontroller::Parts::sendLog(std::vector<Action>& actions) {
    if (!transmitter.lineIsFree() || !stream.hasWaiting()) return false;
    actions.push_back({.kind = Action::Kind::Send, .bytes = stream.takeWaiting()});
    return true;
}

// When a line of chatter may be sent, if nothing changes.
std::optional<Time> Microcontroller::Parts::nextChatter() const {
    if (state.power != Power::Running || !transmitter.lineIsFree()) return std::nullopt;
    const std::optional<Time> due = stream.chatterDue();
    // A reply goes ahead of the chatter, which has no end.
    if (!transmitter.idle() && due >= transmitter.due()) return std::nullopt;
    return due;
}

bool Microcontroller::Parts::sendChatter(Time now, std::vector<Action>& actions) {
    const std::optional<Time> due = nextChatter();
    if (!due || *due > now) return false;
    actions.push_back({.kind = Action::Kind::Send, .bytes = stream.takeChatter(now)});
    return true;
}

Microcontroller::Microcontroller(Options options)
    : mParts(std::make_unique<Parts>(std::move(options))) {}

Microcontroller::~Microcontroller() = default;

void Microcontroller::powerUp(Time now) {
    if (!mParts->isBootable) return powerUpInLoader(LoaderEntry::Error, now);
    mParts->state = State{};
    mParts->turn(Power::Running);
    mParts->transmitter.reset(now);
}

void Microcontroller::powerDown() {
    mParts->turn(Power::Off);
}

void Microcontroller::powerUpInLoader(LoaderEntry entry, Time now) {
    mParts->state = State{};
    mParts->turn(Power::Loader);
    mParts->loader = entry;
    mParts->loaderIsUp = true;
    if (mParts->upgrade.phase() == Upgrade::Phase::Planned) mParts->beginWriting(now);
}

bool Microcontroller::startUpgrade(std::string version, Time now) {
    if (mParts->state.power == Power::Off) return false;
    if (mParts->upgrade.phase() != Upgrade::Phase::None) return false;
    mParts->upgrade.plan(std::move(version), now + mParts->options.upgradeDelay);
    if (mParts->loaderIsUp) mParts->beginWriting(now);
    return true;
}

bool Microcontroller::cancelUpgrade() {
    const bool isWaiting = mParts->state.power == Power::Running &&
                           mParts->upgrade.phase() == Upgrade::Phase::Planned;
    if (isWaiting) mParts->upgrade.reset();
    return isWaiting;
}

const Upgrade& Microcontroller::upgrade() const {
    return mParts->upgrade;
}

void Microcontroller::recover(Time now) {
    if (mParts->state.power == Power::Off || mParts->departure) return;
    mParts->departure = Departure{now + mParts->options.recoveryDelay, std::nullopt};
}

void Microcontroller::receive(std::string_view bytes, Time now) {
    if (mParts->state.power != Power::Running) return;
    mParts->state.lost += mParts->channel.receive(bytes, now);
    mParts->takeUpLine();
}

void Microcontroller::setDtr(bool raised) {
    mParts->state.dtr = raised;
    if (!raised) mParts->stream.reset();
}

bool Microcontroller::log(std::string_view line, Time now) {
    return mParts->state.power == Power::Running && mParts->stream.add(line, now);
}

void Microcontroller::setChatter(std::optional<Chatter> chatter, Time now) {
    mParts->stream.setChatter(std::move(chatter), now);
}

const std::optional<Chatter>& Microcontroller::chatter() const {
    return mParts->stream.chatter();
}

std::optional<Time> Microcontroller::nextDeadline() const {
    std::optional<Time> next;
    if (!mParts->transmitter.idle()) next = mParts->transmitter.due();
    const auto consider = [&next](Time due) { next = std::min(next.value_or(Time::max()), due); };
    if (const std::optional<Departure> departure = mParts->nextDeparture()) {
        consider(departure->at);
    }
    if (mParts->upgrade.phase() == Upgrade::Phase::Writing) consider(*mParts->upgrade.due());
    if (mParts->transmitter.lineIsFree()) {
        if (const std::optional<Time> lines = mParts->stream.waitingSince()) consider(*lines);
    }
    if (const std::optional<Time> chatter = mParts->nextChatter()) consider(*chatter);
    return next;
}

std::vector<Action> Microcontroller::poll(Time now) {
    std::vector<Action> actions;
    for (;;) {
        if (mParts->writeFirmware(now, actions)) continue;
        if (mParts->departureIsNext(now)) {
            mParts->depart(actions);
            return actions;
        }
        if (mParts->sendLog(actions)) continue;
        if (!mParts->transmitterIsDue(now)) {
            mParts->sendChatter(now, actions);
            return actions;
        }
        switch (mParts->transmitter.step(now, actions)) {
            case Transmitter::Step::Sent:
                break;
            case Transmitter::Step::FloodSent:
                return actions;
            case Transmitter::Step::HungUp:
                mParts->turn(Power::Off);
                actions.push_back({.kind = Action::Kind::HangUp});
                return actions;
            case Transmitter::Step::Finished:
                mParts->finishReply();
                break;
        }
    }
}

UsbIdentity Microcontroller::usbIdentity() const {
    return mParts->identity();
}

const State& Microcontroller::state() const {
    return mParts->state;
}

const Options& Microcontroller::options() const {
    return mParts->options;
}

void Microcontroller::setOptions(Options options) {
    mParts->options = std::move(options);
}

Faults& Microcontroller::faults() {
    return mParts->faults;
}

}  // namespace cover
