// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator: an emulated phone with a cover, and its remote control.

#include "emulator/phone/program/EmulatorProgram.h"
#include "emulator/phone/world/WorldBackend.h"

int main(int argc, char** argv) {
    return emulator::runEmulator(argc, argv, {run::enterWorld, phone::makeWorldBackend});
}
