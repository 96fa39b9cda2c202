// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Control files: reports every open and every write exactly. Emulator thread only.
//
// A program that opens a file under /sys (or the kernel log) for writing gets a packet socket
// instead. Each write arrives as one packet with its bounds kept. The file then shows the last
// write, as a kernel attribute would.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <android-base/unique_fd.h>

#include "emulator/phone/EventLoop.h"
#include "emulator/phone/backend/Backend.h"
#include "emulator/phone/world/Supervisor.h"

namespace phone {

class RecordedFiles {
  public:
    explicit RecordedFiles(EventLoop& loop) : mLoop(loop) {}

    // To be called before anything is opened.
    void setListener(FileListener& listener) { mListener = &listener; }

    // What becomes of an open or access test of a file of the world.
    Verdict decide(const OpenCall& call);

    // Reports the writes that have arrived. To be called before anything later is reported.
    void drain();

    void setFaults(const std::vector<NodeFault>& faults, const Backend::NodeFaultMet& met) {
        mFaults = faults;
        mMet = met;
    }

  private:
    struct Writer {
        std::string path;
        android::base::unique_fd socket;
    };

    // errno with which a fault or sysfs refuses the call, or 0.
    int refusal(const OpenCall& call, const std::string& path) const;
    // The place of the first such fault in the list, or the list's size.
    size_t find(NodeEffect effect, const std::string& path) const;
    bool has(NodeEffect effect, const std::string& path) const {
        return find(effect, path) < mFaults.size();
    }
    // The fault at this place in the list strikes.
    void meet(size_t fault, const OpenCall& call, const std::string& path) const;
    // Whether there is such a fault, which then strikes.
    bool strikes(NodeEffect effect, const OpenCall& call, const std::string& path) const;
    bool isUnreadable(const OpenCall& call, const std::string& path) const;
    bool isRecorded(const OpenCall& call, const std::string& path) const;
    android::base::unique_fd openWriter(const std::string& path);
    // False when the writer is gone.
    bool drain(Writer& writer);
    void take(const Writer& writer, const std::string& bytes);

    EventLoop& mLoop;
    FileListener* mListener = nullptr;
    std::vector<NodeFault> mFaults;
    Backend::NodeFaultMet mMet;
    std::map<int, Writer> mWriters;  // by socket
};

// Without symlinks above the last component.
std::filesystem::path resolveFolder(const std::filesystem::path& path);

}  // namespace phone
