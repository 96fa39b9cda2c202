// Properties, files and faults of the phone.

#include <filesystem>

#include "emulator/phone/Devices.h"
#include "emulator/phone/Files.h"

namespace phone {

namespace fs = std::filesystem;

namespace {

// Of one length, so that the file never shrinks.
constexpr char kDisplayOn[] = "PowerManagerService.Display\n";
constexpr char kDisplayOff[] = "                           \n";
static_assert(sizeof(kDisplayOn) == sizeof(kDisplayOff));

constexpr std::pair<const char*, const char*> kFirstContents[] = {
        {kHalReady, "N\n"},      {kRecovery, "N\n"}, {kPowerNode, "0 0\n"},
        {kFirmwareWrite, "0\n"}, {kAesMode, "0\n"},  {kUpdateState, "0 0 0\n"},
        {kWakeLock, kDisplayOn}, {"/dev/kmsg", ""},
};

fs::path resolveOwn(const std::string& path) {
    fs::path resolved = resolve(path);
    if (path.empty() || path[0] != '/' || !isOfWorld(resolved)) {
        throw Error("\"" + path + "\" is not a file of the phone: name one below /dev, /sys, " +
                    "/data or /system_ext");
    }
    return resolved;
}

}  // namespace

void checkProperty(const std::string& key, const std::string& value) {
    if (key.empty() || key.find_first_of("=\n") != std::string::npos) {
        throw Error("a property's key must not be empty nor hold \"=\" or a line end");
    }
    if (value.find('\n') != std::string::npos) {
        throw Error("a property's value must not hold a line end");
    }
}

void Devices::makeFiles() {
    for (const auto& [path, content] : kFirstContents) putFile(path, content);
    for (const char* folder : {kFirmwareFolder, kTouchFolder, "/data/property", "/sys/class/tty",
                               "/sys/class/hidraw", "/sys/bus/usb/devices", "/dev/bus/usb/001"}) {
        fs::create_directories(folder);
    }
}

void Devices::setProperty(const std::string& key, const std::string& value) {
    checkProperty(key, value);
    mProperties[key] = value;
    std::string text;
    for (const auto& [name, content] : mProperties) {
        text.append(name).append("=").append(content).append("\n");
    }
    mJournal.add(Kind::Property, key, value);
    putFile(kPropertyFile, text);
}

void Devices::clearProperties() {
    mProperties.clear();
    mJournal.add(Kind::Property, {}, {}, "cleared");
    removeTree(kPropertyFile);
}

void Devices::setNode(const std::string& path, const std::string& text) {
    const fs::path resolved = resolveOwn(path);
    putFile(resolved, text);
    mJournal.add(Kind::NodeSet, resolved, text);
}

void Devices::removeNode(const std::string& path) {
    const fs::path resolved = resolveOwn(path);
    if (!fs::is_regular_file(resolved)) throw Error("there is no file " + path);
    removeTree(resolved);
    mJournal.add(Kind::NodeSet, resolved, {}, "removed");
}

std::optional<std::string> Devices::node(const std::string& path) const {
    return takeFile(resolveOwn(path));
}

void Devices::wakeLock(bool held) {
    const char* content = held ? kDisplayOn : kDisplayOff;
    mJournal.add(Kind::NodeSet, kWakeLock, content);
    putFile(kWakeLock, content);
}

void Devices::setFault(const std::string& text) {
    if (isNodeFault(text)) {
        mFiles.addFault(parseNodeFault(text));
    } else if (cover::isPanelFault(text)) {
        const cover::ParsedPanelFault parsed = cover::parsePanelFault(text);
        if (!parsed.fault) throw Error(parsed.error);
        mHidraw.faults().add(*parsed.fault);
    } else {
        cover::ParsedFault parsed = cover::parseFault(text);
        if (!parsed.fault) throw Error(parsed.error);
        mController->faults().add(*std::move(parsed.fault));
    }
    mJournal.add(Kind::Fault, {}, text);
}

std::vector<std::string> Devices::faults() const {
    std::vector<std::string> texts;
    for (const cover::Fault& fault : mController->faults().list()) texts.push_back(toText(fault));
    for (const NodeFault& fault : mFiles.faults()) texts.push_back(toText(fault));
    for (const auto& fault : mHidraw.faults().list()) texts.push_back(toText(fault));
    return texts;
}

void Devices::clearFaults() {
    mController->faults().clear();
    mFiles.clearFaults();
    mHidraw.faults().clear();
    mJournal.add(Kind::Fault, {});
    // What a fault held up goes on.
    decideWaiting();
}

}  // namespace phone
