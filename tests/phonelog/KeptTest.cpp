// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Logs that were made on the emulated phone, against the journals of the same runs.
#include <gmock/gmock.h>

#include <fstream>
#include <set>

#include "tests/phonelog/Written.h"

namespace phonelog {
namespace {

using phone::Entry;
using phone::Kind;

// The service answers these from memory, and logs nothing.
const std::set<std::string> kSilent = {"IBivista.getSubDisplayInfo",
                                       "IBivista.getSubDisplayPowerState", "IBivista.getBV2Connect",
                                       "IBivista.getBV2Status"};
const std::string kDraw = "IBivista.drawSubDisplay";

recording::Recording importKept(const std::string& name) {
    std::ifstream file(std::string(PHONELOG_FOLDER) + "/" + name + "-rewritten.log",
                       std::ios::binary);
    const ServiceLog log = readServiceLog(file, std::nullopt).value();
    recording::Recording imported = importLog(log).recording;
    for (Entry& entry : imported.entries) {
        // Black, whatever was drawn.
        if (entry.path == kDraw) entry.bytes.clear();
    }
    return imported;
}

std::vector<Entry> journalOf(const std::string& name) {
    const std::string folder = PHONELOG_FOLDER;
    std::vector<Entry> entries = recording::read(folder + "/" + name + ".jsonl").entries;
    std::erase_if(entries, [](const Entry& entry) { return kSilent.contains(entry.path); });
    return entries;
}

class KeptTest : public testing::TestWithParam<std::string> {};

TEST_P(KeptTest, AnImportHasWhatTheJournalHas) {
    const recording::Recording imported = importKept(GetParam());
    const std::vector<Entry> journal = journalOf(GetParam());
    const recording::Comparison comparison = recording::compare(imported, journal);
    EXPECT_EQ(recording::sideBySide(comparison, imported, journal, 160), "");
    EXPECT_GT(comparison.compared, 100U);
}

// What the cover said, and when it came and went, which a comparison does not look at.
TEST_P(KeptTest, TheCoverDoesWhatItDid) {
    const auto list = [](const std::vector<Entry>& entries) {
        std::vector<std::string> texts;
        for (const Entry& entry : entries) {
            if (entry.kind == Kind::TtyTx || entry.kind == Kind::Attach ||
                entry.kind == Kind::Detach || entry.kind == Kind::Uevent) {
                const bool isTold = entry.kind == Kind::TtyTx || entry.kind == Kind::Uevent;
                texts.push_back(std::string(phone::name(entry.kind)) +
                                (isTold ? entry.bytes : entry.note.substr(0, 9)));
            }
        }
        return texts;
    };
    EXPECT_EQ(list(importKept(GetParam()).entries), list(journalOf(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(Logs, KeptTest, testing::Values("upgrade-done", "recovery"),
                         [](const auto& info) {
                             std::string name = info.param;
                             std::erase(name, '-');
                             return name;
                         });

}  // namespace
}  // namespace phonelog
