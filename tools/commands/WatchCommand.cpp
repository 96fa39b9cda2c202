// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivistactl watch: the events of the service, one JSON object a line.

#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/ExitStatus.h"
#include "tools/client/Callbacks.h"
#include "tools/commands/Command.h"
#include "tools/commands/PassiveWatch.h"
#include "tools/commands/WatchEnd.h"

namespace bivistactl {
namespace {

using ::android::sp;
using ::android::wp;
using ::android::hardware::hidl_death_recipient;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hidl::base::V1_0::IBase;

constexpr char kHelp[] = R"(
Prints one JSON object for each event until ended with Ctrl-C:
  {"event":"lpwg","version":"1.1","status":0,"name":"WAKEUP","result":0}
  {"event":"sub","state":"ON","code":3}
The service keeps one callback of each kind: a watch takes the place of the client that
had it, and ends with status 1 when another client takes the place. The end of a watch
does not clear the callback: to clear the one for touch and pen events would stop the
service ("bivistactl call --help").

With --passive no callback is taken: the service's own history is asked for what is new,
at the interval. Its events have the members of those of "bivistactl dump --events"; a
watch of lpwg or sub prints only those of its subject. Other lines tell what a follower
must know: which LPWG callback is registered (null: the service reads no touch or pen
event), events that were overwritten before they could be read, and the service's death
and its return, for which a passive watch waits:
  {"event":"history","number":17,...,"kind":"setting","what":"brightness","values":[128],...}
  {"event":"callback","lpwg":null}
  {"event":"lost","count":3}
  {"event":"service","state":"died"}

Examples:
  bivistactl watch lpwg
  bivistactl watch lpwg --v1_0
  bivistactl watch sub | jq --unbuffered .state
  bivistactl watch --passive --interval 1000
  bivistactl watch lpwg --passive --since 0)";

// Base of the callbacks, which print events on the thread of the RPC pool. The watch is over when
// the callback is destroyed: the service has let go of it, or has died.
class EventPrinter {
  public:
    // `name`: that of the events; a literal.
    EventPrinter(const char* name, std::shared_ptr<WatchEnd> end)
        : mName(name), mEnd(std::move(end)) {}
    EventPrinter(const EventPrinter&) = delete;
    EventPrinter& operator=(const EventPrinter&) = delete;

  protected:
    ~EventPrinter() { mEnd->set(EXIT_ANSWERED_FAIL); }

    Return<void> tell(const Json& members) const {
        Json event = {{"event", mName}};
        event.update(members);
        if (!print(toLine(event) + "\n")) mEnd->set(EXIT_NO_OUTPUT);
        return Void();
    }

  private:
    const char* const mName;
    const std::shared_ptr<WatchEnd> mEnd;
};

class DeathNotice : public hidl_death_recipient {
  public:
    explicit DeathNotice(std::shared_ptr<WatchEnd> end) : mEnd(std::move(end)) {}

    void serviceDied(uint64_t, const wp<IBase>&) override { mEnd->set(EXIT_NO_SERVICE); }

  private:
    const std::shared_ptr<WatchEnd> mEnd;
};

int reportEnd(ExitCode code, const sp<BivistaV1_0>& service, const std::string& what) {
    switch (code) {
        case EXIT_NO_OUTPUT:
            throw Failure(code, "cannot write to standard output.");
        case EXIT_ANSWERED_FAIL:
            // A dead service lets go of the callback too, before or after the notice of its death.
            if (isServed(service)) {
                throw Failure(code, "the service has let go of the callback for " + what +
                                            ": another client has taken it, or cleared it. "
                                            "Watch again to take it back.");
            }
            [[fallthrough]];
        case EXIT_NO_SERVICE:
            throw Failure(EXIT_NO_SERVICE,
                          "the service died. Look into its log, start it again, and watch again.");
        default:
            return code;
    }
}

using Listen = std::function<Return<void>(BivistaV1_0&, const std::shared_ptr<WatchEnd>&)>;

// `listen` registers the callback.
int watch(const std::string& what, const Listen& listen) {
    auto end = std::make_shared<WatchEnd>();
    const auto service = findService();
    const sp<DeathNotice> notice = new DeathNotice(end);
    requireDelivered(service->linkToDeath(notice, 0));
    requireDelivered(listen(*service, end));
    remark("watching " + what +
           "; this takes their callback from the client that had it. End it with Ctrl-C");
    return reportEnd(end->wait(), service, what);
}

int watchLpwg(bool onlyV1_0) {
    return watch("touch and pen events", [onlyV1_0](BivistaV1_0& service, const auto& end) {
        if (!onlyV1_0)
            return service.setLpwgCallback(new LpwgCallbackV1_1<EventPrinter>("lpwg", end));
        return service.setLpwgCallback(new LpwgCallbackV1_0<EventPrinter>("lpwg", end));
    });
}

int watchSubDisplay() {
    return watch("states of the sub display", [](BivistaV1_0& service, const auto& end) {
        return service.setSubDisplayCallback(new SubDisplayCallback<EventPrinter>("sub", end));
    });
}

}  // namespace

void addSubDisplayWatch(cli::Command& command) {
    addIdleJsonFlag(command);
    command.setAction(watchSubDisplay);
}

void addWatchCommand(cli::Command& program) {
    cli::Command& watch = program.add("watch", "Print the events of the service", kHelp);
    const auto passive = std::make_shared<PassiveWatch>();
    addPassiveOptions(watch, passive);
    cli::Command& lpwg = watch.add("lpwg", "Touch and pen events");
    const auto onlyV1_0 =
            addFlag(lpwg, "--v1_0", "Register a callback that implements only version 1.0");
    addIdleJsonFlag(lpwg);
    lpwg.setAction([=] {
        return passive->isAsked ? follow(*passive, {"lpwgEvent"}) : watchLpwg(*onlyV1_0);
    });
    cli::Command& sub = watch.add("sub", "State changes of the sub display");
    addIdleJsonFlag(sub);
    sub.setAction([=] {
        return passive->isAsked ? follow(*passive, {"panel", "frameDropped"}) : watchSubDisplay();
    });
    addIdleJsonFlag(watch);
    watch.setActionInstead(&passive->isAsked, [=] { return follow(*passive, {}); });
}

}  // namespace bivistactl
