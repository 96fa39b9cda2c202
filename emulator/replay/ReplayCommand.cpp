// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/replay/ReplayCommand.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

#include "cli/Message.h"
#include "cli/Output.h"
#include "emulator/phone/Error.h"
#include "emulator/phone/calls/ClientCalls.h"
#include "emulator/phone/run/ProgramRun.h"
#include "emulator/recording/Recording.h"
#include "emulator/replay/Player.h"

namespace replay {

namespace {

namespace fs = std::filesystem;

// Exit statuses.
constexpr int kDiffers = 1;
constexpr int kWrong = 2;
constexpr int kNotServed = 3;

// In the world, so that nothing of it is left.
constexpr char kRegistry[] = "/data/hidl";

struct Options {
    std::string recording;
    bool isFast = false;
    std::string journal;  // file; empty: none
    int patience = 10;    // seconds
    std::vector<std::string> program;
};

void tell(const std::string& line) {
    cli::remark(run::kProgram, line);
}

// What became of a replay.
struct Outcome {
    int status = 0;  // of the program
    bool wasLeft = false;
    bool wasAlone = false;
    std::vector<phone::Entry> entries{};  // that are to be compared
};

// The journal goes into the file that is asked for, or into one of memory.
std::string journalFile(const Options& options, android::base::unique_fd* memory) {
    if (!options.journal.empty()) return options.journal;
    memory->reset(memfd_create("journal", MFD_CLOEXEC));
    if (!memory->ok()) phone::throwErrno("cannot make a journal");
    return "/proc/self/fd/" + std::to_string(memory->get());
}

// Plays it to the program, until that has ended.
Outcome play(const Options& options, const recording::Recording& recording, RecordedPhone& phone,
             const Script& script) {
    fs::create_directories(kRegistry);
    run::setEnvironment(kRegistry);
    RecordedNeighbours neighbours(phone, script);
    const calls::ClientCalls calls(phone.journal(), phone.loop(), kRegistry);
    neighbours.serve();
    android::base::unique_fd memory;
    const std::string file = journalFile(options, &memory);
    if (!phone.journal().writeTo(file, recording::toJson(recording.header))) {
        phone::throwErrno("cannot write the journal " + file);
    }
    try {
        phone.putFirst(recording.header);
    } catch (const phone::Error& error) {
        throw recording::Wrong(options.recording + ": " + error.what());
    }
    const Pace pace = {options.isFast, std::chrono::seconds(options.patience)};
    Player player(phone, neighbours, script, pace, tell);
    player.setUp();
    Outcome outcome;
    outcome.status = run::runProgram([&] { return phone.spawn(options.program); },
                                     [&](pid_t) { player.start(); });
    player.stop();
    run::tellOfLostJournal(phone.journal(), file);
    outcome.wasLeft = player.wasLeft();
    outcome.wasAlone = player.wasAlone();
    outcome.entries = player.select(recording::read(file).entries);
    return outcome;
}

// Of the terminal; 0 when there is none.
size_t columns() {
    winsize size = {};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

// Prints what differs; returns the exit status for it.
int report(const recording::Recording& recording, const std::vector<phone::Entry>& replayed) {
    const recording::Comparison comparison = recording::compare(recording, replayed);
    const size_t count = comparison.differences.size();
    cli::printOrFail(recording::sideBySide(comparison, recording, replayed, columns()));
    cli::printOrFail(
            (count == 0 ? "no difference" : "lanes that differ: " + std::to_string(count)) +
            "; deeds compared: " + std::to_string(comparison.compared) + "\n");
    return count == 0 ? 0 : kDiffers;
}

int judge(const recording::Recording& recording, const Outcome& outcome) {
    if (outcome.status == run::kProgramFailed) return outcome.status;
    const int status = report(recording, outcome.entries);
    if (outcome.wasAlone) {
        cli::complain(run::kProgram, "the program did not serve");
        return kNotServed;
    }
    if (outcome.wasLeft) {
        cli::complain(run::kProgram, "the program ended before the recording, with status " +
                                             std::to_string(outcome.status));
        return kNotServed;
    }
    return status;
}

void checkJournal(const std::string& journal) {
    run::refuseHidden(journal, "the journal");
    if (!journal.empty() && fs::exists(journal) && !fs::is_regular_file(journal)) {
        throw phone::Error("the journal " + journal + " is no regular file: it is read at the end");
    }
}

int replayIt(const Options& options) {
    const recording::Recording recording = recording::read(options.recording);
    for (const std::string& note : recording.notes) tell(note);
    for (const std::string& unknown : recording.header.unknown) tell("not known: " + unknown);
    checkJournal(options.journal);
    run::refuseHiddenProgram(options.program[0]);
    run::enterWorld();
    const Script script = makeScript(recording);
    RecordedPhone phone(script);
    return judge(recording, play(options, recording, phone, script));
}

int replayOrRefuse(const Options& options) {
    try {
        return replayIt(options);
    } catch (const recording::Wrong& wrong) {
        cli::complain(run::kProgram, wrong.what());
        return kWrong;
    }
}

}  // namespace

void addReplay(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    cli::Command& command =
            program.add("replay", "Play a recording to a program, and compare what it does");
    command.take("RECORDING", &options->recording,
                 "A journal that \"run --journal\" wrote, or \"import\" made")
            .required();
    command.flag("--fast", &options->isFast,
                 "With recorded pauses of one second at most; answers come as late as recorded");
    command.take("--journal", &options->journal, "Write the replay's own journal to this file");
    command.take("--patience", &options->patience,
                 "Seconds to wait for a recorded deed that does not come")
            .range(1, 600)
            .showDefault();
    command.takeWords("PROGRAM", &options->program, "After \"--\": the program and its arguments")
            .required();
    command.setHelp(
            "The program finds a phone whose cover, kernel and neighbours do as recorded, and the "
            "recorded\n"
            "calls of clients are made. What it does is compared with the recording: its commands, "
            "its writes\n"
            "to each node, its reports, callbacks and the results of calls, the order within each "
            "alone.\n\n"
            "Exit status: 0 no difference; 1 differences; 2 the recording or an argument is wrong; "
            "3 "
            "the\n"
            "program did not serve, or ended too early; 125 no phone could be made; 127 the "
            "program "
            "could not\n"
            "be started.\n\n"
            "Example:\n"
            "  bivista-emulator replay report.jsonl --fast -- ./service");
    command.setAction([options] { return run::guard([&] { return replayOrRefuse(*options); }); });
}

}  // namespace replay
