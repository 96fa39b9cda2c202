// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/calls/Invoke.h"

#include <algorithm>
#include <optional>
#include <thread>

#include <utils/Mutex.h>

#include "cli/Suggestion.h"
#include "emulator/phone/Error.h"
#include "emulator/phone/calls/CallTable.h"

namespace calls {
namespace {

namespace V1_0 = ::vendor::qmx::hardware::bivista::V1_0;
namespace V1_1 = ::vendor::qmx::hardware::bivista::V1_1;

// Throws phone::Error when there is none.
const Method& find(const std::string& name) {
    // The oldest version that has it is the first one.
    for (const Method& method : methods()) {
        if (method.invoke != nullptr && method.name == name) return method;
    }
    throw phone::Error("there is no method \"" + name + "\"" + cli::suggest(name, methodNames()));
}

constexpr std::chrono::milliseconds kLongestPause(50);

// The service as it is now; none when there is no live one.
std::optional<Callee> look() {
    Callee callee = {V1_0::IBivista::tryGetService(), nullptr};
    if (callee.service == nullptr) return std::nullopt;
    auto newer = V1_1::IBivista::castFrom(callee.service);
    if (!newer.isOk()) return std::nullopt;
    callee.newer = newer;
    return callee;
}

// Each once.
std::vector<std::string> namesOf(bool ofCallbacks) {
    std::vector<std::string> names;
    for (const Method& method : methods()) {
        const bool isNew = std::find(names.begin(), names.end(), method.name) == names.end();
        if ((method.invoke == nullptr) == ofCallbacks && isNew) names.emplace_back(method.name);
    }
    return names;
}

}  // namespace

const std::vector<std::string>& methodNames() {
    static const std::vector<std::string> names = namesOf(false);
    return names;
}

const std::vector<std::string>& callbackNames() {
    static const std::vector<std::string> names = namesOf(true);
    return names;
}

std::string checkArguments(const std::string& name, const Json& arguments) {
    try {
        const Method& method = find(name);
        within(name, [&] { method.check(arguments); });
        return "";
    } catch (const phone::Error& error) {
        return error.what();
    }
}

class Caller::Remote {
  public:
    explicit Remote(Callee callee) : mCallee(std::move(callee)) {}

    // Throws phone::Error.
    Json call(const std::string& name, const Json& arguments) EXCLUDES(mLock) {
        const Method& method = find(name);
        Json results = Json::array();
        within(name, [&] {
            const auto keep = [this](const android::sp<android::RefBase>& object) {
                const android::AutoMutex lock(mLock);
                mObjects.push_back(object);
            };
            for (const std::string& text : method.invoke(mCallee, arguments, keep)) {
                results.push_back(Json::parse(text));
            }
        });
        return results;
    }

  private:
    const Callee mCallee;
    android::Mutex mLock;
    std::vector<android::sp<android::RefBase>> mObjects GUARDED_BY(mLock);
};

Caller::Caller(std::unique_ptr<Remote> remote) : mRemote(std::move(remote)) {}

Caller::~Caller() = default;

std::unique_ptr<Caller> Caller::connect(std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    std::chrono::milliseconds pause(1);
    for (;;) {
        if (auto callee = look()) {
            return std::unique_ptr<Caller>(
                    new Caller(std::make_unique<Remote>(*std::move(callee))));
        }
        const auto now = std::chrono::steady_clock::now();
        if (now >= end) return nullptr;
        std::this_thread::sleep_until(std::min(end, now + pause));
        pause = std::min(2 * pause, kLongestPause);
    }
}

Invoked Caller::call(const std::string& method, const Json& arguments) {
    try {
        return {mRemote->call(method, arguments), ""};
    } catch (const phone::Error& error) {
        return {nullptr, error.what()};
    }
}

}  // namespace calls
