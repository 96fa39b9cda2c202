// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Upgrades of the firmware as items.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/timeline/Entries.h"

namespace timeline {
namespace {

using testing::ElementsAre;

constexpr char kLoader[] = "0483:df11 TQC330R 00000000001A";

Entries& tell(Entries& entries, double ms, const char* note, const char* image = "V10l.dfu") {
    return entries.add(ms, phone::Kind::Upgrade, image, "", note);
}

std::vector<std::string> upgradesOf(const Entries& entries) {
    std::vector<std::string> lines;
    for (const Item& item : itemsOf(entries)) {
        if (item.kind == "upgrade") lines.push_back(describeItem(item));
    }
    return lines;
}

TEST(UpgradeItemTest, LastsFromItsStartUntilItIsWritten) {
    Entries entries;
    tell(entries.attach(0), 1, "started").detach(2).attach(3, kLoader);
    tell(tell(entries, 4, "10%"), 5, "90%");
    EXPECT_THAT(upgradesOf(entries), ElementsAre(R"(upgrade 2-6 "V10l.dfu" "90%" 4 ms, open)"));
    tell(entries, 6, "100%").detach(7).attach(8);
    EXPECT_THAT(upgradesOf(entries), ElementsAre(R"(upgrade 2-7 "V10l.dfu" "100%" written 5 ms)"));
}

TEST(UpgradeItemTest, IsCancelled) {
    Entries entries;
    tell(tell(entries, 1, "started"), 3, "cancelled");
    EXPECT_THAT(upgradesOf(entries),
                ElementsAre(R"(upgrade 1-2 "V10l.dfu" "cancelled" cancelled 2 ms)"));
}

TEST(UpgradeItemTest, GoesOnWhenItIsTooLateToCancelIt) {
    Entries entries;
    tell(tell(entries, 1, "started"), 3, "not cancelled: the loader is entered");
    EXPECT_THAT(upgradesOf(entries),
                ElementsAre(R"(upgrade 1-2 "V10l.dfu" "not cancelled: the loader is entered" )"
                            R"(2 ms, open)"));
}

TEST(UpgradeItemTest, IsRefused) {
    Entries entries;
    tell(tell(entries, 1, "started"), 2, "refused: no cover, or an upgrade is under way");
    tell(entries, 3, "refused: no image for this cover", "");
    EXPECT_THAT(
            upgradesOf(entries),
            ElementsAre(R"(upgrade 1 "V10l.dfu" "started", open)",
                        R"(upgrade 2 "V10l.dfu" "no cover, or an upgrade is under way" refused)",
                        R"(upgrade 3 "upgrade" "no image for this cover" refused)"));
}

TEST(UpgradeItemTest, IsCutOffByAPullInTheLoader) {
    Entries entries;
    tell(entries.attach(0), 1, "started").detach(2).attach(3, kLoader);
    tell(entries, 4, "10%").detach(5);
    EXPECT_THAT(upgradesOf(entries), ElementsAre(R"(upgrade 2-5 "V10l.dfu" "10%" cut off 4 ms)"));
}

TEST(UpgradeItemTest, IsCutOffByACoverThatIsPutBackBeforeItLeft) {
    Entries entries;
    tell(entries.attach(0), 1, "started").detach(2).attach(3);
    EXPECT_THAT(upgradesOf(entries), ElementsAre(R"(upgrade 2 "V10l.dfu" "started" cut off 2 ms)"));
}

TEST(UpgradeItemTest, IsCutOffByTheNext) {
    Entries entries;
    tell(tell(entries, 1, "10%"), 3, "started");
    EXPECT_THAT(upgradesOf(entries), ElementsAre(R"(upgrade 1 "V10l.dfu" "10%" cut off 2 ms)",
                                                 R"(upgrade 2 "V10l.dfu" "started", open)"));
}

}  // namespace
}  // namespace timeline
