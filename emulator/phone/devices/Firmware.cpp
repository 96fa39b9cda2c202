// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/devices/Firmware.h"

#include "emulator/cover/FirmwareImage.h"
#include "emulator/cover/Integers.h"
#include "emulator/phone/Error.h"
#include "emulator/phone/Paths.h"
#include "emulator/phone/devices/Cover.h"

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

}  // namespace

void Firmware::put(const std::string& name, size_t size) {
    if (size > kMaxImageSize) {
        throw Error("an image holds at most " + std::to_string(kMaxImageSize) + " bytes");
    }
    const fs::path path = pathOfImage(name);
    call([&] {
        // As erased flash memory.
        mBackend.putFile(path, std::string(size, '\xff'));
        mJournal.add(Kind::NodeSet, path, {}, std::to_string(size) + " bytes");
    });
}

std::vector<File> Firmware::list() const {
    return call([&] { return mBackend.listFiles(kFirmwareFolder); });
}

void Firmware::clear() {
    call([&] {
        mBackend.clearFolder(kFirmwareFolder);
        mJournal.add(Kind::NodeSet, kFirmwareFolder, {}, "removed");
    });
}

void Firmware::control(const std::string& bytes) {
    cover::Microcontroller& controller = mCover.controller();
    const std::optional<int> command = parseCommand(bytes);
    if (command == kCancel) {
        if (controller.cancelUpgrade()) {
            note("cancelled");
        } else if (controller.upgrade().phase() != cover::Upgrade::Phase::None) {
            note("not cancelled: the loader is entered");
        }
    } else if (command == kUpgrade) {
        startUpgrade();
    } else if (command == kRecover) {
        if (controller.state().power == cover::Power::Loader) return startUpgrade();
        refuse("no cover is in its loader");
    } else {
        refuse("0, 1 and 6 are known");
    }
}

void Firmware::startUpgrade() {
    cover::Microcontroller& controller = mCover.controller();
    std::vector<std::string> names;
    for (File& file : mBackend.listFiles(kFirmwareFolder)) names.push_back(std::move(file.name));
    // The driver is given no file: it looks for one itself.
    const std::optional<std::string> image =
            cover::chooseImage(names, controller.options().version);
    if (!image) {
        refuse("no image for this cover");
    } else if (controller.startUpgrade(*cover::versionOfImage(*image), EventLoop::now())) {
        mImage = *image;
        note("started");
    } else {
        mJournal.add(Kind::Upgrade, *image, {}, "refused: no cover, or an upgrade is under way");
    }
}

void Firmware::refuse(const std::string& reason) {
    mJournal.add(Kind::Upgrade, {}, {}, "refused: " + reason);
}

void Firmware::note(const std::string& what) {
    mJournal.add(Kind::Upgrade, mImage, {}, what);
}

}  // namespace phone
