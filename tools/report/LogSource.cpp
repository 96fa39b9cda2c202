// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The service's own log, and the properties that it reads.
#include <sys/stat.h>

#include <algorithm>

#include "tools/doctor/FileTree.h"
#include "tools/report/Gathering.h"
#include "tools/report/Program.h"
#include "tools/report/SystemFile.h"

namespace report {
namespace {

constexpr std::chrono::seconds kPatience(10);
constexpr char kUnit[] = "bivista";
constexpr char kProperties[] = "/data/property/host.prop";

std::string procOf(pid_t process, const char* name) {
    return "/proc/" + std::to_string(process) + "/" + name;
}

// The variable in the environment that the process was started with.
std::string variableOf(pid_t process, const std::string& name) {
    std::string environment = readEnd(procOf(process, "environ"), kMostLog).text;
    for (size_t at = 0; at < environment.size();) {
        const size_t end = std::min(environment.find('\0', at), environment.size());
        if (environment.compare(at, name.size() + 1, name + "=") == 0) {
            return environment.substr(at + name.size() + 1, end - at - name.size() - 1);
        }
        at = end + 1;
    }
    return "";
}

bool gatherUnit(Gathering* gathering) {
    const Printed printed = runProgram({"journalctl", "--no-pager", "--quiet", "--unit", kUnit,
                                        "--lines", "20000", "--output", "short-iso-precise"},
                                       kMostLog, kPatience);
    if (!printed.text.empty()) {
        gathering->add(kServiceLog, printed.text);
        return true;
    }
    gathering->miss(kServiceLog, "the system's journal has nothing of the unit bivista",
                    printed.fault);
    return false;
}

}  // namespace

void gatherServiceLog(pid_t service, Gathering* gathering) {
    const std::string stream = procOf(service, "fd/2");
    struct stat status = {};
    if (service == 0 || stat(stream.c_str(), &status) != 0 || S_ISSOCK(status.st_mode)) {
        gatherUnit(gathering);
        return;
    }
    if (!S_ISREG(status.st_mode)) {
        gathering->miss(kServiceLog,
                        "the service was started by hand, with its standard error in no file: what "
                        "it printed there cannot be read again");
        return;
    }
    const FileEnd log = readEnd(stream, kMostLog);
    if (log.fault.empty()) {
        gathering->add(kServiceLog, log.text);
    } else {
        gathering->miss(kServiceLog, "the file of the service's log cannot be read", log.fault);
    }
}

void gatherSettings(pid_t service, Gathering* gathering) {
    if (service == 0) {
        gathering->miss(kSettings, "no service runs, which would tell where its properties are");
        return;
    }
    const std::string given = variableOf(service, "ANDROID_PROPERTY_FILE");
    const auto file =
            doctor::Tree(procOf(service, "root")).text(given.empty() ? kProperties : given);
    if (file) {
        gathering->add(kSettings, *file + "\n");
    } else {
        gathering->miss(kSettings, "there is no file of properties, or it cannot be read");
    }
}

}  // namespace report
