// What the commands of the cover's firmware share.
#pragma once

#include "tools/commands/Command.h"

namespace bivistactl {

// For FAIL to an order that the service passes on to the kernel.
inline constexpr char kNoControlFile[] =
        "the phone's kernel does not take orders for upgrades. The service's log tells why.";

// Adds "check", which upgrades the cover when the phone has a newer image; `firmware` is its
// command.
void addFirmwareCheck(cli::Command& firmware);

}  // namespace bivistactl
