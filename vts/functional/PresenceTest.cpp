// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Whether a cover is there, by the USB bus and by the platform's accessory service.
#include "BivistaTest.h"

namespace bivista_vts {
namespace {

class PresenceTest : public BivistaTest {};

using vendor::qmx::hardware::bivista::V1_0::BivistaStatus;

TEST_P(PresenceTest, OnTheBusMeansThatItAnswers) {
    EXPECT_TRUE(settle());
}

TEST_P(PresenceTest, IsAsTheCommandLineSays) {
    if (options().with.count(kCover) == 0 && options().without.count(kCover) == 0) {
        GTEST_SKIP() << "neither --with=cover nor --without=cover was given";
    }
    EXPECT_TRUE(settle());
    EXPECT_EQ(isCoverOn(), options().with.count(kCover) != 0);
}

TEST_P(PresenceTest, IsAlsoToldByTheAccessoryService) {
    EXPECT_TRUE(settle());
    const auto isTold = [this] {
        BivistaStatus told = {};
        int deliveries = 0;
        expectDone(service->getBV2Status([&](Status status, const BivistaStatus& state) {
            ++deliveries;
            EXPECT_EQ(status, Status::OK) << "also when there is no accessory service";
            told = state;
        }));
        EXPECT_EQ(deliveries, 1);
        return told.connected;
    };
    const bool told = isTold();
    // The two may disagree for a while. Each follows the cover, where there is such a service.
    if (options().with.count(kAccessory) != 0) {
        EXPECT_TRUE(await([&] { return isTold() == isCoverOn(); })) << "at first told: " << told;
    }
}

BIVISTA_PER_INSTANCE(PresenceTest);

}  // namespace
}  // namespace bivista_vts
