// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The back end in which the phone's software runs as it is on this machine: ptys for ttys, files in
// the world's namespace, and a supervisor of system calls for what a file cannot do.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include <android-base/unique_fd.h>

#include "emulator/phone/backend/Backend.h"
#include "emulator/phone/world/Hidraw.h"
#include "emulator/phone/world/PluggedDevice.h"
#include "emulator/phone/world/RecordedFiles.h"
#include "emulator/phone/world/Supervisor.h"
#include "emulator/phone/world/UeventSender.h"

namespace phone {

class WorldBackend : public Backend {
  public:
    // In the world (World.h) already. Throws phone::Error where that cannot be.
    explicit WorldBackend(EventLoop& loop);

    void checkFree(const DeviceDescription& description) const override;
    std::unique_ptr<Device> make(const DeviceDescription& description) override;

    void setFileListener(FileListener& listener) override { mFiles.setListener(listener); }
    void putFile(const std::filesystem::path& path, std::string_view content) override;
    void removeFile(const std::filesystem::path& path) override;
    std::optional<std::string> readFile(const std::filesystem::path& path) const override;
    std::vector<File> listFiles(const std::filesystem::path& folder) const override;
    std::filesystem::path resolveFile(const std::string& path) const override;
    void clearFolder(const std::filesystem::path& folder) override;
    void restart() override;
    void setNodeFaults(const std::vector<NodeFault>& faults, const NodeFaultMet& met) override {
        mFiles.setFaults(faults, met);
    }

    void raiseUevent(const std::string& event) override { mUevents.throughKernel(event); }
    void forgeUevent(const std::string& event) override;

    void drain() override;
    std::optional<cover::Time> turn() override;
    void decideWaiting() override;

    void superviseThisThread() override;
    pid_t spawn(const std::vector<std::string>& command) override;
    void signal(int number) override;

    // For its devices.
    EventLoop& loop() { return mLoop; }
    Hidraw& hidraw() { return mHidraw; }
    // As drain(), without the ttys.
    void drainFiles();
    void forget(const PluggedDevice& device);
    // Answers system calls, and does nothing else, for so long.
    void answerCalls(cover::Time time);

  private:
    void supervise(android::base::unique_fd listener);
    Verdict decide(const OpenCall& call, bool waited);
    Verdict decide(const IoctlCall& call, bool waited);
    Verdict decide(const ReportCall& call, bool waited);
    Verdict decide(const CloseCall& call, bool waited);
    // The device of this tty's node or pty, if it is one of ours.
    PluggedDevice* findTty(const std::string& path) const;

    EventLoop& mLoop;
    RecordedFiles mFiles;
    Hidraw mHidraw;
    const UeventSender mUevents;
    std::map<int, Supervisor> mSupervisors;  // by listener
    std::vector<PluggedDevice*> mDevices;
    android::base::unique_fd mProgram;  // a pidfd of what was spawned last
    int mLastUsbNumber = 1;
};

// A MakeBackend.
std::unique_ptr<Backend> makeWorldBackend(EventLoop& loop);

}  // namespace phone
