// Who has a node of the cover open.
#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "tools/doctor/Checks.h"
#include "tools/doctor/Words.h"

namespace doctor {
namespace {

bool isNumber(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return isdigit(c) != 0; });
}

// It plays the cover, and keeps the tty open. The kernel cuts names to 15 bytes.
constexpr char kEmulator[] = "bivista-emulato";

bool holds(const Tree& machine, const std::string& process, const struct stat& node) {
    const std::string folder = process + "/fd";
    for (const std::string& descriptor : machine.names(folder)) {
        if (machine.isDescriptorOf(folder + "/" + descriptor, node)) return true;
    }
    return false;
}

}  // namespace

Finding examineHolders(const Scene& scene, const std::string& check, const std::string& node) {
    const auto status = scene.world.status(node);
    std::vector<std::string> holders;
    std::vector<std::string> processes;
    for (const std::string& name : scene.machine.names("/proc")) {
        if (!status || !isNumber(name) || name == std::to_string(scene.service)) continue;
        const std::string folder = "/proc/" + name;
        if (!holds(scene.machine, folder, *status)) continue;
        const std::string program = scene.machine.text(folder + "/comm").value_or("unknown");
        if (program == kEmulator) continue;
        holders.push_back(program + " (process " + name + ")");
        processes.push_back(name);
    }
    if (!holders.empty()) {
        return problem(check, node + " is held by " + listed(holders),
                       "It takes answers that the service waits for. End it: kill " +
                               firstOf(processes, " ") + restOf(processes));
    }
    return fine(check, node + " is held by no other program" +
                               (User().isRoot() ? "" : " of those that may be seen without root"));
}

}  // namespace doctor
