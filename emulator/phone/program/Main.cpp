// bivista-emulator: an emulated phone with a cover, and its remote control.

#include <CLI/CLI.hpp>

#include "emulator/phone/program/CtlCommand.h"
#include "emulator/phone/program/RunCommand.h"

namespace {

void addRun(CLI::App& app, emulator::RunOptions& options) {
    CLI::App* run = app.add_subcommand("run", "Run a program on an emulated phone");
    bool& withCover = options.withCover;
    run->add_flag_callback(
            "--no-cover", [&withCover] { withCover = false; }, "Start without the cover");
    run->add_option("--tty", options.tty, "Number of the cover's ttyACM")
            ->check(CLI::Range(0, 255))
            ->capture_default_str();
    bool& withHid = options.withHid;
    run->add_flag_callback(
            "--no-hid", [&withHid] { withHid = false; }, "Cover without its panel's hidraw node");
    run->add_option("--firmware-version", options.firmwareVersion, "The cover's answer to AT%SWV");
    run->add_option("--property", options.properties, "System property KEY=VALUE; repeatable")
            ->allow_extra_args(false)
            ->check([](const std::string& text) {
                return text.find('=') == std::string::npos ? "write KEY=VALUE" : "";
            });
    run->add_option("--fault", options.faults, "Fault, see \"ctl fault --help\"; repeatable")
            ->allow_extra_args(false);
    run->add_option("--journal", options.journal, "Write the journal to this file, as JSON lines");
    run->add_option("PROGRAM", options.program, "Behind \"--\": the program and its arguments")
            ->required();
    run->footer(
            "The program finds the phone's devices at their own paths (/dev, /sys, /data and\n"
            "/system_ext are the phone's); everything else is as outside. The phone ends with it.\n"
            "Exit status: that of the program; 125 no phone could be made, 127 no such program.\n\n"
            "Examples:\n"
            "  bivista-emulator run -- build/release/bin/vendor.qmx.hardware.bivista@1.1-service\n"
            "  bivista-emulator run --no-cover --journal /tmp/journal.jsonl -- sh");
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app("An emulated phone with a cover, and its remote control", "bivista-emulator");
    app.require_subcommand(1);
    app.footer("\"bivista-emulator run --help\" and \"bivista-emulator ctl --help\" tell more.");
    emulator::RunOptions options;
    int status = 0;
    addRun(app, options);
    emulator::addCtl(app, &status);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : emulator::kUsage;
    }
    if (app.got_subcommand("run")) status = emulator::run(options);
    return status;
}
