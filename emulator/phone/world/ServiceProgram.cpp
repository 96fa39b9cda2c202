// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/ServiceProgram.h"

#include "cli/Beside.h"
#include "emulator/phone/Error.h"

namespace phone {

std::string findService() {
    std::string service = cli::findBeside(BIVISTA_SERVICE_NAME, {".", BIVISTA_SERVICE_FOLDER});
    if (!service.empty()) return service;
    throw Error("no " BIVISTA_SERVICE_NAME " lies beside this program");
}

}  // namespace phone
