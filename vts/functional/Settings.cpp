// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "Settings.h"

#include <algorithm>
#include <array>
#include <vector>

#include "BivistaTest.h"

namespace bivista_vts {
namespace {

using vendor::qmx::hardware::bivista::V1_0::ScreenMode;

constexpr int32_t kHalf = 128;

struct Settings {
    bool screenOn = false;
    int32_t brightness = 0;
    int32_t offset = 0;
    std::array<int32_t, 4> rgb = {2, 0, 0, 0};
    std::array<int32_t, 3> tune = {2, 2, 2};
    int32_t mode = 0;
};

bool isScreenPlugged(IBivista* service) {
    std::string answer;
    expectDone(service->sendAtCommand("AT%HPD", nullptr,
                                      [&](Status, const hidl_string& text) { answer = text; }));
    return answer.compare(0, 2, "On") == 0;
}

Settings readSettings(IBivista* service) {
    Settings settings;
    const std::string dump = readDump(service, {"--json"});
    if (!takeNumbers(dump, "\"brightness\":{\"value\":", &settings.brightness, 1)) {
        settings.screenOn = isScreenPlugged(service);
        if (settings.screenOn) settings.brightness = kHalf;
        return settings;
    }
    settings.screenOn = dump.find("\"screenOn\":true") != std::string::npos;
    takeNumbers(dump, "\"offset\":", &settings.offset, 1);
    takeNumbers(dump, "\"group\":\"rgb\",\"values\":[", settings.rgb.data(), settings.rgb.size());
    takeNumbers(dump, "\"group\":\"tune\",\"values\":[", settings.tune.data(),
                settings.tune.size());
    takeNumbers(dump, "\"group\":\"mode\",\"values\":[", &settings.mode, 1);
    return settings;
}

// The results do not matter: without a cover, or with the screen off, some are refused and kept.
void restore(IBivista* service, const Settings& settings) {
    statusOf(service->setBVBrightnessOffset(settings.offset));
    if (settings.screenOn) statusOf(service->setPowerStatus(true, false));
    const auto& rgb = settings.rgb;
    statusOf(service->setRgbTune(rgb[0], rgb[1], rgb[2], rgb[3]));
    statusOf(service->setScreenTune(settings.tune[0], settings.tune[1], settings.tune[2], 0));
    statusOf(service->setScreenMode(ScreenMode(settings.mode)));
    statusOf(service->setBrightness(settings.brightness));
}

class KeptSettings : public testing::Environment {
  public:
    void SetUp() override {
        for (const std::string& name :
             android::hardware::getAllHalInstanceNames(IBivista::descriptor)) {
            const sp<IBivista> service = IBivista::tryGetService(name);
            if (service == nullptr) continue;
            mKept.push_back({service, readSettings(service.get())});
            if (mKept.back().settings.screenOn) {
                statusOf(service->setPowerStatus(false, false));
            }
        }
    }
    void TearDown() override {
        for (const Kept& kept : mKept) restore(kept.service.get(), kept.settings);
    }

  private:
    struct Kept {
        sp<IBivista> service;
        Settings settings;
    };
    std::vector<Kept> mKept;
};

}  // namespace

void keepSettings() {
    testing::AddGlobalTestEnvironment(new KeptSettings);
}

}  // namespace bivista_vts
