// Control files: who opens them, and every write, recorded exactly. Emulator thread only.
//
// Whoever opens a file under /sys (or the kernel log) for writing gets a packet socket instead:
// each write arrives as one packet with its bounds kept, and the file then shows the last write, as
// a kernel attribute would.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "emulator/phone/EventLoop.h"
#include "emulator/phone/Journal.h"
#include "emulator/phone/NodeFault.h"
#include "emulator/phone/Supervisor.h"

namespace phone {

class ControlFiles {
  public:
    // `written` is told of each write to a file under /sys, after it was recorded.
    using Written = std::function<void(const std::string& path, const std::string& bytes)>;
    ControlFiles(EventLoop& loop, Journal& journal, Written written);
    ~ControlFiles();

    // What becomes of an open or access test of a file of the world.
    Verdict decide(const OpenCall& call);

    // Records the writes that have arrived. To be called before anything later is recorded.
    void drain();

    void addFault(NodeFault fault) { mFaults.push_back(std::move(fault)); }
    const std::vector<NodeFault>& faults() const { return mFaults; }
    void clearFaults() { mFaults.clear(); }

  private:
    struct Writer {
        std::string path;
        Fd socket;
    };

    int faultError(const OpenCall& call, const std::string& path) const;
    bool has(NodeEffect effect, const std::string& path) const;
    bool isUnreadable(const OpenCall& call, const std::string& path) const;
    bool isRecorded(const OpenCall& call, const std::string& path) const;
    void noteOpen(const OpenCall& call, const std::string& path, const char* fault);
    Fd openWriter(const std::string& path);
    // False when the writer is gone.
    bool drain(Writer& writer);
    void take(const Writer& writer, std::string bytes);

    EventLoop& mLoop;
    Journal& mJournal;
    const Written mWritten;
    std::vector<NodeFault> mFaults;
    std::map<int, Writer> mWriters;  // by socket
};

// The path under which a file is recorded: without symlinks above its last component.
std::filesystem::path resolveFolder(const std::filesystem::path& path);

}  // namespace phone
