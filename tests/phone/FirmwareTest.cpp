// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's firmware: images on the phone, the kernel's driver that writes them, and the loader.

#include <gmock/gmock.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <android-base/unique_fd.h>
#include "tests/support/PhoneTest.h"

namespace {

namespace fs = std::filesystem;

using android::base::unique_fd;
using phone::Entry;
using phone::File;
using phone::Kind;
using support::withoutPanel;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kCover[] = "3e91:6a2f TQC330R BV33021030001";
constexpr char kLoader[] = "0483:df11 TQC330R 00000000001A";
constexpr char kBrokenLoader[] = "0483:df11 TQC330R 00000000001B";

class FirmwareTest : public support::PhoneTest {
  protected:
    FirmwareTest() { setTimes(std::chrono::milliseconds(5), std::chrono::milliseconds(20)); }

    void setTimes(cover::Time delay, cover::Time time) {
        cover::Options options = phone.cover.options();
        options.version = "AB-1_20210312";
        options.upgradeDelay = delay;
        options.upgradeTime = time;
        phone.cover.setOptions(options);
    }

    // Gives the kernel's driver a number.
    static void command(const std::string& number) {
        const unique_fd node(open(phone::kFirmwareWrite, O_WRONLY | O_CLOEXEC));
        ASSERT_TRUE(node.ok());
        ASSERT_EQ(write(node.get(), number.data(), number.size()),
                  static_cast<ssize_t>(number.size()));
    }

    // What came of it, and what came to the bus, from journal entry `from` on.
    std::vector<std::string> happened(uint64_t from) const {
        std::vector<std::string> notes;
        for (const Entry& entry : journal.since(from)) {
            if (entry.kind == Kind::Upgrade || entry.kind == Kind::Attach) {
                notes.push_back(entry.note);
            }
        }
        return notes;
    }

    Entry awaitNote(Kind kind, const std::string& note, uint64_t from) const {
        return journal.waitFor(
                [&](const Entry& entry) { return entry.kind == kind && entry.note == note; }, from);
    }
};

TEST_F(FirmwareTest, ImagesArePutListedAndRemoved) {
    EXPECT_THAT(phone.firmware.list(), IsEmpty());
    phone.firmware.put("b.dfu", 70000);
    phone.firmware.put("a", 0);
    EXPECT_THAT(phone.firmware.list(), ElementsAre(File{"a", 0}, File{"b.dfu", 70000}));
    EXPECT_EQ(fs::file_size(fs::path(phone::kFirmwareFolder) / "b.dfu"), 70000u);
    phone.firmware.put("b.dfu", 3);
    EXPECT_EQ(phone.files.get(phone::kFirmwareFolder + std::string("/b.dfu")), "\xff\xff\xff");
    phone.firmware.clear();
    EXPECT_THAT(phone.firmware.list(), IsEmpty());
    EXPECT_TRUE(fs::is_directory(phone::kFirmwareFolder));
}

TEST_F(FirmwareTest, ImagesHaveFileNamesOfAnyBytes) {
    const std::string longest(255, 'x');
    phone.firmware.put("\xff \n", 1);
    phone.firmware.put(longest, 1);
    EXPECT_THAT(phone.firmware.list(), ElementsAre(File{longest, 1}, File{"\xff \n", 1}));
    for (const std::string& name : {std::string(), std::string("."), std::string(".."),
                                    std::string("a/b"), std::string(256, 'x')}) {
        EXPECT_THROW(phone.firmware.put(name, 1), phone::Error) << name;
    }
    EXPECT_THROW(phone.firmware.put("a", (64 << 20) + 1), phone::Error);
}

TEST_F(FirmwareTest, OneTakesTheCoverThroughItsLoaderToTheNewestImage) {
    phone.firmware.put("AB-2_20220101.dfu", 10);
    phone.firmware.put("AB-3_20230101.dfu", 10);
    phone.firmware.put("AC-9_20240101.dfu", 10);
    phone.cover.attach(withoutPanel());
    const uint64_t from = journal.next();
    command("1");
    awaitNote(Kind::Attach, kCover, from);
    EXPECT_THAT(happened(from), ElementsAre("started", kLoader, "0%", "10%", "20%", "30%", "40%",
                                            "50%", "60%", "70%", "80%", "90%", "100%", kCover));
    EXPECT_EQ(awaitNote(Kind::Upgrade, "100%", from).path, "AB-3_20230101.dfu");
    EXPECT_EQ(phone.cover.options().version, "AB-3_20230101");
    EXPECT_TRUE(phone.cover.isAttached());
}

TEST_F(FirmwareTest, CoverComesBackAsItWasPutOn) {
    phone.firmware.put("AB-2_x.dfu", 1);
    phone::CoverOptions options = withoutPanel();
    options.tty = 3;
    phone.cover.attach(options);
    const uint64_t from = journal.next();
    command("1\n");
    awaitNote(Kind::Attach, kCover, from);
    phone.cover.listState();
    EXPECT_EQ(access("/dev/ttyACM3", F_OK), 0);
    EXPECT_NE(access("/dev/hidraw0", F_OK), 0);
}

TEST_F(FirmwareTest, ImageIsWrittenWhateverItsAge) {
    phone.firmware.put("AB-0_old.dfu", 1);
    phone.cover.attach(withoutPanel());
    const uint64_t from = journal.next();
    command("1");
    awaitNote(Kind::Attach, kCover, from);
    EXPECT_EQ(phone.cover.options().version, "AB-0_old");
}

TEST_F(FirmwareTest, WithoutAnImageNothingHappens) {
    phone.firmware.put("AC-2_x.dfu", 1);
    fs::create_directory(fs::path(phone::kFirmwareFolder) / "AB-2_x.dfu");
    phone.cover.attach();
    const uint64_t from = journal.next();
    command("1");
    EXPECT_THAT(happened(from), ElementsAre("refused: no image for this cover"));
    fs::remove_all(phone::kFirmwareFolder);
    command("1");
    EXPECT_THAT(happened(from), ElementsAre("refused: no image for this cover",
                                            "refused: no image for this cover"));
    EXPECT_TRUE(phone.cover.isAttached());
    phone.firmware.clear();
}

TEST_F(FirmwareTest, WithoutACoverNothingHappens) {
    phone.firmware.put("AB-2_x.dfu", 1);
    command("1");
    EXPECT_THAT(happened(first), ElementsAre("refused: no cover, or an upgrade is under way"));
}

TEST_F(FirmwareTest, OneUpgradeAtATime) {
    setTimes(std::chrono::hours(1), std::chrono::hours(1));
    phone.firmware.put("AB-2_x.dfu", 1);
    phone.cover.attach();
    const uint64_t from = journal.next();
    command("1");
    command("1");
    EXPECT_THAT(happened(from),
                ElementsAre("started", "refused: no cover, or an upgrade is under way"));
}

TEST_F(FirmwareTest, ZeroCancelsUntilTheCoverLeaves) {
    setTimes(std::chrono::hours(1), std::chrono::hours(1));
    phone.firmware.put("AB-2_x.dfu", 1);
    phone.cover.attach();
    const uint64_t from = journal.next();
    command("1");
    command("0");
    EXPECT_THAT(happened(from), ElementsAre("started", "cancelled"));
    EXPECT_TRUE(phone.cover.isAttached());
}

TEST_F(FirmwareTest, ZeroInTheLoaderIsTooLate) {
    setTimes(std::chrono::milliseconds(1), std::chrono::hours(1));
    phone.firmware.put("AB-2_x.dfu", 1);
    phone.cover.attach(withoutPanel());
    const uint64_t from = journal.next();
    command("1");
    awaitNote(Kind::Upgrade, "0%", from);
    command("0");
    EXPECT_THAT(happened(from),
                ElementsAre("started", kLoader, "0%", "not cancelled: the loader is entered"));
    EXPECT_EQ(phone.cover.state().power, cover::Power::Loader);
}

// As every detach of the service does.
TEST_F(FirmwareTest, ZeroAsTheCoverLeavesIsTooLate) {
    phone.firmware.put("AB-2_x.dfu", 1);
    phone.cover.attach(withoutPanel());
    const uint64_t from = journal.next();
    command("1");
    journal.waitFor([](const Entry& entry) { return entry.kind == Kind::Detach; }, from);
    command("0");
    awaitNote(Kind::Attach, kCover, from);
    EXPECT_EQ(phone.cover.options().version, "AB-2_x");
}

TEST_F(FirmwareTest, ZeroWithoutAnUpgradeIsNothing) {
    phone.cover.attach();
    const uint64_t from = journal.next();
    command("0");
    EXPECT_THAT(happened(from), IsEmpty());
}

TEST_F(FirmwareTest, OtherNumbersAreRefused) {
    phone.firmware.put("AB-2_x.dfu", 1);
    phone.cover.attach();
    const uint64_t from = journal.next();
    for (const char* number : {"2", "-1", "\n", "1x", " 1", "one", "99999999999"}) {
        command(number);
    }
    EXPECT_THAT(happened(from),
                testing::AllOf(testing::Each("refused: 0, 1 and 6 are known"), testing::SizeIs(7)));
}

TEST_F(FirmwareTest, SixBringsACoverInErrorBack) {
    phone.firmware.put("AB-2_x.dfu", 1);
    for (int i = 0; i < 2; ++i) {
        const uint64_t from = journal.next();
        phone.loader.enter(cover::LoaderEntry::Error);
        command("6");
        awaitNote(Kind::Attach, kCover, from);
        const std::vector<std::string> notes = happened(from);
        ASSERT_EQ(notes.size(), 14u);
        EXPECT_EQ(notes[0], kBrokenLoader);
        EXPECT_EQ(notes[1], "started");
        EXPECT_EQ(notes[12], "100%");
        EXPECT_EQ(phone.cover.options().version, "AB-2_x");
    }
}

TEST_F(FirmwareTest, SixIsForACoverInItsLoader) {
    phone.firmware.put("AB-2_x.dfu", 1);
    phone.cover.attach();
    const uint64_t from = journal.next();
    command("6");
    EXPECT_THAT(happened(from), ElementsAre("refused: no cover is in its loader"));
}

TEST_F(FirmwareTest, CoverThatIsPulledOffInMidWritingNeedsRecovery) {
    setTimes(std::chrono::milliseconds(1), std::chrono::hours(1));
    phone.firmware.put("AB-2_x.dfu", 1);
    phone.cover.attach(withoutPanel());
    uint64_t from = journal.next();
    command("1");
    awaitNote(Kind::Upgrade, "0%", from);
    phone.loader.detach();
    from = journal.next();
    phone.cover.attach(withoutPanel());
    EXPECT_FALSE(phone.cover.isAttached());
    EXPECT_THAT(happened(from), ElementsAre(kBrokenLoader));

    setTimes(std::chrono::milliseconds(1), std::chrono::milliseconds(1));
    command("6");
    awaitNote(Kind::Attach, kCover, from);
    EXPECT_EQ(phone.cover.options().version, "AB-2_x");
}

TEST_F(FirmwareTest, CoverGoesToItsLoaderAndComesBackAsItself) {
    phone::CoverOptions options = withoutPanel();
    options.tty = 2;
    phone.cover.attach(options);
    const uint64_t from = journal.next();
    phone.loader.enter(cover::LoaderEntry::OnRequest);
    EXPECT_FALSE(phone.cover.isAttached());
    EXPECT_EQ(phone.cover.state().power, cover::Power::Loader);
    EXPECT_THROW(phone.loader.enter(cover::LoaderEntry::Error), phone::Error);
    phone.loader.leave();
    EXPECT_EQ(access("/dev/ttyACM2", F_OK), 0);
    EXPECT_THAT(happened(from), ElementsAre(kLoader, kCover));
    EXPECT_THROW(phone.loader.leave(), phone::Error);
}

// A loader that was put there by hand is not the cover's.
TEST_F(FirmwareTest, AnotherLoaderCannotBeLeft) {
    phone.cover.attach();
    phone.loader.attach();
    EXPECT_THROW(phone.loader.leave(), phone::Error);
    EXPECT_TRUE(phone.cover.isAttached());
}

TEST_F(FirmwareTest, ResetForgetsAnUpgradeThatWasCutShort) {
    setTimes(std::chrono::milliseconds(1), std::chrono::hours(1));
    phone.firmware.put("AB-2_x.dfu", 1);
    phone.cover.attach(withoutPanel());
    const uint64_t from = journal.next();
    command("1");
    awaitNote(Kind::Upgrade, "0%", from);
    phone.reset();
    EXPECT_THAT(phone.firmware.list(), IsEmpty());
    phone.cover.attach();
    EXPECT_TRUE(phone.cover.isAttached());
}

}  // namespace
