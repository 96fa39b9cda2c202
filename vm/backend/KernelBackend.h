// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The back end in which a real kernel has the phone's devices: those of the USB bus are played over
// USB/IP, the nodes are those of the kernel's own drivers and of vm/module.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <android-base/unique_fd.h>

#include "emulator/phone/backend/Backend.h"
#include "emulator/phone/world/UeventSender.h"
#include "vm/backend/KernelDevice.h"
#include "vm/backend/Records.h"

namespace vm {

class KernelBackend : public phone::Backend {
  public:
    // Throws phone::Error where enterMachine() does.
    explicit KernelBackend(phone::EventLoop& loop);
    ~KernelBackend() override;

    void checkFree(const phone::DeviceDescription& description) const override;
    std::unique_ptr<phone::Device> make(const phone::DeviceDescription& description) override;

    void setFileListener(phone::FileListener& listener) override { mFileListener = &listener; }
    // An attribute of the kernel takes one write, and is there or not. Of the kernel log nothing
    // can be taken away.
    void putFile(const std::filesystem::path& path, std::string_view content) override;
    void removeFile(const std::filesystem::path& path) override;
    std::optional<std::string> readFile(const std::filesystem::path& path) const override;
    std::vector<phone::File> listFiles(const std::filesystem::path& folder) const override;
    std::filesystem::path resolveFile(const std::string& path) const override;
    void clearFolder(const std::filesystem::path& folder) override;
    void restart() override;
    void setNodeFaults(const std::vector<phone::NodeFault>& faults,
                       const NodeFaultMet& met) override;

    bool managesPower() const override { return true; }
    bool opensHidraw() const override { return true; }

    void raiseUevent(const std::string& event) override;
    void forgeUevent(const std::string& event) override;

    void drain() override;
    std::optional<cover::Time> turn() override;
    void decideWaiting() override;

    // Every program is recorded here.
    void superviseThisThread() override {}
    pid_t spawn(const std::vector<std::string>& command) override;
    void signal(int number) override;

    // For its devices.
    phone::EventLoop& loop() { return mLoop; }
    // Tells the listeners what the drivers have recorded.
    void drainRecords();
    // Plays the devices until `isDone`, and tells no listener of what they are asked for. Throws
    // phone::Error when that takes too long: the kernel does not do `what`.
    void serveUntil(const std::function<bool()>& isDone, const std::string& what);
    // Waits until no program has an earlier node of these numbers open, at most so long.
    void awaitClosed(const phone::DeviceDescription& description, cover::Time limit);
    void forget(const KernelDevice& device);

  private:
    // A node, whichever device it belongs to or last belonged to.
    struct Tty {
        phone::TtyListener* listener = nullptr;
        int opens = 0;
    };
    struct Hidraw {
        phone::HidListener* listener = nullptr;
        int opens = 0;
    };

    void serve();
    void tell();
    void tell(const Record& record);
    void tellTty(const Record& record);
    void tellHidraw(const Record& record);
    // The device that has this tty now.
    std::shared_ptr<KernelDevice> findTty(const std::string& node) const;
    // Carries out on a thread of its own what may make the kernel talk to a device, and plays the
    // devices meanwhile.
    void work(std::function<void()> task);
    void writeAttribute(const std::string& path, std::string_view content);

    phone::EventLoop& mLoop;
    const android::base::unique_fd mDriver;
    const phone::UeventSender mUevents;
    phone::FileListener* mFileListener = nullptr;
    std::deque<Record> mRecords;  // not told yet
    std::vector<std::shared_ptr<KernelDevice>> mDevices;
    std::map<std::string, Tty> mTtys;        // by node
    std::map<std::string, Hidraw> mHidraws;  // by node
    android::base::unique_fd mProgram;       // a pidfd of what was spawned last
};

// The ground of bivista-emulator-kernel (run::Ground). Throws phone::Error where there is no such
// machine.
void enterMachine();
std::unique_ptr<phone::Backend> makeKernelBackend(phone::EventLoop& loop);

}  // namespace vm
