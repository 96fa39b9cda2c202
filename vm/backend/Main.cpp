// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator-kernel: the same program, whose phone has the devices of a real kernel.

#include "emulator/phone/program/EmulatorProgram.h"
#include "vm/backend/KernelBackend.h"

int main(int argc, char** argv) {
    return emulator::runEmulator(argc, argv, {vm::enterMachine, vm::makeKernelBackend});
}
