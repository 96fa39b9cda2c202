// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The command line of an ability, and the request that it means.
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "cli/Command.h"
#include "emulator/phone/control/Ability.h"

namespace emulator {

using control::Json;

class AbilityLine {
  public:
    // Gives the command the ability's arguments. The ability and the line must live as long as it.
    AbilityLine(cli::Command& command, const control::Ability& ability);
    ~AbilityLine();

    // --- After the command line was read ---

    // Throws what cli::refuseUsage() throws when the arguments do not go together.
    const control::Request& request() const;
    // The values of each request to make.
    std::vector<Json> values(const control::Request& request) const;
    // The answer is to be printed as JSON.
    bool isAsJson() const;

  private:
    struct Slot;

    void add(cli::Command& command, Slot& slot);
    const Slot* find(const std::string& option) const;
    bool isChosen(const control::Request& request) const;
    const control::Request& choose() const;
    void refuseMisfits(const control::Request& request) const;

    const control::Ability& mAbility;
    std::deque<Slot> mSlots;  // a deque, in which elements keep their addresses
};

// Gives "ctl" a command for each ability of the table that `takes` takes. `add`: called for those
// that are more than a group of others.
void addAbilities(cli::Command& ctl, const std::function<bool(const control::Ability&)>& takes,
                  const std::function<void(cli::Command&, const control::Ability&)>& add);

}  // namespace emulator
