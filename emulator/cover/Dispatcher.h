// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Finds the service that answers a command. Each service hands over a table of the commands that it
// knows.
#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "emulator/cover/Reply.h"

namespace cover {

// How a service reads what follows the prefix of its command.
struct Route {
    enum class Arguments { None, Some };

    std::string_view prefix;  // a literal; compared without case
    Arguments arguments;      // None: a command with anything after the prefix is refused
    std::function<Answer(std::string_view arguments)> handler;
};

class Dispatcher {
  public:
    void add(std::vector<Route> routes);

    // `command` is without its "\r". The longest prefix wins; a command that no service knows is
    // refused.
    Answer dispatch(std::string_view command) const;

  private:
    std::vector<Route> mRoutes;
};

// What handlers answer.
Answer ok();
Answer ok(std::vector<std::string> lines);
Answer refused();

}  // namespace cover
