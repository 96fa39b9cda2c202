// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The session's callbacks: what the service calls becomes a notification.
#pragma once

#include <vendor/qmx/hardware/bivista/1.0/IBivistaAtCallback.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tools/session/Outbox.h"
#include "tools/session/ServiceLink.h"

namespace session {

// Used by the thread that serves requests alone, but for lose().
//
// No callback is ever cleared: null for touch and pen events would stop the service, and for states
// of the sub display it might take the callback of a client that came later. A callback that nobody
// wants any more stays with the service, and what it is told is dropped.
class Subscriptions {
  public:
    Subscriptions(std::shared_ptr<Outbox> outbox, ::android::sp<ServiceLink> link);
    ~Subscriptions();

    // "lpwg", "subDisplay" or "at"; registers the callback, but "at", which goes along with each
    // command. `version` is that of a callback for touch and pen events. Throws RpcError for
    // another name or version, and NoService.
    void subscribe(const std::string& name, const std::string& version);
    void unsubscribe(const std::string& name);
    // What is subscribed, by its names.
    std::vector<std::string> names();
    // For a command; null without a subscription.
    ::android::sp<::vendor::qmx::hardware::bivista::V1_0::IBivistaAtCallback> atCallback();
    // The service died, and has no callback any more. Any thread.
    void lose();

    // What a callback and this object share.
    class Feed;

  private:
    std::shared_ptr<Feed> exchange(const std::string& name, std::shared_ptr<Feed> feed);

    const std::shared_ptr<Outbox> mOutbox;
    const ::android::sp<ServiceLink> mLink;
    ::android::Mutex mMutex;
    std::map<std::string, std::shared_ptr<Feed>> mFeeds GUARDED_BY(mMutex);
};

}  // namespace session
