// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The commands of bivistactl.
#pragma once

#include "cli/Command.h"

namespace bivistactl {

// Each function adds its commands to the program, and stands in the file of its name.
void addStatusCommand(cli::Command& program);
void addWaitCommand(cli::Command& program);
void addDoctorCommand(cli::Command& program);
void addReportCommand(cli::Command& program);
void addScreenCommands(cli::Command& program);
void addSubCommand(cli::Command& program);
void addTouchCommands(cli::Command& program);
void addFirmwareCommand(cli::Command& program);
void addAtCommand(cli::Command& program);
void addWatchCommand(cli::Command& program);
void addCallCommand(cli::Command& program);
void addSessionCommand(cli::Command& program);
void addDumpCommand(cli::Command& program);

}  // namespace bivistactl
