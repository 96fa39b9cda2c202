// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The seam between what the phone's devices do (devices/) and the way in which the software under
// test meets them. The back end of today (world/) has ptys, a seccomp supervisor and files in a
// namespace; a kernel in a virtual machine may stand in its place.
//
// Emulator thread only, where nothing else is said. An ability that a back end lacks is refused
// with phone::Error.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "emulator/cover/Types.h"
#include "emulator/phone/Error.h"
#include "emulator/phone/EventLoop.h"
#include "emulator/phone/backend/Device.h"
#include "emulator/phone/backend/NodeFault.h"

namespace phone {

// What the phone's software does with control files: those below /sys, the kernel log, and those
// with a fault. `path` is without symlinks above its last component.
class FileListener {
  public:
    virtual ~FileListener() = default;
    // `note`: flags, and the fault if any.
    virtual void fileOpened(const std::string& path, const std::string& note) = 0;
    // One write(), exactly.
    virtual void fileWritten(const std::string& path, const std::string& bytes) = 0;
    virtual void fileClosed(const std::string& path) = 0;
    // A fault has refused an open or an access test with this errno; or sysfs an open that would
    // have made a file.
    virtual void fileRefused(const std::string& path, int error) = 0;
};

struct File {
    std::string name;
    uint64_t size = 0;

    bool operator==(const File&) const = default;
};

class Backend {
  public:
    virtual ~Backend() = default;

    // USB devices. Throws phone::Error when a number is out of range or taken.
    virtual void checkFree(const DeviceDescription& description) const = 0;
    // A device that no program sees yet, with a free place on the bus. It goes before the back end.
    virtual std::unique_ptr<Device> make(const DeviceDescription& description) = 0;

    // The listener for control files, from the start. It outlives the back end's last call.
    virtual void setFileListener(FileListener& listener) = 0;

    // Files. What is put is seen at once and whole; folders are made if need be.
    virtual void putFile(const std::filesystem::path& path, std::string_view content) = 0;
    virtual void removeFile(const std::filesystem::path& path) = 0;
    // Nothing when there is no regular file.
    virtual std::optional<std::string> readFile(const std::filesystem::path& path) const = 0;
    // The regular files in a folder, sorted.
    virtual std::vector<File> listFiles(const std::filesystem::path& folder) const = 0;
    // Where a path leads; throws phone::Error when that is no file of the phone.
    virtual std::filesystem::path resolveFile(const std::string& path) const = 0;
    // Leaves it empty.
    virtual void clearFolder(const std::filesystem::path& folder) = 0;
    // As the phone starts: no files but the folders that its software expects, and nothing kept of
    // devices that were there. None is now.
    virtual void restart() = 0;
    // These faults and no others apply from now on. `met` is told of the fault, by its place, that
    // strikes at a path without symlinks; `call` as in a program: "open O_RDWR", "access".
    using NodeFaultMet =
            std::function<void(size_t fault, const std::string& path, const std::string& call)>;
    virtual void setNodeFaults(const std::vector<NodeFault>& faults, const NodeFaultMet& met) = 0;

    // Whether the kernel of this back end itself suspends and wakes the devices of its bus, and
    // writes their power/runtime_status.
    virtual bool managesPower() const { return false; }

    // Whether the kernel of this back end itself decides about opens of hidraw nodes: a listener is
    // told of them.
    virtual bool opensHidraw() const { return false; }

    // The kernel's uevents: 1 to kLongestUevent bytes. One thread at a time, any.
    virtual void raiseUevent(const std::string& event) = 0;
    // The same bytes from a process.
    virtual void forgeUevent(const std::string& event) = 0;

    // Reports to the listeners all that the phone's software has written so far.
    virtual void drain() = 0;
    // Asks again about the calls whose time has come; returns when it wants to be called next.
    virtual std::optional<cover::Time> turn() = 0;
    // Asks again about all calls that wait.
    virtual void decideWaiting() = 0;

    // The software under test; see Phone. Any thread but the emulator's.
    virtual void superviseThisThread() = 0;
    virtual pid_t spawn(const std::vector<std::string>& command) = 0;

    // Sends a signal to the program that was spawned last, and not to its keeper. Throws
    // phone::Error when that does not run.
    virtual void signal(int) { throw Error("no program runs on this phone"); }
};

// Makes a back end that uses the loop.
using MakeBackend = std::function<std::unique_ptr<Backend>(EventLoop&)>;

// Longest event that the kernel passes on whatever its number is: both have 2,032 bytes.
inline constexpr size_t kLongestUevent = 2032 - sizeof("SEQNUM=18446744073709551615");

}  // namespace phone
