// bivistactl watch: the events of the service, one JSON object a line.

#include <android-base/unique_fd.h>
#include <errno.h>
#include <hidl/HidlTransportSupport.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <vendor/qmx/hardware/bivista/1.0/IBivistaLpwgCallback.h>
#include <vendor/qmx/hardware/bivista/1.0/IBivistaSubDisplayCallback.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "tools/ExitStatus.h"
#include "tools/commands/Command.h"

namespace bivistactl {
namespace {

using ::android::sp;
using ::android::wp;
using ::android::base::unique_fd;
using ::android::hardware::hidl_death_recipient;
using ::android::hardware::Return;
using ::android::hardware::Void;
using ::android::hidl::base::V1_0::IBase;
using ::vendor::qmx::hardware::bivista::V1_0::IBivistaSubDisplayCallback;
using ::vendor::qmx::hardware::bivista::V1_0::SubScreenState;
namespace V1_0 = ::vendor::qmx::hardware::bivista::V1_0;
namespace V1_1 = ::vendor::qmx::hardware::bivista::V1_1;

constexpr char kHelp[] = R"(
Prints one JSON object for each event until ended with Ctrl-C:
  {"event":"lpwg","version":"1.1","status":0,"name":"WAKEUP","result":0}
  {"event":"sub","state":"ON","code":3}
The service keeps one callback of each kind: a watch takes it from the client that
had it, and ends with status 1 when another client takes it in turn. Ending a watch
does not clear the callback: to clear that for touch and pen events would stop the
service ("bivistactl call --help").

Examples:
  bivistactl watch lpwg
  bivistactl watch lpwg --v1_0
  bivistactl watch sub | jq --unbuffered .state)";

// Why the watch is over; set by any thread, waited for by one. A signal that ends the program is a
// reason too.
class End {
  public:
    // Blocks the ending signals: to be made before any other thread, which inherits that.
    End() : mEvent(eventfd(0, EFD_CLOEXEC)) {
        sigset_t ending;
        sigemptyset(&ending);
        sigaddset(&ending, SIGINT);
        sigaddset(&ending, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &ending, nullptr);
        mSignals.reset(signalfd(-1, &ending, SFD_CLOEXEC));
        if (mEvent < 0 || mSignals < 0) throw Failure(EXIT_NO_OUTPUT, "no descriptors left.");
    }

    // The first reason counts: every event after one that could not be printed fails as well.
    void set(ExitCode code) {
        ExitCode none = EXIT_ANSWERED_OK;
        if (mCode.compare_exchange_strong(none, code)) eventfd_write(mEvent.get(), 1);
    }

    ExitCode wait() {
        pollfd waits[] = {{mSignals.get(), POLLIN, 0}, {mEvent.get(), POLLIN, 0}};
        while (poll(waits, 2, -1) < 0 && errno == EINTR) continue;
        if ((waits[0].revents & POLLIN) != 0) return EXIT_ANSWERED_OK;
        return mCode;
    }

  private:
    std::atomic<ExitCode> mCode = EXIT_ANSWERED_OK;
    unique_fd mEvent;
    unique_fd mSignals;
};

// Prints events. Called on the thread of the RPC pool. A callback has it for itself: it goes when
// the service has let go of that, or has died.
class EventPrinter {
  public:
    explicit EventPrinter(std::shared_ptr<End> end) : mEnd(std::move(end)) {}
    ~EventPrinter() { mEnd->set(EXIT_ANSWERED_FAIL); }
    EventPrinter(const EventPrinter&) = delete;
    EventPrinter& operator=(const EventPrinter&) = delete;

    Return<void> printEvent(const Json& event) const {
        if (!print(toLine(event) + "\n")) mEnd->set(EXIT_NO_OUTPUT);
        return Void();
    }

    Return<void> printLpwg(const char* version, int32_t status, int32_t result) const {
        return printEvent({{"event", "lpwg"},
                           {"version", version},
                           {"status", status},
                           {"name", eventName(status)},
                           {"result", result}});
    }

  private:
    const std::shared_ptr<End> mEnd;
};

class LpwgV1_0 : public V1_0::IBivistaLpwgCallback {
  public:
    explicit LpwgV1_0(std::unique_ptr<EventPrinter> printer) : mPrinter(std::move(printer)) {}

    Return<void> onLpwgEvent(V1_0::LpwgEventStatus status, int32_t result) override {
        return mPrinter->printLpwg("1.0", static_cast<int32_t>(status), result);
    }

  private:
    const std::unique_ptr<EventPrinter> mPrinter;
};

class LpwgV1_1 : public V1_1::IBivistaLpwgCallback {
  public:
    explicit LpwgV1_1(std::unique_ptr<EventPrinter> printer) : mPrinter(std::move(printer)) {}

    Return<void> onLpwgEvent(V1_0::LpwgEventStatus status, int32_t result) override {
        return mPrinter->printLpwg("1.0", static_cast<int32_t>(status), result);
    }
    Return<void> onLpwgEvent_1_1(V1_1::LpwgEventStatus status, int32_t result) override {
        return mPrinter->printLpwg("1.1", static_cast<int32_t>(status), result);
    }

  private:
    const std::unique_ptr<EventPrinter> mPrinter;
};

class SubDisplay : public IBivistaSubDisplayCallback {
  public:
    explicit SubDisplay(std::unique_ptr<EventPrinter> printer) : mPrinter(std::move(printer)) {}

    Return<void> onSubDisplayStateChanged(SubScreenState state) override {
        Json event = {{"event", "sub"}};
        event.update(toJson(state));
        return mPrinter->printEvent(event);
    }

  private:
    const std::unique_ptr<EventPrinter> mPrinter;
};

class DeathNotice : public hidl_death_recipient {
  public:
    explicit DeathNotice(std::shared_ptr<End> end) : mEnd(std::move(end)) {}

    void serviceDied(uint64_t, const wp<IBase>&) override { mEnd->set(EXIT_NO_SERVICE); }

  private:
    const std::shared_ptr<End> mEnd;
};

// Whether the service lives that had our callback. Asks its transport alone, which answers also
// while a call of the service hangs.
bool isServed(const sp<BivistaV1_0>& service) {
    const sp<BivistaV1_0> present = BivistaV1_0::tryGetService();
    return present != nullptr && ::android::hardware::interfacesEqual(present, service);
}

int reportEnd(ExitCode code, const sp<BivistaV1_0>& service, const std::string& what) {
    switch (code) {
        case EXIT_NO_OUTPUT:
            throw Failure(code, "cannot write to standard output.");
        case EXIT_ANSWERED_FAIL:
            // Its death takes the callback as well, in any order with the notice of it.
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

using Listen = std::function<Return<void>(BivistaV1_0&, std::unique_ptr<EventPrinter>)>;

// `listen` registers the callback.
int watch(const std::string& what, const Listen& listen) {
    auto end = std::make_shared<End>();
    const auto service = findService();
    const sp<DeathNotice> notice = new DeathNotice(end);
    const auto linked = service->linkToDeath(notice, 0);
    requireDelivered(linked);
    requireDelivered(listen(*service, std::make_unique<EventPrinter>(end)));
    remark("watching " + what +
           "; this takes their callback from the client that had it. End it with Ctrl-C");
    return reportEnd(end->wait(), service, what);
}

int watchLpwg(bool onlyV1_0) {
    return watch("touch and pen events", [onlyV1_0](BivistaV1_0& service, auto printer) {
        sp<V1_0::IBivistaLpwgCallback> callback;
        if (onlyV1_0) {
            callback = new LpwgV1_0(std::move(printer));
        } else {
            callback = new LpwgV1_1(std::move(printer));
        }
        return service.setLpwgCallback(callback);
    });
}

int watchSubDisplay() {
    return watch("states of the sub display", [](BivistaV1_0& service, auto printer) {
        return service.setSubDisplayCallback(new SubDisplay(std::move(printer)));
    });
}

}  // namespace

void addSubDisplayWatch(cli::Command& command) {
    addIdleJsonFlag(command);
    command.setAction(watchSubDisplay);
}

void addWatchCommand(cli::Command& program) {
    cli::Command& watch = program.add("watch", "Print the events of the service", kHelp);
    cli::Command& lpwg = watch.add("lpwg", "Touch and pen events");
    const auto onlyV1_0 =
            addFlag(lpwg, "--v1_0", "Register a callback that implements only version 1.0");
    addIdleJsonFlag(lpwg);
    lpwg.setAction([onlyV1_0] { return watchLpwg(*onlyV1_0); });
    addSubDisplayWatch(watch.add("sub", "State changes of the sub display"));
}

}  // namespace bivistactl
