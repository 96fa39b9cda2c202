// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The phone on a back end of plain memory: no pty, no file, no supervisor.

#include <gmock/gmock.h>

#include <cerrno>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "emulator/phone/Phone.h"

namespace {

namespace fs = std::filesystem;

using phone::HidAnswer;
using phone::HidRequest;
using phone::Kind;
using testing::ElementsAre;
using testing::IsEmpty;

// What the phone's software would see of the one device that is plugged in.
struct Shown {
    std::vector<std::string> nodes;
    std::string received;  // from its tty
    phone::DeviceDescription description;
};

class MemoryDevice : public phone::Device {
  public:
    MemoryDevice(Shown& shown, const phone::DeviceDescription& description) : mShown(shown) {
        mShown = {.nodes = {}, .received = {}, .description = description};
    }
    ~MemoryDevice() override { mShown.nodes.clear(); }

    const std::string& name() const override { return mName; }
    void publish() override {
        mShown.nodes = {mName, phone::ttyNode(*mShown.description.tty),
                        phone::hidrawNode(*mShown.description.hidraw)};
    }
    void hangUp() override { mShown.nodes = {mName}; }
    void send(std::string_view bytes) override { mShown.received += bytes; }
    bool hasRoom() const override { return true; }
    bool hasUnread() const override { return false; }

  private:
    const std::string mName = "memory";
    Shown& mShown;
};

class MemoryBackend : public phone::Backend {
  public:
    explicit MemoryBackend(phone::EventLoop& loop) : mLoop(loop) {}

    // The phone's software: any thread but the emulator's.
    cover::Time wake() {
        return mLoop.call([&] { return tty().wake(); });
    }
    void openTty() {
        mLoop.call([&] {
            tty().ttyOpened("/dev/ttyACM0", "O_RDWR");
            tty().dtrSet("/dev/ttyACM0", true);
        });
    }
    void writeTty(const std::string& bytes) {
        mLoop.call([&] { tty().ttyReceived("/dev/ttyACM0", bytes); });
    }
    int64_t openPanel() {
        return mLoop.call([&] { return panel().hidOpened("/dev/hidraw0", {"O_RDWR"}, false); })
                .result;
    }
    HidAnswer request(const HidRequest& request) {
        return mLoop.call([&] { return panel().hidRequested("/dev/hidraw0", request, false); });
    }
    void writeFile(const std::string& path, const std::string& bytes) {
        mLoop.call([&] {
            mFiles[path] = bytes;
            mListener->fileWritten(path, bytes);
        });
    }
    Shown shown() {
        return mLoop.call([&] { return mShown; });
    }

    void checkFree(const phone::DeviceDescription&) const override {}
    std::unique_ptr<phone::Device> make(const phone::DeviceDescription& description) override {
        return std::make_unique<MemoryDevice>(mShown, description);
    }
    void setFileListener(phone::FileListener& listener) override { mListener = &listener; }
    void putFile(const fs::path& path, std::string_view content) override {
        mFiles[path] = content;
    }
    void removeFile(const fs::path& path) override { mFiles.erase(path); }
    std::optional<std::string> readFile(const fs::path& path) const override {
        const auto file = mFiles.find(path);
        return file == mFiles.end() ? std::nullopt : std::optional(file->second);
    }
    std::vector<phone::File> listFiles(const fs::path& folder) const override {
        std::vector<phone::File> files;
        for (const auto& [path, content] : mFiles) {
            if (path.parent_path() == folder) files.push_back({path.filename(), content.size()});
        }
        return files;
    }
    fs::path resolveFile(const std::string& path) const override { return path; }
    void clearFolder(const fs::path&) override {}
    void restart() override { mFiles.clear(); }
    void setNodeFaults(const std::vector<phone::NodeFault>&, const NodeFaultMet&) override {
        refuse();
    }
    void raiseUevent(const std::string&) override { refuse(); }
    void forgeUevent(const std::string&) override { refuse(); }
    void drain() override {}
    std::optional<cover::Time> turn() override { return std::nullopt; }
    void decideWaiting() override {}
    void superviseThisThread() override { refuse(); }
    pid_t spawn(const std::vector<std::string>&) override { refuse(); }

  private:
    [[noreturn]] static void refuse() { throw phone::Error("plain memory cannot do that"); }
    phone::TtyListener& tty() { return *mShown.description.ttyListener; }
    phone::HidListener& panel() { return *mShown.description.hidListener; }

    phone::EventLoop& mLoop;
    phone::FileListener* mListener = nullptr;
    std::map<fs::path, std::string> mFiles;
    Shown mShown;
};

class BackendTest : public testing::Test {
  protected:
    BackendTest()
        : phone([this](phone::EventLoop& loop) {
              auto made = std::make_unique<MemoryBackend>(loop);
              backend = made.get();
              return made;
          }) {}

    std::vector<std::string_view> kinds() {
        std::vector<std::string_view> names;
        for (const phone::Entry& entry : phone.journal().since(1))
            names.push_back(name(entry.kind));
        return names;
    }

    MemoryBackend* backend = nullptr;
    phone::Phone phone;
};

TEST_F(BackendTest, PlaysACoverThatComesAnswersAndGoes) {
    phone.cover.attach();
    EXPECT_THAT(backend->shown().nodes, ElementsAre("memory", "/dev/ttyACM0", "/dev/hidraw0"));

    EXPECT_EQ(backend->wake(), cover::Time::zero());
    backend->openTty();
    EXPECT_TRUE(phone.cover.state().dtr);
    backend->writeTty("AT%SWV\r");
    phone.journal().waitFor([](const phone::Entry& entry) {
        return entry.kind == Kind::TtyTx && entry.bytes.ends_with("OK\r\n");
    });
    EXPECT_EQ(backend->shown().received, "AT%SWV\r\r\nBV330-V10k_20210312\r\nOK\r\n");

    EXPECT_EQ(backend->openPanel(), 0);
    const HidAnswer answer =
            backend->request({.kind = HidRequest::Kind::GetFeature, .size = 7, .bytes = "\x02"});
    EXPECT_EQ(answer.result, 7);
    EXPECT_EQ(answer.report, std::string("\x02\x80\x00\x80\x00\x04\x01", 7));

    phone.cover.detach();
    EXPECT_THAT(backend->shown().nodes, IsEmpty());
    EXPECT_FALSE(phone.panel.isAttached());
    EXPECT_THAT(kinds(), ElementsAre("attach", "tty-open", "dtr", "tty-rx", "tty-tx", "hid-open",
                                     "hid-get", "detach"));
}

TEST_F(BackendTest, ANumberForTheFirmwareReachesTheCover) {
    phone.firmware.put("BV330-V11a_20230101.dfu", 10);
    EXPECT_THAT(phone.firmware.list(), ElementsAre(phone::File{"BV330-V11a_20230101.dfu", 10}));
    phone.cover.attach();
    backend->writeFile(phone::kFirmwareWrite, "1\n");
    EXPECT_EQ(
            phone.journal()
                    .waitFor([](const phone::Entry& entry) { return entry.kind == Kind::Upgrade; })
                    .note,
            "started");
}

TEST_F(BackendTest, OpensOfASuspendedCoverWait) {
    phone.usbPower.setOptions({std::chrono::milliseconds(0), std::chrono::hours(1)});
    phone.cover.attach();
    backend->writeFile("/sys/devices/memory/power/control", "auto");
    phone.journal().waitFor([](const phone::Entry& entry) { return entry.note == "suspended"; });
    EXPECT_EQ(phone.files.get("/sys/bus/usb/devices/memory/power/runtime_status"), "suspended\n");
    EXPECT_EQ(backend->wake(), std::chrono::hours(1));
    EXPECT_GT(backend->wake(), std::chrono::minutes(1)) << "it is still on the way";
}

TEST_F(BackendTest, FaultsOfThePanelNeedNoHelpOfIt) {
    phone.cover.attach();
    phone.faults.set("hid write error EPIPE times 1");
    phone.faults.set("hid config late 3600s");
    EXPECT_EQ(backend->request({.size = 7, .bytes = std::string(7, '\0')}).result, -EPIPE);
    EXPECT_EQ(backend->request({.kind = HidRequest::Kind::SetFeature, .size = 3, .bytes = "\x03"})
                      .askAgainAfter,
              std::chrono::hours(1));
}

TEST_F(BackendTest, WhatItCannotDoIsRefusedAndForgotten) {
    EXPECT_THROW(phone.faults.set("node /sys/power/wake_lock missing"), phone::Error);
    EXPECT_THAT(phone.faults.list(), IsEmpty());
    EXPECT_THROW(phone.spawn({"true"}), phone::Error);
    EXPECT_THROW(phone.signal("USR1"), phone::Error);
    EXPECT_THROW(phone.uevents.raise("change@/x"), phone::Error);
    phone.reset();
}

}  // namespace
