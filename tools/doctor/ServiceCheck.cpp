// Whether the service answers.
#include <sys/socket.h>

#include <exception>
#include <future>
#include <optional>
#include <string>
#include <thread>

#include "host/hidl/Registry.h"
#include "tools/Service.h"
#include "tools/doctor/Checks.h"

namespace doctor {
namespace {

namespace registry = ::android::hardware::registry;
using ::bivistactl::BivistaV1_0;

constexpr char kCheck[] = "service";
constexpr char kInstance[] = "default";

// The process that serves the interface; 0 when nobody does.
pid_t findProcess() {
    const auto socket = registry::find(BivistaV1_0::descriptor, kInstance);
    if (!socket) return 0;
    const auto connection = registry::connectTo(*socket);
    ucred peer = {};
    socklen_t size = sizeof(peer);
    if (!connection.ok() ||
        getsockopt(connection.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) {
        return 0;
    }
    return peer.pid;
}

// Why the service does not serve calls; empty when it does.
std::string ask() {
    try {
        bivistactl::requireDelivered(bivistactl::findService()->getBV2Connect());
        return "";
    } catch (const std::exception& failure) {
        return failure.what();
    }
}

// None when there is no answer in time.
std::optional<std::string> askFor(std::chrono::milliseconds patience) {
    std::promise<std::string> promise;
    auto answer = promise.get_future();
    std::thread([promise = std::move(promise)]() mutable { promise.set_value(ask()); }).detach();
    if (answer.wait_for(patience) != std::future_status::ready) return std::nullopt;
    return answer.get();
}

}  // namespace

Findings examineService(std::chrono::milliseconds patience, pid_t* process) {
    const pid_t found = findProcess();
    if (found == 0) {
        return {problem(kCheck, "no service answers in " + registry::directory(),
                        "Start it, or set HIDL_SOCKET_DIR to the folder that it was started with, "
                        "and run both as the same user.")};
    }
    *process = found;
    const std::string words = "process " + std::to_string(found) + " serves " +
                              BivistaV1_0::descriptor + " in " + registry::directory();
    const auto reason = askFor(patience);
    if (!reason) {
        return {problem(
                kCheck, words + ", and does not answer",
                "It serves one call at a time and is busy: a self test or an upgrade may "
                "take minutes, a client may hang in its callback, a service that it asks may be "
                "declared and not up, or a client has cleared the "
                "LPWG callback, which only a restart of the service ends.")};
    }
    if (!reason->empty()) return {problem(kCheck, *reason, "See the service's log.")};
    return {fine(kCheck, words)};
}

}  // namespace doctor
