// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/replay/ReplayCommand.h"

#include <chrono>
#include <csignal>
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
    bool wasTooMuch = false;
    bool isTooLong = false;  // its journal, to be compared
    bool endedItself = false;
    std::vector<phone::Entry> entries{};  // that are to be compared
};

// The journal goes into the file that is asked for, or into one of memory.
std::string journalFile(const Options& options, android::base::unique_fd* memory) {
    if (!options.journal.empty()) return options.journal;
    memory->reset(memfd_create("journal", MFD_CLOEXEC));
    if (!memory->ok()) phone::throwErrno("cannot make a journal");
    return "/proc/self/fd/" + std::to_string(memory->get());
}

// The replay's own journal.
std::vector<phone::Entry> readOwn(const std::string& file) {
    try {
        return recording::read(file).entries;
    } catch (const recording::Wrong& wrong) {
        throw phone::Error(std::string("the replay cannot be compared: ") + wrong.what());
    }
}

// Plays it to the program, until that has ended.
Outcome play(const Options& options, const recording::Recording& recording, RecordedPhone& phone,
             const Script& script) {
    std::filesystem::create_directories(kRegistry);
    run::setEnvironment(kRegistry);
    RecordedNeighbours neighbours(phone, script);
    const calls::ClientCalls calls(phone.journal(), phone.loop(), kRegistry);
    neighbours.serve();
    android::base::unique_fd memory;
    const std::string file = journalFile(options, &memory);
    // What a log did not hold, the journal of its replay does.
    const recording::Header& given = recording.header;
    const recording::Header header = {
            .properties = given.properties, .files = given.files, .images = given.images};
    if (!phone.journal().writeTo(file, recording::toJson(header))) {
        phone::throwErrno("cannot write the journal " + file);
    }
    try {
        phone.putFirst(given);
    } catch (const phone::Error& error) {
        throw recording::Wrong(options.recording + ":1: " + error.what());
    }
    const Pace pace = {options.isFast, std::chrono::seconds(options.patience)};
    Player player(phone, neighbours, script, pace, tell);
    player.setUp();
    Outcome outcome;
    outcome.status = run::runProgram([&] { return phone.spawn(options.program); },
                                     [&](pid_t) { player.start(); }, [&] { player.stop(); });
    run::tellOfLostJournal(phone.journal(), file);
    outcome.wasLeft = player.wasLeft();
    outcome.wasAlone = player.wasAlone();
    outcome.wasTooMuch = player.wasTooMuch();
    outcome.endedItself = player.endedItself();
    outcome.isTooLong = std::filesystem::file_size(file) > recording::kMostBytes;
    if (!outcome.isTooLong) outcome.entries = player.select(readOwn(file));
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

// It is ended by SIGTERM, and by SIGKILL when that does not help.
bool isCrash(const Outcome& outcome) {
    if (outcome.endedItself) return outcome.status != 0;
    return outcome.status > 128 && outcome.status != 128 + SIGTERM &&
           outcome.status != 128 + SIGKILL;
}

int judge(const recording::Recording& recording, const Outcome& outcome) {
    if (outcome.status == run::kProgramFailed) return outcome.status;
    if (outcome.wasTooMuch) tell("the program did far more than was recorded, and was ended");
    if (outcome.isTooLong) {
        cli::complain(run::kProgram, "what it did is too long to be compared");
        return kDiffers;
    }
    const int status = report(recording, outcome.entries);
    if (outcome.wasAlone) {
        cli::complain(run::kProgram, "the program did not serve");
        return kNotServed;
    }
    const std::string ended = " with status " + std::to_string(outcome.status);
    if (outcome.wasLeft) {
        cli::complain(run::kProgram, "the program ended before the recording," + ended);
        return kNotServed;
    }
    if (isCrash(outcome)) {
        cli::complain(run::kProgram, "the program did all, and crashed then," + ended);
        return kNotServed;
    }
    return status;
}

// The journal is read in the end, when the recording is there still.
std::string whyNoJournal(const Options& options) {
    namespace fs = std::filesystem;
    std::error_code error;
    if (!fs::exists(options.journal, error)) return "";
    if (!fs::is_regular_file(options.journal, error)) return "is not a regular file";
    return fs::equivalent(options.journal, options.recording, error) ? "is the recording" : "";
}

int replayIt(const Options& options) {
    const recording::Recording recording = recording::read(options.recording);
    const std::string wrong = whyNoJournal(options);
    if (!wrong.empty()) {
        cli::complain(run::kProgram, "the journal " + options.journal + " " + wrong);
        return kWrong;
    }
    for (const std::string& note : recording.notes) tell(note);
    for (const std::string& unknown : recording.header.unknown) tell("not known: " + unknown);
    run::refuseHidden(options.journal, "the journal");
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
            "3 the\n"
            "program did not serve, ended too early or crashed; 125 no phone could be made; 127 "
            "the program\n"
            "could not be started.\n\n"
            "Example:\n"
            "  bivista-emulator replay report.jsonl --fast -- ./service");
    command.setAction([options] { return run::guard([&] { return replayOrRefuse(*options); }); });
}

}  // namespace replay
