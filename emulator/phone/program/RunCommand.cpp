// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/program/RunCommand.h"

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include "cli/Message.h"
#include "emulator/phone/Phone.h"
#include "emulator/phone/calls/ClientCalls.h"
#include "emulator/phone/control/ControlServer.h"
#include "emulator/phone/control/SocketFolder.h"
#include "emulator/phone/neighbours/Neighbours.h"
#include "emulator/phone/program/CtlCommand.h"
#include "emulator/phone/program/JournalStream.h"
#include "emulator/phone/run/ProgramRun.h"
#include "emulator/phone/world/Files.h"
#include "emulator/phone/world/ServiceProgram.h"
#include "emulator/recording/Recording.h"
#include "emulator/ui/Companion.h"

namespace emulator {

namespace {

namespace fs = std::filesystem;

struct RunOptions {
    bool noCover = false;
    int tty = 0;
    bool noHid = false;
    std::string firmwareVersion;          // empty: the cover's own
    std::vector<std::string> properties;  // "key=value"
    std::vector<std::string> faults;
    std::string journal;  // file; empty: none
    bool ui = false;
    bool open = false;
    std::vector<std::string> program;
};

// The journal's first line. What is set later has entries.
std::string headerOf(const phone::Phone& phone) {
    recording::Header header;
    header.program = kProgram + std::string(" " BIVISTA_VERSION);
    header.files = phone.files.firstContents();
    return recording::toJson(header);
}

void setUp(phone::Phone& phone, const RunOptions& options, JournalStream* stream) {
    if (stream != nullptr) {
        stream->carry(phone.journal(), headerOf(phone));
    } else if (!options.journal.empty() &&
               !phone.journal().writeTo(options.journal, headerOf(phone))) {
        phone::throwErrno("cannot write the journal " + options.journal);
    }
    for (const std::string& property : options.properties) {
        const size_t equals = property.find('=');
        phone.properties.set(property.substr(0, equals), property.substr(equals + 1));
    }
    for (const std::string& fault : options.faults) phone.faults.set(fault);
    if (!options.firmwareVersion.empty()) {
        cover::Options cover = phone.cover.options();
        cover.version = options.firmwareVersion;
        phone.cover.setOptions(cover);
    }
    phone.usbPower.setFirstOptions(phone::kKernelPower);
    if (options.noCover) return;
    phone::CoverOptions cover;
    cover.tty = options.tty;
    cover.withHid = !options.noHid;
    phone.cover.attach(cover);
}

int runOnPhone(const run::Ground& ground, const RunOptions& options, const std::string& folder,
               JournalStream* stream, std::unique_ptr<ui::Companion> page) {
    phone::Phone phone(ground.makeBackend);
    setUp(phone, options, stream);
    // The program is root here, whichever user started it. It must use the same folder as its
    // clients.
    run::setEnvironment(folder);
    neighbours::Neighbours neighbours(phone);
    const control::ControlServer server(phone, neighbours, folder);
    // After the server, which makes sure that the folder has no other emulator.
    const calls::ClientCalls calls(phone, folder);
    neighbours.serve();
    const int status = run::runProgram([&] { return phone.spawn(options.program); }, [](pid_t) {},
                                       // It ends by itself when asked, and takes its file away.
                                       [&page] { page.reset(); });
    run::tellOfLostJournal(phone.journal(), options.journal);
    return status;
}

// Runs until the program ends; returns its exit status (128 + signal when one ended it).
int runProgram(const run::Ground& ground, const RunOptions& options) {
    const std::string folder = fs::absolute(control::socketFolder());
    run::refuseHidden(folder, "the socket folder");
    run::refuseHiddenProgram(options.program[0]);
    control::makeSocketFolder(folder);
    const std::unique_ptr<JournalStream> stream = JournalStream::openSpecial(options.journal);
    // A special file is open already: it may be a terminal, or /dev/fd/63 of a shell.
    if (stream == nullptr) run::refuseHidden(options.journal, "the journal");
    // Outside of the world, whose network is another one.
    std::unique_ptr<ui::Companion> page;
    if (options.ui) page = std::make_unique<ui::Companion>(options.open);
    ground.enter();
    return runOnPhone(ground, options, folder, stream.get(), std::move(page));
}

// False when there is none, which it reports.
bool takeService(std::vector<std::string>& program) {
    try {
        program = {phone::findService()};
        return true;
    } catch (const phone::Error& error) {
        cli::complain(run::kProgram, error.what() + std::string(": name what to run after \"--\""));
        return false;
    }
}

// The same; without a program, runs the service. Reports errors on standard error.
int runOrFail(const run::Ground& ground, RunOptions& options) {
    return run::guard([&] {
        if (options.program.empty() && !takeService(options.program)) return run::kProgramFailed;
        return runProgram(ground, options);
    });
}

std::string checkProperty(const std::string& text) {
    return text.find('=') == std::string::npos ? "write KEY=VALUE" : "";
}

}  // namespace

void addRun(cli::Command& program, const run::Ground& ground) {
    const auto options = std::make_shared<RunOptions>();
    cli::Command& command = program.add("run", "Run a program on an emulated phone");
    command.flag("--no-cover", &options->noCover, "Start without the cover");
    command.take("--tty", &options->tty, "Number of the cover's ttyACM")
            .range(0, 255)
            .showDefault();
    command.flag("--no-hid", &options->noHid, "Cover without its panel's hidraw node");
    command.take("--firmware-version", &options->firmwareVersion, "The cover's answer to AT%SWV");
    command.takeRepeated("--property", &options->properties,
                         "System property KEY=VALUE; repeatable")
            .check(checkProperty);
    command.takeRepeated("--fault", &options->faults,
                         "Fault, see \"ctl fault --help\"; repeatable");
    command.take("--journal", &options->journal, "Write the journal to this file, as a recording");
    const cli::Option ui = command.flag("--ui", &options->ui,
                                        "Show the phone on a page, see \"ui --help\"; standard "
                                        "error has its address");
    command.flag("--open", &options->open, "Open the page in the browser").needs(ui);
    command.takeWords("PROGRAM", &options->program,
                      "After \"--\": the program and its arguments; without: the service that lies "
                      "beside this program");
    command.setHelp(
            "The program finds the phone's devices at their own paths (/dev, /sys, /data and\n"
            "/system_ext are the phone's); everything else is as outside. The phone ends with it.\n"
            "The journal may go into a FIFO: the phone starts when a program reads it, and never "
            "waits for\n"
            "its reader then.\n\n"
            "Exit status: that of the program, 128 + N when signal N ended it; 2 wrong arguments; "
            "125 no\n"
            "phone could be made, or it ran out of memory, descriptors or threads; 127 the program "
            "could\n"
            "not be started.\n\n"
            "Examples:\n"
            "  bivista-emulator run\n"
            "  bivista-emulator run --no-cover --journal /tmp/journal.jsonl -- sh");
    command.setAction([ground, options] { return runOrFail(ground, *options); });
}

}  // namespace emulator
