// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A client: a command, a picture on the sub display, then what happens until its input ends.
#include <vendor/qmx/hardware/bivista/1.1/IBivista.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

using namespace ::vendor::qmx::hardware::bivista;
using ::android::sp, ::android::wp, ::android::hardware::hidl_death_recipient;
using ::android::hardware::hidl_string, ::android::hardware::Return, ::android::hardware::Void;
using V1_0::Status, V1_0::SubScreenState, V1_0::SubScreenInfo, ::android::hidl::base::V1_0::IBase;

Return<void> print(const char* what, const std::string& text) {
    printf("%s: %s", what, text.c_str());
    return Void();
}
void require(bool good, const char* what) {
    if (good) return;
    fprintf(stderr, "failed: %s\n", what);
    _Exit(EXIT_FAILURE);  // without destructors: another thread may be in a callback
}
struct Lines : V1_0::IBivistaAtCallback {
    Return<void> onAtResponse(const hidl_string& line) override { return print("line", line); }
};
struct States : V1_0::IBivistaSubDisplayCallback {
    Return<void> onSubDisplayStateChanged(SubScreenState state) override {
        return print("sub display", toString(state) + "\n");
    }
};
struct Events : V1_1::IBivistaLpwgCallback {
    Return<void> onLpwgEvent(V1_0::LpwgEventStatus, int32_t) override { return Void(); }
    Return<void> onLpwgEvent_1_1(V1_1::LpwgEventStatus event, int32_t) override {
        return print("event", toString(event) + "\n");
    }
};
struct Death : hidl_death_recipient {
    void serviceDied(uint64_t, const wp<IBase>&) override { require(false, "the service died"); }
};
int main() {
    setvbuf(stdout, nullptr, _IOLBF, 0);
    const sp<V1_1::IBivista> service = V1_1::IBivista::getService();
    require(service != nullptr, "getService");
    const sp<Death> death = new Death;  // linkToDeath does not keep it
    require(service->linkToDeath(death, 0).withDefault(false), "linkToDeath");
    require(service->setSubDisplayCallback(new States).isOk(), "setSubDisplayCallback");
    require(service->setLpwgCallback(new Events).isOk(), "setLpwgCallback");
    const auto answer = [](Status status, auto&) { require(status == Status::OK, "AT%SWV"); };
    require(service->sendAtCommand("AT%SWV", new Lines, answer).isOk(), "sendAtCommand");
    std::vector<uint32_t> frame;  // a word a pixel, row by row; bits 4 to 7 are its level
    const auto fill = [&](Status, const SubScreenInfo& panel) {
        for (int y = 0; y < panel.y; y++)
            for (int x = 0; x < panel.x; x++) frame.push_back((x ^ y) / 8 % 16 << 4);
    };
    require(service->getSubDisplayInfo(fill).isOk(), "getSubDisplayInfo");
    require(service->drawSubDisplay(frame).withDefault(Status::FAIL) == Status::OK, "a picture");
    puts("drawn");
    while (getchar() != EOF) continue;
}
