// Firmware images of the phone, and its kernel driver that writes them into the cover.

#include <algorithm>
#include <filesystem>

#include "emulator/cover/FirmwareImage.h"
#include "emulator/cover/Integers.h"
#include "emulator/phone/Devices.h"
#include "emulator/phone/Files.h"

namespace phone {

namespace fs = std::filesystem;

namespace {

// Numbers that the driver is given.
constexpr int kCancel = 0;
constexpr int kUpgrade = 1;
constexpr int kRecover = 6;

constexpr size_t kMaxImageSize = 64 << 20;

fs::path pathOfImage(const std::string& name) {
    if (name.empty() || name == "." || name == ".." || name.find('/') != std::string::npos) {
        throw Error("\"" + name + "\" is not a file name");
    }
    return fs::path(kFirmwareFolder) / name;
}

// A number and perhaps a line end, as the kernel reads one.
std::optional<int> parseCommand(std::string_view bytes) {
    if (bytes.ends_with('\n')) bytes.remove_suffix(1);
    return cover::parseInteger<int>(bytes);
}

std::vector<std::string> imageNames() {
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(kFirmwareFolder, error), end; entry != end && !error;
         entry.increment(error)) {
        std::error_code gone;
        if (entry->is_regular_file(gone)) names.push_back(entry->path().filename());
    }
    return names;
}

}  // namespace

void Devices::putFirmware(const std::string& name, size_t size) {
    if (size > kMaxImageSize) {
        throw Error("an image holds at most " + std::to_string(kMaxImageSize) + " bytes");
    }
    const fs::path path = pathOfImage(name);
    // As erased flash memory.
    putFile(path, std::string(size, '\xff'));
    mJournal.add(Kind::NodeSet, path, {}, std::to_string(size) + " bytes");
}

std::vector<FirmwareFile> Devices::firmware() const {
    std::vector<FirmwareFile> files;
    for (const std::string& name : imageNames()) {
        std::error_code gone;
        const uintmax_t size = fs::file_size(fs::path(kFirmwareFolder) / name, gone);
        if (!gone) files.push_back({name, size});
    }
    std::sort(files.begin(), files.end(),
              [](const FirmwareFile& a, const FirmwareFile& b) { return a.name < b.name; });
    return files;
}

void Devices::clearFirmware() {
    removeTree(kFirmwareFolder);
    fs::create_directories(kFirmwareFolder);
    mJournal.add(Kind::NodeSet, kFirmwareFolder, {}, "removed");
}

void Devices::controlFirmware(const std::string& bytes) {
    const std::optional<int> command = parseCommand(bytes);
    if (command == kCancel) {
        if (mController->cancelUpgrade()) {
            noteUpgrade("cancelled");
        } else if (mController->upgrade().phase() != cover::Upgrade::Phase::None) {
            noteUpgrade("not cancelled: the loader is entered");
        }
    } else if (command == kUpgrade) {
        startUpgrade();
    } else if (command == kRecover) {
        if (mController->state().power == cover::Power::Loader) return startUpgrade();
        mJournal.add(Kind::Upgrade, {}, {}, "refused: no cover is in its loader");
    } else {
        mJournal.add(Kind::Upgrade, {}, {}, "refused: 0, 1 and 6 are known");
    }
}

void Devices::startUpgrade() {
    // Nobody tells the driver a file: it looks for itself.
    const std::optional<std::string> image =
            cover::chooseImage(imageNames(), mController->options().version);
    if (!image) {
        mJournal.add(Kind::Upgrade, {}, {}, "refused: no image for this cover");
    } else if (mController->startUpgrade(*cover::versionOfImage(*image), EventLoop::now())) {
        mImage = *image;
        noteUpgrade("started");
    } else {
        mJournal.add(Kind::Upgrade, *image, {}, "refused: no cover, or an upgrade is under way");
    }
}

void Devices::noteUpgrade(const std::string& what) {
    mJournal.add(Kind::Upgrade, mImage, {}, what);
}

}  // namespace phone
