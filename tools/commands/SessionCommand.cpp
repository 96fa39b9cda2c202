// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl session: JSON-RPC for programs in other languages.

#include <errno.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <string_view>

#include "tools/ExitStatus.h"
#include "tools/commands/Command.h"
#include "tools/session/LineSplitter.h"
#include "tools/session/Session.h"

namespace bivistactl {
namespace {

constexpr char kHelp[] = R"(
Speaks JSON-RPC 2.0 on standard input and output, one line a message, until its input
ends. For programs: the Python package bivista is a client of it.

  {"jsonrpc":"2.0","id":1,"method":"setBrightness","params":[128]}
  {"jsonrpc":"2.0","id":1,"result":{"method":"setBrightness","status":"OK"}}

Methods: those of "bivistactl call", with parameters by position or by name and its
results; "subscribe" and "unsubscribe" (callback: lpwg, subDisplay or at), "dump"
(options), "methods" and "session".

Notifications: lpwg, subDisplay and at after a "subscribe"; callbackLost when another
client has taken the callback, eventsLost when the reader was too slow, serviceDied and
serviceReturned. The session takes no callback before a "subscribe", and "unsubscribe"
leaves the callback with the service: to clear the one for touch and pen events would stop
the service ("bivistactl call --help").

FAIL of the service is a result. Errors: -32700 no JSON, -32600 no request, -32601 no such
method, -32602 wrong parameters, -32603 the session failed; -32000 no service, -32001 it
died during the call, -32002 its transport refused the call, -32003 it serves only version
1.0, -32004 it has no dump.

Limits: 4 MiB a line, 32 levels, 100 requests a batch. Requests are read as they are served.
The session ends with status 0 at the end of its input, after the call under way, and at
once by SIGINT and SIGTERM; with 4 when standard output cannot be written.

Examples:
  echo '{"jsonrpc":"2.0","id":1,"method":"getBV2Connect"}' | bivistactl session)";

// Standard input, line by line. Reads more only when all that it has read is served.
class Input {
  public:
    std::optional<session::Line> next() {
        while (!mIsAtEnd) {
            if (auto line = mLines.next()) return line;
            readSome();
        }
        return mLines.last();
    }

  private:
    void readSome() {
        char piece[1 << 16];
        const ssize_t count = read(STDIN_FILENO, piece, sizeof(piece));
        if (count > 0) mLines.feed({piece, static_cast<size_t>(count)});
        if (count == 0) mIsAtEnd = true;
        if (count >= 0 || errno == EINTR) return;
        if (errno != EAGAIN) {
            throw Failure(EXIT_NO_OUTPUT,
                          std::string("cannot read standard input: ") + strerror(errno));
        }
        pollfd readable = {STDIN_FILENO, POLLIN, 0};
        poll(&readable, 1, -1);
    }

    session::LineSplitter mLines;
    bool mIsAtEnd = false;
};

// A call may be under way, which nothing ends: so the process ends without it.
session::Outbox::Ends endsOfProcess() {
    return {.bySignal = [] { _exit(EXIT_ANSWERED_OK); },
            .byOutput =
                    [](int error) {
                        complain(cli::OutputFailed(error).what());
                        _exit(EXIT_NO_OUTPUT);
                    }};
}

int run() {
    signal(SIGPIPE, SIG_IGN);
    const auto outbox = std::make_shared<session::Outbox>(STDOUT_FILENO, endsOfProcess());
    {
        session::Session session(outbox);
        Input input;
        while (const auto line = input.next()) {
            std::string answer = session.answer(*line);
            if (!answer.empty()) outbox->answer(std::move(answer));
        }
    }
    outbox->finish();
    return EXIT_ANSWERED_OK;
}

}  // namespace

void addSessionCommand(cli::Command& program) {
    cli::Command& command =
            program.add("session", "Serve a program in another language by JSON-RPC", kHelp);
    addIdleJsonFlag(command);
    command.setAction(run);
}

}  // namespace bivistactl
