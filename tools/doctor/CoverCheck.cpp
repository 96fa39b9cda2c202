// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover as the kernel shows it: its USB device, its nodes, the programs that have these open,
// its autosuspend.
#include <strings.h>

#include <algorithm>
#include <cctype>
#include <optional>
#include <string>
#include <vector>

#include "tools/doctor/Checks.h"
#include "tools/doctor/ShellWord.h"
#include "tools/doctor/TtyClose.h"

namespace doctor {
namespace {

constexpr char kUsbDevices[] = "/sys/bus/usb/devices/";

struct Identity {
    const char* vendor;
    const char* product;
};
constexpr Identity kCover = {"3e91", "6a2f"};
constexpr Identity kLoader = {"0483", "df11"};

bool has(const Tree& world, const std::string& folder, const Identity& identity) {
    return strcasecmp(world.text(folder + "/idVendor").value_or("").c_str(), identity.vendor) ==
                   0 &&
           strcasecmp(world.text(folder + "/idProduct").value_or("").c_str(), identity.product) ==
                   0;
}

std::optional<std::string> findDevice(const Tree& world, const Identity& identity) {
    for (const std::string& name : world.names(kUsbDevices)) {
        if (has(world, kUsbDevices + name, identity)) return kUsbDevices + name;
    }
    return std::nullopt;
}

// The node of libusb's: /dev/bus/usb/001/002.
std::string busNode(const Tree& world, const std::string& device) {
    const auto padded = [&](const char* file) {
        const std::string number = world.text(device + file).value_or("");
        return std::string(3 - std::min<size_t>(number.size(), 3), '0') + number;
    };
    return "/dev/bus/usb/" + padded("/busnum") + "/" + padded("/devnum");
}

// Whether the node is missing, or the user has no right to it.
Finding examineNode(const Scene& scene, const std::string& check, const std::string& node) {
    const auto status = scene.world.status(node);
    if (!status) {
        return problem(check, node + " is missing",
                       "The device is there, and its node is not: see whether udev runs "
                       "(systemctl status systemd-udevd), or plug the cover in again.");
    }
    const std::string words = node + " is of " + ownershipInWords(*status);
    if (scene.world.mayUse(node, scene.user)) return fine(check, words);
    return problem(check, words + ", and " + scene.user.name() + " may not use it",
                   "Run the service as root, or, until the cover is plugged in again: sudo chown " +
                           shellWord(scene.user.name()) + " " + shellWord(node));
}

bool isNumber(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return isdigit(c) != 0; });
}

// The emulator plays the cover, and keeps the tty open. The kernel cuts names to 15 bytes.
constexpr char kEmulator[] = "bivista-emulato";

bool holds(const Tree& machine, const std::string& process, const struct stat& node) {
    const std::string folder = process + "/fd";
    for (const std::string& descriptor : machine.names(folder)) {
        if (machine.isDescriptorOf(folder + "/" + descriptor, node)) return true;
    }
    return false;
}

// The programs that have the node open, other than the service.
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

// Whether the service waits for bytes that the cover does not take.
Findings examineTraffic(const Scene& scene) {
    const auto thread = threadInClose(scene.machine, scene.service);
    if (!thread) return {};
    return {problem("tty",
                    "the cover takes no bytes: the service's thread " + *thread +
                            " waits in its close of the tty until they have left",
                    "Pull the cover off: that ends the wait at once. Else it ends after 30 "
                    "seconds; then the service asks the kernel to reset the cover.")};
}

// A kind of node that the cover has.
struct Kind {
    const char* check;
    const char* folder;
    const char* prefix;
    // From the node's folder to that of its USB device.
    const char* device;
    const char* remedy;
};

constexpr Kind kTty = {"tty", "/sys/class/tty/", "ttyACM", "/device/..",
                       "Load the kernel's driver: sudo modprobe cdc_acm"};
constexpr Kind kHidraw = {"hidraw", "/sys/class/hidraw/", "hidraw", "/device/../..",
                          "Load the kernel's driver: sudo modprobe usbhid; the kernel must have "
                          "CONFIG_HIDRAW."};

Findings examineNodes(const Scene& scene, const Kind& kind) {
    Findings findings;
    for (const std::string& name : scene.world.names(kind.folder)) {
        if (!name.starts_with(kind.prefix)) continue;
        if (!has(scene.world, kind.folder + name + kind.device, kCover)) continue;
        findings.push_back(examineNode(scene, kind.check, "/dev/" + name));
        findings.push_back(examineHolders(scene, kind.check, "/dev/" + name));
    }
    if (findings.empty()) {
        findings.push_back(problem(
                kind.check, std::string("the cover has no ") + kind.prefix + " node", kind.remedy));
    }
    return findings;
}

Finding examineAutosuspend(const Scene& scene, const std::string& device) {
    constexpr char kCheck[] = "autosuspend";
    const std::string file = device + "/power/control";
    const auto control = scene.world.text(file);
    if (!control) {
        return problem(kCheck, file + " is missing or cannot be read",
                       "The service cannot keep the cover awake, and its commands may come late. "
                       "The kernel must have CONFIG_PM.");
    }
    const std::string state = scene.world.text(device + "/power/runtime_status").value_or("");
    const std::string words = file + " is " + *control + (state.empty() ? "" : ", " + state);
    if (state == "error") {
        return problem(kCheck, words,
                       "The kernel could not wake it: pull the cover off and put it "
                       "back.");
    }
    if (!scene.world.mayUse(file, scene.user)) {
        return problem(kCheck, words + ", and " + scene.user.name() + " may not change it",
                       "The cover may sleep while it is used, and commands come late. Run the "
                       "service as root, or, until it is plugged in again: sudo chown " +
                               shellWord(scene.user.name()) + " " + shellWord(file));
    }
    return fine(kCheck, words);
}

Finding examineAbsence(const Tree& world) {
    if (const auto loader = findDevice(world, kLoader)) {
        return problem("cover", "its loader, 0483:df11, is there in its place: " + *loader,
                       "An upgrade is under way, or one did not end: see the service's log. If "
                       "nothing happens, pull the cover off and put it back.");
    }
    return problem("cover", "no USB device 3e91:6a2f is plugged in",
                   "Plug the cover in. When \"lsusb -d 3e91:\" does not show it then, try another "
                   "cable or port; \"sudo dmesg\" tells what the kernel saw.");
}

}  // namespace

Findings examineCover(const Scene& scene) {
    const auto device = findDevice(scene.world, kCover);
    if (!device) return {examineAbsence(scene.world)};
    Findings findings = {fine("cover", "3e91:6a2f is there: " + *device),
                         examineNode(scene, "usb", busNode(scene.world, *device))};
    const auto append = [&](const Findings& more) {
        findings.insert(findings.end(), more.begin(), more.end());
    };
    append(examineNodes(scene, kTty));
    append(examineTraffic(scene));
    append(examineNodes(scene, kHidraw));
    findings.push_back(examineAutosuspend(scene, *device));
    return findings;
}

}  // namespace doctor
