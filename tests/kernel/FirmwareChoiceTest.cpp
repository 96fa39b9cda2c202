// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Choosing a firmware image: names in the order of the folder in, the selected name out.
#include "kernel/firmware/FirmwareChoice.h"

#include <ostream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {
namespace {

using Verdict = FirmwareChoice::Verdict;

char letterOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::kNoImage:
            return 'N';
        case Verdict::kTooLong:
            return 'L';
        case Verdict::kMismatch:
            return 'M';
        case Verdict::kFirst:
            return 'F';
        case Verdict::kNewer:
            return 'U';
        case Verdict::kNotNewer:
            return 'O';
    }
    return '?';
}

struct Folder {
    const char* what;
    std::string version;
    std::string names;  // with "/" between them
    // Of the names: N no image, L too long, M of another line, F first, U newer, O not newer.
    std::string verdicts;
    std::string selected;
    std::string lastMismatch = "";
};

void PrintTo(const Folder& folder, std::ostream* out) {
    *out << folder.what;
}

class FirmwareChoiceTest : public testing::TestWithParam<Folder> {};

TEST_P(FirmwareChoiceTest, SelectsTheImageOfTheCoversLine) {
    const Folder& given = GetParam();
    char selected[FirmwareChoice::kCapacity] = {};
    FirmwareChoice choice(given.version.c_str(), selected);

    std::string verdicts;
    std::istringstream names(given.names);
    for (std::string name; std::getline(names, name, '/');) {
        verdicts += letterOf(choice.take(name.c_str()));
    }

    EXPECT_EQ(verdicts, given.verdicts);
    EXPECT_STREQ(selected, given.selected.c_str());
    EXPECT_EQ(choice.hasSelection(), !given.selected.empty());
    EXPECT_EQ(choice.lastMismatch(), given.lastMismatch);
}

const std::string kLongest(1019, 'x');

INSTANTIATE_TEST_SUITE_P(
        Folders, FirmwareChoiceTest,
        testing::Values(
                Folder{"an empty folder", "AB-1_x", "", "", ""},
                Folder{"files that are no images", "AB-1_x",
                       "./../AB-2_x/AB-2_x.dfu.bak/AB-2_x.DFU/AB-2_x.dfu /dfu", "NNNNNNN", ""},
                Folder{"the last extension counts", "AB-1_x", "AB-2_x.bak.dfu", "F",
                       "AB-2_x.bak.dfu"},
                Folder{"the newest, seen last", "AB-1_x", "AB-2_x.dfu/AB-3_x.dfu", "FU",
                       "AB-3_x.dfu"},
                Folder{"the newest, seen first", "AB-1_x", "AB-3_x.dfu/AB-2_x.dfu", "FO",
                       "AB-3_x.dfu"},
                Folder{"the same key twice: the first stays", "AB-1_x", "AB-2_x.dfu/AB-2_y.dfu",
                       "FO", "AB-2_x.dfu"},
                Folder{"keys are bytes, not numbers", "AB-1_x", "AB-9_x.dfu/AB-10_x.dfu", "FO",
                       "AB-9_x.dfu"},
                // Meant: the candidate's length counts.
                Folder{"a key that the selected one begins with is not newer", "AB-1_x",
                       "AB-25_x.dfu/AB-2_x.dfu", "FO", "AB-25_x.dfu"},
                Folder{"a key that begins with the selected one is newer", "AB-1_x",
                       "AB-2_x.dfu/AB-25_x.dfu", "FU", "AB-25_x.dfu"},
                // Meant: a shorter name keeps the longer one's tail.
                Folder{"a shorter name over a longer one", "AB-1_x", "AB-2_20210312.dfu/AB-3_x.dfu",
                       "FU", "AB-3_x.dfu312.dfu"},
                // The key of the name counts, not that of the mixture.
                Folder{"after a shorter name without a \"_\"", "AB-1_x",
                       "AB-2_20210312.dfu/AB-3.dfu/AB-3.e_x.dfu", "FUU", "AB-3.e_x.dfu2.dfu"},
                Folder{"images of other lines alone", "AB-1_x", "AC-2_x.dfu/A-2_x.dfu", "MM", "",
                       "A-2_x.dfu"},
                Folder{"the line is compared whole", "AB-1_x",
                       "ABC-2_x.dfu/ab-2_x.dfu/AB_2-x.dfu/AB.dfu", "MMMM", "", "AB.dfu"},
                Folder{"images of other lines beside the cover's", "AB-1_x",
                       "AC-9_x.dfu/AB-2_x.dfu/AD-9_x.dfu", "MFM", "AB-2_x.dfu", "AD-9_x.dfu"},
                Folder{"an image of the cover's line that is older", "AB-5_x", "AB-2_x.dfu", "F",
                       "AB-2_x.dfu"},
                Folder{"a version without a \"-\" is a line", "AB", "AB-2_x.dfu/AB.dfu", "FM",
                       "AB-2_x.dfu", "AB.dfu"},
                Folder{"a version that is an image's name", "AB.dfu", "AB.dfu", "F", "AB.dfu"},
                Folder{"an empty line on both sides", "-1_x", "-2_x.dfu/.dfu", "FM", "-2_x.dfu",
                       ".dfu"},
                Folder{"an empty version", "", "AB-2_x.dfu/-2.dfu", "MF", "-2.dfu", "AB-2_x.dfu"},
                Folder{"a name that just fits", kLongest, kLongest + ".dfu", "M", "",
                       kLongest + ".dfu"},
                Folder{"a selected name that just fits", "x-1",
                       "x-" + std::string(1017, 'y') + ".dfu", "F",
                       "x-" + std::string(1017, 'y') + ".dfu"},
                Folder{"a name that does not fit", "x-1", kLongest + "x.dfu", "L", ""},
                Folder{"a long name that is no image", "x-1", kLongest + "xxx", "N", ""}));

struct Keys {
    const char* what;
    std::string selected;
    std::string version;
    bool newer;
    std::string path;  // what `selected` reads afterwards
};

void PrintTo(const Keys& keys, std::ostream* out) {
    *out << keys.what;
}

class NewerThanCoverTest : public testing::TestWithParam<Keys> {};

TEST_P(NewerThanCoverTest, ComparesTheKeys) {
    const Keys& given = GetParam();
    char selected[FirmwareChoice::kCapacity + 1] = {};
    given.selected.copy(selected, given.selected.size());

    EXPECT_EQ(isNewerThanCover(selected, given.version.c_str()), given.newer);

    EXPECT_EQ(std::string(selected), given.path);
    EXPECT_EQ(selected[FirmwareChoice::kCapacity], '\0');
}

INSTANTIATE_TEST_SUITE_P(
        Pairs, NewerThanCoverTest,
        testing::Values(Keys{"newer", "AB-2_x.dfu", "AB-1_y", true, "AB-2_x.dfu"},
                        Keys{"the same", "AB-1_x.dfu", "AB-1_y", false, "AB-1"},
                        Keys{"older", "AB-1_x.dfu", "AB-2_y", false, "AB-1"},
                        Keys{"nothing selected", "", "AB-1_y", false, ""},
                        Keys{"neither", "", "", false, ""},
                        Keys{"an empty version", "-2_x.dfu", "", false, "-2"},
                        Keys{"an empty key of the cover", "-2_x.dfu", "_1", false, "-2"},
                        Keys{"bytes, not numbers", "AB-10_x.dfu", "AB-9_y", false, "AB-10"},
                        // Meant: the cover's length counts.
                        Keys{"the cover's key and more", "AB-10_x.dfu", "AB-1_y", false, "AB-10"},
                        Keys{"the beginning of the cover's key", "AB-1_x.dfu", "AB-10_y", false,
                             "AB-1"},
                        // Meant: the "_" comes back at the length of the cover's key.
                        Keys{"a longer key", "AB-20_x.dfu", "AB-1_y", true, "AB-2_"},
                        Keys{"a shorter key", "AB-2_x.dfu", "AB-10_y", true, "AB-2"},
                        Keys{"a name without a key", "AB-2.dfu", "AB-1_y", true, "AB-2_dfu"},
                        Keys{"a version without a \"_\"", "AB-2_x.dfu", "AB-1", true, "AB-2_x.dfu"},
                        Keys{"a key of the cover behind the name", "B_x",
                             "A" + std::string(1022, 'z'), true, "B"},
                        Keys{"a name and a key that fill the buffer", std::string(1023, 'b'),
                             std::string(1023, 'a'), true, std::string(1023, 'b') + "_"}));

}  // namespace
}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
