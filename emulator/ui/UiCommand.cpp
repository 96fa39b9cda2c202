// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/ui/UiCommand.h"

#include <csignal>
#include <filesystem>
#include <memory>
#include <thread>

#include <unistd.h>

#include "cli/Message.h"
#include "cli/Output.h"
#include "emulator/phone/Error.h"
#include "emulator/phone/control/SocketFolder.h"
#include "emulator/ui/Door.h"
#include "emulator/ui/Routes.h"

namespace ui {

namespace {

struct Options {
    int port = 0;
    bool open = false;
};

sigset_t endingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGHUP, SIGINT, SIGTERM}) sigaddset(&signals, number);
    return signals;
}

// Serves the page until a signal ends the program.
void serve(const Options& options) {
    const Emulator emulator(std::filesystem::absolute(control::socketFolder()));
    Store store;
    Feed feed(emulator, store);
    Address address = Address::make();
    PageServer server;
    address.port = server.bind(options.port);
    addRoutes(server, address, emulator, store, feed);
    const sigset_t ending = endingSignals();
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    {
        const Door door(emulator.folder(), address.url());
        cli::printOrFail(address.url() + "\n");
        if (options.open) door.openInBrowser();
        // From here on nothing may throw: the threads use what stands above.
        std::thread([&feed] { feed.run(); }).detach();
        std::thread([&server] { server.listen_after_bind(); }).detach();
        int number = 0;
        sigwait(&ending, &number);
    }
    // Pages that are open, and requests that wait, end with the program.
    _exit(0);
}

int run(const Options& options) {
    constexpr int kRefused = 1;
    try {
        serve(options);
    } catch (const phone::Error& error) {
        cli::complain("bivista-emulator", error.what());
    }
    return kRefused;
}

}  // namespace

void addUi(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    cli::Command& command = program.add("ui", "Show the emulated phone on a page in the browser");
    command.take("--port", &options->port, "Port on 127.0.0.1; 0: a free one")
            .range(0, 65535)
            .showDefault();
    command.flag("--open", &options->open, "Open the page in the browser");
    command.setHelp(
            "Prints the page's address, and serves it until Ctrl-C. Whoever has the address can "
            "use the\n"
            "phone; it is another one at each start. The page shows the emulator of the folder "
            "HIDL_SOCKET_DIR,\n"
            "and waits for it when there is none. The file ui.html in that folder leads to the "
            "page, too.\n\n"
            "Exit status: 0 ended by Ctrl-C; 1 the page cannot be served; 2 wrong arguments; 4 "
            "standard\n"
            "output cannot be written, or this program ran out of memory, descriptors or threads.");
    command.setAction([options] { return run(*options); });
}

}  // namespace ui
