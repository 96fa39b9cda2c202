// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The service as a HIDL object: its names, its versions, its life.
#include "BivistaTest.h"

#include <algorithm>
#include <atomic>

#include <hidl/HidlTransportSupport.h>

namespace bivista_vts {
namespace {

constexpr char kDescriptor1_0[] = "vendor.qmx.hardware.bivista@1.0::IBivista";
constexpr char kDescriptor1_1[] = "vendor.qmx.hardware.bivista@1.1::IBivista";
constexpr char kBaseDescriptor[] = "android.hidl.base@1.0::IBase";

TEST(Registry, HoldsTheDefaultInstance) {
    const std::vector<std::string> names =
            android::hardware::getAllHalInstanceNames(IBivista::descriptor);
    EXPECT_NE(std::find(names.begin(), names.end(), "default"), names.end());
}

class InterfaceTest : public BivistaTest {
  protected:
    static std::string descriptorOf(const sp<V1_0::IBivista>& object) {
        std::string descriptor;
        int deliveries = 0;
        expectDone(object->interfaceDescriptor([&](const hidl_string& answered) {
            ++deliveries;
            descriptor = answered;
        }));
        EXPECT_EQ(deliveries, 1);
        return descriptor;
    }
};

class SilentRecipient : public android::hardware::hidl_death_recipient {
  public:
    void serviceDied(uint64_t /*cookie*/,
                     const android::wp<android::hidl::base::V1_0::IBase>& /*who*/) override {
        ++deaths;
    }
    std::atomic<int> deaths{0};
};

TEST_P(InterfaceTest, IsOfVersion1_1) {
    EXPECT_TRUE(service->isRemote());
    EXPECT_EQ(descriptorOf(service), kDescriptor1_1);
}

TEST_P(InterfaceTest, NamesAllItsInterfaces) {
    std::vector<std::string> chain;
    int deliveries = 0;
    expectDone(service->interfaceChain([&](const hidl_vec<hidl_string>& names) {
        ++deliveries;
        chain.assign(names.begin(), names.end());
    }));
    EXPECT_EQ(deliveries, 1);
    EXPECT_EQ(chain, (std::vector<std::string>{kDescriptor1_1, kDescriptor1_0, kBaseDescriptor}));
}

TEST_P(InterfaceTest, HasAsManyHashesAsInterfaces) {
    size_t hashes = 0;
    int deliveries = 0;
    expectDone(service->getHashChain([&](const auto& chain) {
        ++deliveries;
        hashes = chain.size();
    }));
    EXPECT_EQ(deliveries, 1);
    EXPECT_EQ(hashes, 3u);
}

// A handle without descriptors has nothing to write to.
TEST_P(InterfaceTest, TakesADebugRequestThatLeadsNowhere) {
    expectDone(service->debug({}, {}));
    expectDone(service->debug({}, {"--json", "", "--no-such-option"}));
    expectDone(service->ping());
}

TEST_P(InterfaceTest, WritesADumpThatAgreesWithIt) {
    if (options().with.count(kDump) == 0) GTEST_SKIP() << "--with=dump was not given";
    EXPECT_TRUE(settle());
    EXPECT_NE(readDump(service.get(), {}), "");
    const bool isAttached = isCoverOn();
    std::string state;
    std::string dump;
    // The panel may be coming.
    ASSERT_TRUE(await([&] {
        state = toString(subDisplayState());
        dump = readDump(service.get(), {"--json"});
        return toString(subDisplayState()) == state;
    }));
    ASSERT_EQ(dump.substr(0, 1), "{") << dump;
    EXPECT_EQ(dump.find('\n'), dump.size() - 1) << dump;
    EXPECT_NE(dump.find(isAttached ? "\"attached\":true" : "\"attached\":false"), std::string::npos)
            << dump;
    EXPECT_NE(dump.find("\"state\":\"" + state + "\""), std::string::npos) << dump;
    EXPECT_NE(readDump(service.get(), {"--no-such-option"}), "");
}

TEST_P(InterfaceTest, ServesClientsOfVersion1_0) {
    const sp<V1_0::IBivista> old = V1_0::IBivista::tryGetService(GetParam());
    ASSERT_NE(old, nullptr);
    EXPECT_EQ(descriptorOf(old), kDescriptor1_1);
    EXPECT_TRUE(android::hardware::interfacesEqual(old, service));
    const Return<bool> connected = old->getBV2Connect();
    EXPECT_TRUE(connected.isOk()) << connected.description();
    EXPECT_EQ(statusOf(old->setBrightness(-1)), Status::OK);
}

TEST_P(InterfaceTest, CastsToItsVersionsAndToNothingElse) {
    const sp<V1_0::IBivista> old = V1_0::IBivista::tryGetService(GetParam());
    ASSERT_NE(old, nullptr);
    const Return<sp<IBivista>> newer = IBivista::castFrom(old);
    ASSERT_TRUE(newer.isOk()) << newer.description();
    EXPECT_NE(static_cast<sp<IBivista>>(newer), nullptr);
    const sp<android::hidl::base::V1_0::IBase> base = service;
    const Return<sp<V1_0::IBivista>> older = V1_0::IBivista::castFrom(base);
    ASSERT_TRUE(older.isOk()) << older.description();
    EXPECT_NE(static_cast<sp<V1_0::IBivista>>(older), nullptr);
    const Return<sp<IBivistaAtCallback>> other = IBivistaAtCallback::castFrom(base);
    ASSERT_TRUE(other.isOk()) << other.description();
    EXPECT_EQ(static_cast<sp<IBivistaAtCallback>>(other), nullptr);
}

TEST_P(InterfaceTest, AnswersAPing) {
    expectDone(service->ping());
}

TEST_P(InterfaceTest, LetsClientsWatchItsLife) {
    const sp<SilentRecipient> recipient = new SilentRecipient;
    const Return<bool> linked = service->linkToDeath(recipient, 7);
    ASSERT_TRUE(linked.isOk()) << linked.description();
    EXPECT_TRUE(static_cast<bool>(linked));
    expectDone(service->ping());
    const Return<bool> unlinked = service->unlinkToDeath(recipient);
    ASSERT_TRUE(unlinked.isOk()) << unlinked.description();
    EXPECT_TRUE(static_cast<bool>(unlinked));
    const Return<bool> again = service->unlinkToDeath(recipient);
    ASSERT_TRUE(again.isOk()) << again.description();
    EXPECT_FALSE(static_cast<bool>(again));
    EXPECT_EQ(recipient->deaths, 0);
}

BIVISTA_PER_INSTANCE(InterfaceTest);

}  // namespace
}  // namespace bivista_vts
