// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// What the state shows, and a request of its own too.
#pragma once

#include <string>

#include "emulator/phone/control/Ability.h"

namespace control {

// {"faults":[TEXT,...],"faults_met":[{"fault":TEXT,"met":N},...]}.
Json describeFaults(const phone::Phone& phone);
// {KEY:VALUE,...}, both spelt like bytes.
Json describeProperties(const phone::Phone& phone);
// [{"name":T,"size":N},...], names spelt like bytes.
Json describeFirmware(const phone::Phone& phone);

// For people. A line ends each.
std::string heading(const std::string& name);
std::string show(const std::string& name, const std::string& value);
std::string showMembers(const Json& object, const std::string& indent);
// Of describeFaults(): a fault a line, and after it how often it was met.
std::string showFaults(const Json& faults, const std::string& indent, bool withCounts);

// The ability "show".
Ability showing();

}  // namespace control
