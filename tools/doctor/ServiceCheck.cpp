// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Whether the service answers, and whether the cover does.
#include <sys/socket.h>

#include <exception>
#include <optional>
#include <string>

#include "host/hidl/Registry.h"
#include "tools/ExitStatus.h"
#include "tools/client/Call.h"
#include "tools/doctor/Checks.h"
#include "tools/doctor/Patience.h"
#include "tools/doctor/TtyClose.h"

namespace doctor {
namespace {

namespace registry = ::android::hardware::registry;
using ::bivistactl::BivistaV1_0;
using ::bivistactl::BivistaV1_1;

constexpr char kInstance[] = "default";

// Why it does not answer.
constexpr char kDeaf[] = "The cover takes no bytes: the remedy stands below, with its tty.";
constexpr char kBusy[] =
        "It serves one call at a time and is busy: a self test or an upgrade may take minutes, a "
        "client may hang in its callback, a service that it asks may be declared and not up, or a "
        "client has cleared the LPWG callback, which only a restart of the service ends.";

// The process that serves the interface, and the name it serves, as the registry shows them; 0 for
// no process.
struct Server {
    pid_t process = 0;
    std::string interface;
};

pid_t processOf(const char* descriptor) {
    const auto socket = registry::find(descriptor, kInstance);
    if (!socket) return 0;
    const auto connection = registry::connectTo(*socket);
    ucred peer = {};
    socklen_t size = sizeof(peer);
    if (!connection.ok() ||
        getsockopt(connection.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        return 0;
    }
    return peer.pid;
}

Server findServer() {
    for (const char* descriptor : {BivistaV1_1::descriptor, BivistaV1_0::descriptor}) {
        if (const pid_t process = processOf(descriptor); process != 0) return {process, descriptor};
    }
    return {};
}

// An answer of the service, or the reason for its absence.
struct Told {
    std::string text;
    std::string failure;
};

// Runs a question. The text of its exception is the failure.
template <typename Question>
Told tell(const Question& question) {
    try {
        return {question(), ""};
    } catch (const std::exception& failure) {
        return {"", failure.what()};
    }
}

// The service's own interface, which is the first of its chain, once it has served a call.
std::string askForInterface() {
    const auto service = bivistactl::findService();
    bivistactl::call<&BivistaV1_0::getBV2Connect>(service);
    const auto names = bivistactl::interfacesOf(service);
    return names.empty() ? "" : names.front();
}

std::string askForVersion() {
    const auto version =
            bivistactl::call<&BivistaV1_0::getFirmwareVersion>(bivistactl::findService());
    if (version.status != bivistactl::Status::OK) {
        throw bivistactl::Failure(bivistactl::EXIT_ANSWERED_FAIL,
                                  "the cover gave no answer to AT%SWV, or rejected it");
    }
    return version.value;
}

}  // namespace

pid_t findServiceProcess() {
    return findServer().process;
}

Finding examineService(const Tree& machine, std::chrono::milliseconds patience, pid_t* process) {
    constexpr char kCheck[] = "service";
    const Server server = findServer();
    if (server.process == 0) {
        return problem(kCheck, "no service answers in " + registry::directory(),
                       "Start it, or set HIDL_SOCKET_DIR to the folder that it was started with, "
                       "and run both as the same user.");
    }
    *process = server.process;
    const auto words = [&](const std::string& interface) {
        return "process " + std::to_string(server.process) + " serves " + interface + " in " +
               registry::directory();
    };
    const auto told = within(patience, [] { return tell(askForInterface); });
    if (!told) {
        const bool isDeaf = threadInClose(machine, server.process).has_value();
        return problem(kCheck, words(server.interface) + ", and does not answer",
                       isDeaf ? kDeaf : kBusy);
    }
    if (!told->failure.empty()) return problem(kCheck, told->failure, "See the service's log.");
    return fine(kCheck, words(told->text));
}

Finding examineAnswer(bool ask, const Tree& machine, pid_t service,
                      std::chrono::milliseconds patience) {
    constexpr char kCheck[] = "answer";
    if (!ask) {
        return note(kCheck, "the cover was not asked: one that is silent would be reset by that",
                    "To ask it for its firmware version: bivistactl doctor --ask");
    }
    const auto told = within(patience, [] { return tell(askForVersion); });
    if (!told) {
        return problem(kCheck, "the cover was asked AT%SWV, and there is no answer yet",
                       threadInClose(machine, service)
                               ? kDeaf
                               : "Others' commands may stand before it, or the cover answers too "
                                 "slowly: try again later.");
    }
    if (!told->failure.empty()) {
        return problem(kCheck, told->failure,
                       "The findings below tell more, and the service's log. When none does, pull "
                       "the cover off and put it back.");
    }
    if (told->text.empty()) {
        return problem(kCheck, "the cover was asked AT%SWV, and its port hung up",
                       "Its cable or connector may be loose, or it restarted: try again.");
    }
    return fine(kCheck, "the cover's firmware is " + told->text);
}

}  // namespace doctor
