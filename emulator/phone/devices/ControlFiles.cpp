// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/devices/ControlFiles.h"

#include <cstring>
#include <iterator>
#include <utility>

#include "emulator/phone/Error.h"
#include "emulator/phone/Paths.h"

namespace phone {

namespace fs = std::filesystem;

namespace {

constexpr char kDisplayLock[] = "PowerManagerService.Display";
// Of one length, so that the file never shrinks.
constexpr char kDisplayOn[] = "PowerManagerService.Display\n";
constexpr char kDisplayOff[] = "                           \n";
static_assert(sizeof(kDisplayOn) == sizeof(kDisplayOff));

constexpr std::pair<const char*, const char*> kFirstContents[] = {
        {kHalReady, "N\n"},      {kRecovery, "N\n"}, {kPowerNode, "0 0\n"},
        {kFirmwareWrite, "0\n"}, {kAesMode, "0\n"},  {kUpdateState, "0 0 0\n"},
        {kWakeLock, kDisplayOn}, {kKernelLog, ""},
};

}  // namespace

ControlFiles::ControlFiles(const Surroundings& surroundings, Written written)
    : Subject(surroundings), mWritten(std::move(written)) {
    mBackend.setFileListener(*this);
    putFirstContents();
}

std::map<std::string, std::string> ControlFiles::firstContents() {
    return {std::begin(kFirstContents), std::end(kFirstContents)};
}

void ControlFiles::putFirstContents() {
    for (const auto& [path, content] : kFirstContents) mBackend.putFile(path, content);
}

void ControlFiles::reset() {
    mBackend.restart();
    putFirstContents();
}

void ControlFiles::set(const std::string& path, const std::string& text) {
    call([&] {
        const fs::path resolved = mBackend.resolveFile(path);
        mBackend.putFile(resolved, text);
        mJournal.add(Kind::NodeSet, resolved, text);
    });
}

void ControlFiles::remove(const std::string& path) {
    call([&] {
        const fs::path resolved = mBackend.resolveFile(path);
        if (!mBackend.readFile(resolved)) throw Error("there is no file " + path);
        mBackend.removeFile(resolved);
        mJournal.add(Kind::NodeSet, resolved, {}, "removed");
    });
}

std::optional<std::string> ControlFiles::get(const std::string& path) const {
    return call([&] { return mBackend.readFile(mBackend.resolveFile(path)); });
}

void ControlFiles::setWakeLock(bool held) {
    call([&] {
        const char* content = held ? kDisplayOn : kDisplayOff;
        mJournal.add(Kind::NodeSet, kWakeLock, content);
        mBackend.putFile(kWakeLock, content);
    });
}

bool ControlFiles::isWakeLockHeld() const {
    return get(kWakeLock).value_or("").find(kDisplayLock) != std::string::npos;
}

void ControlFiles::fileOpened(const std::string& path, const std::string& note) {
    mJournal.add(Kind::NodeOpen, path, {}, note);
}

void ControlFiles::fileWritten(const std::string& path, const std::string& bytes) {
    if (path == kKernelLog) {
        mJournal.add(Kind::KernelLog, path, bytes);
        return;
    }
    mJournal.add(Kind::NodeWrite, path, bytes);
    mWritten(path, bytes);
}

void ControlFiles::fileClosed(const std::string& path) {
    mJournal.add(Kind::NodeClose, path);
}

void ControlFiles::fileRefused(const std::string& path, int error) {
    mJournal.add(Kind::NodeRefused, path, {}, strerrorname_np(error));
}

}  // namespace phone
