// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The cover's firmware: its version, and the safe parts of its upgrade.
#include "BivistaTest.h"

namespace bivista_vts {
namespace {

class FirmwareFileTest : public BivistaTest {};
class FirmwareTest : public CoverTest {};

TEST_P(FirmwareFileTest, IsANameWithoutAFolder) {
    const TextResult file = query(&V1_0::IBivista::getFirmwareFile);
    EXPECT_EQ(file.status, Status::OK);
    EXPECT_EQ(file.text.find('/'), std::string::npos) << file.text;
}

TEST_P(FirmwareFileTest, CancellingAnUpgradeIsHarmless) {
    const Status status = statusOf(service->cancelFirmwareUpgrade());
    if (status != Status::OK) return miss(kNodes, "the kernel offers no firmware upgrade");
    EXPECT_EQ(statusOf(service->cancelFirmwareUpgrade()), Status::OK) << "also a second time";
}

TEST_P(FirmwareTest, VersionIsTheCoversAnswer) {
    const TextResult version = query(&V1_0::IBivista::getFirmwareVersion);
    EXPECT_EQ(version.status, Status::OK);
    EXPECT_NE(version.text, "");
    EXPECT_EQ(version.text, send("AT%SWV").text);
    EXPECT_EQ(query(&V1_0::IBivista::getFirmwareVersion).text, version.text);
}

BIVISTA_PER_INSTANCE(FirmwareFileTest);
BIVISTA_PER_INSTANCE(FirmwareTest);

}  // namespace
}  // namespace bivista_vts
