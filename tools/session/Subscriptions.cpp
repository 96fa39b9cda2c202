// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/session/Subscriptions.h"

#include <atomic>
#include <utility>

#include "tools/client/Callbacks.h"
#include "tools/session/Message.h"

namespace session {

using ::android::AutoMutex;
using ::android::sp;
using ::android::hardware::hidl_string;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::vendor::qmx::hardware::bivista::V1_0::IBivistaAtCallback;

// One subscription, from its beginning until the service has let go of its callback.
class Subscriptions::Feed {
  public:
    Feed(std::string name, std::shared_ptr<Outbox> outbox, sp<ServiceLink> link,
         sp<BivistaV1_0> service)
        : mName(std::move(name)),
          mOutbox(std::move(outbox)),
          mLink(std::move(link)),
          mService(std::move(service)) {}

    bool isSubscribed() const { return mIsSubscribed; }
    // From now on nothing is passed on.
    void end() {
        endsQuietly();
        mIsSubscribed = false;
    }
    // That the service lets go of the callback will be no news.
    void endsQuietly() { mIsExpected = true; }

    Return<void> pass(const Json& params) const {
        if (mIsSubscribed) mOutbox->tell(notificationLine(mName, params));
        return Void();
    }

    // The callback is destroyed: the service has let go of it, or has died.
    void released() {
        if (mIsExpected.exchange(true)) return;
        if (!bivistactl::isServed(mService)) return mLink->lose(mService);
        mIsSubscribed = false;
        mOutbox->tell(notificationLine("callbackLost", {{"callback", mName}}));
    }

  private:
    const std::string mName;
    const std::shared_ptr<Outbox> mOutbox;
    const sp<ServiceLink> mLink;
    const sp<BivistaV1_0> mService;
    std::atomic<bool> mIsSubscribed = true;
    std::atomic<bool> mIsExpected = false;
};

namespace {

using FeedPointer = std::shared_ptr<Subscriptions::Feed>;

class HasFeed {
  public:
    explicit HasFeed(FeedPointer feed) : feed(std::move(feed)) {}
    HasFeed(const HasFeed&) = delete;
    HasFeed& operator=(const HasFeed&) = delete;

  protected:
    ~HasFeed() { feed->released(); }

    Return<void> tell(const Json& members) const { return feed->pass(members); }

    const FeedPointer feed;
};

class AtCallback : public IBivistaAtCallback {
  public:
    explicit AtCallback(FeedPointer feed) : mFeed(std::move(feed)) {}

    Return<void> onAtResponse(const hidl_string& line) override {
        return mFeed->pass({{"line", std::string(line.c_str(), line.size())}});
    }

  private:
    const FeedPointer mFeed;
};

const std::string kLpwg = "lpwg";
const std::string kSubDisplay = "subDisplay";
const std::string kAt = "at";

void requireKnown(const std::string& name, const std::string& version) {
    if (name != kLpwg && name != kSubDisplay && name != kAt) {
        throw RpcError(INVALID_PARAMS,
                       bivistactl::quote(name) + " is no callback: lpwg, subDisplay or at");
    }
    if (version != "1.1" && (version != "1.0" || name != kLpwg)) {
        throw RpcError(INVALID_PARAMS,
                       name + " has no callback of version " + bivistactl::quote(version));
    }
}

Return<void> enroll(BivistaV1_0& service, const std::string& name, const std::string& version,
                    const FeedPointer& feed) {
    if (name == kSubDisplay)
        return service.setSubDisplayCallback(new bivistactl::SubDisplayCallback<HasFeed>(feed));
    if (version == "1.1")
        return service.setLpwgCallback(new bivistactl::LpwgCallbackV1_1<HasFeed>(feed));
    return service.setLpwgCallback(new bivistactl::LpwgCallbackV1_0<HasFeed>(feed));
}

}  // namespace

Subscriptions::Subscriptions(std::shared_ptr<Outbox> outbox, sp<ServiceLink> link)
    : mOutbox(std::move(outbox)), mLink(std::move(link)) {}

Subscriptions::~Subscriptions() {
    lose();
}

void Subscriptions::subscribe(const std::string& name, const std::string& version) {
    requireKnown(name, version);
    const sp<BivistaV1_0> service = mLink->service();
    const auto feed = std::make_shared<Feed>(name, mOutbox, mLink, service);
    // Before the call: from its beginning on the service may die, which ends this feed too.
    const FeedPointer before = exchange(name, feed);
    if (before != nullptr) before->endsQuietly();
    if (name == kAt) return;
    const auto called = enroll(*service, name, version, feed);
    if (before != nullptr) before->end();
    if (!called.isOk()) feed->end();
    bivistactl::requireDelivered(called);
}

void Subscriptions::unsubscribe(const std::string& name) {
    requireKnown(name, "1.1");
    const FeedPointer before = exchange(name, nullptr);
    if (before != nullptr) before->end();
}

std::vector<std::string> Subscriptions::names() {
    const AutoMutex lock(mMutex);
    std::vector<std::string> names;
    for (const auto& [name, feed] : mFeeds) {
        if (feed != nullptr && feed->isSubscribed()) names.push_back(name);
    }
    return names;
}

sp<IBivistaAtCallback> Subscriptions::atCallback() {
    const AutoMutex lock(mMutex);
    const auto found = mFeeds.find(kAt);
    if (found == mFeeds.end() || found->second == nullptr) return nullptr;
    return found->second->isSubscribed() ? new AtCallback(found->second) : nullptr;
}

void Subscriptions::lose() {
    const AutoMutex lock(mMutex);
    for (const auto& [name, feed] : mFeeds) {
        if (feed != nullptr) feed->end();
    }
}

FeedPointer Subscriptions::exchange(const std::string& name, FeedPointer feed) {
    const AutoMutex lock(mMutex);
    std::swap(mFeeds[name], feed);
    return feed;
}

}  // namespace session
