// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl firmware: the cover's firmware, the phone's images of it, and upgrades.

#include "tools/commands/Command.h"

namespace bivistactl {
namespace {

constexpr char kHelp[] = R"(
The phone's kernel carries out an upgrade: the cover leaves, comes back as a loader, and at
last with its new firmware. The service cancels the upgrade whenever the cover's serial port
goes. Up to when a cancel counts is the kernel's matter.

Examples:
  bivistactl firmware version
  bivistactl firmware check
  bivistactl firmware check --wait
  bivistactl firmware cancel)";

constexpr char kVersionHelp[] = R"(
The hardware line stands before the first "-", the version before the first "_".

Examples:
  bivistactl firmware version
  bivistactl firmware version --json)";

constexpr char kFileHelp[] = R"(
Prints the name of the image that the last check chose. When no image was of the cover's
hardware line, it is the last image that the check saw. Prints nothing before the first
check, and when the phone has no image.

Examples:
  bivistactl firmware file)";

constexpr char kUpgradeHelp[] = R"(
Orders the kernel to start an upgrade, whatever the versions are; "bivistactl firmware
check" compares them. "bivistactl firmware version" shows later what the cover runs.

Examples:
  bivistactl firmware upgrade)";

constexpr char kCancelHelp[] = R"(
Harmless when no upgrade is running. Up to when an upgrade can be cancelled is the kernel's
matter.

Examples:
  bivistactl firmware cancel)";

constexpr char kDloadHelp[] = R"(
The cover leaves, and comes back as a loader, which serves no other command of this program.

Examples:
  bivistactl firmware dload)";

constexpr char kStmDloadHelp[] = R"(
The cover leaves, and its STM microcontroller comes back as a loader, which serves no other
command of this program.

Examples:
  bivistactl firmware stm-dload)";

}  // namespace

void addFirmwareCommand(cli::Command& program) {
    cli::Command& firmware =
            program.add("firmware", "Show and upgrade the cover's firmware", kHelp);
    addPlain(firmware, {"version", "Print its version", kVersionHelp,
                        printText<&BivistaV1_0::getFirmwareVersion>});
    addFirmwareCheck(firmware);
    addPlain(firmware, {"file", "Print the image that was checked last", kFileHelp,
                        printText<&BivistaV1_0::getFirmwareFile>, kRefused});
    addPlain(firmware, {"upgrade", "Start an upgrade", kUpgradeHelp,
                        order<&BivistaV1_0::doFirmwareUpgrade>, kNoControlFile});
    addPlain(firmware, {"cancel", "Cancel an upgrade", kCancelHelp,
                        order<&BivistaV1_0::cancelFirmwareUpgrade>, kNoControlFile});
    addPlain(firmware, {"dload", "Restart the cover into its loader", kDloadHelp,
                        order<&BivistaV1_0::goDload>});
    addPlain(firmware, {"stm-dload", "Restart its STM microcontroller into its loader",
                        kStmDloadHelp, order<&BivistaV1_0::goSTMDload>});
}

}  // namespace bivistactl
