#include "tests/kernel/ServiceTest.h"

#include <cerrno>
#include <csignal>
#include <fstream>

#include <unistd.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

using phone::Kind;

namespace {

bool hasPart(const support::LogCapture& log, const std::string& part) {
    for (const std::string& text : log.texts()) {
        if (text.find(part) != std::string::npos) return true;
    }
    return false;
}

}  // namespace

ServiceTest::~ServiceTest() {
    if (service != nullptr) Bivista::sighandler(SIGUSR1);
}

void ServiceTest::start() {
    service = new Bivista();
    // Its threads use it until the process ends.
    service->incStrong(nullptr);
    // The watch on /dev is set some time behind the thread's first line.
    while (!hasPart(log, "name:started")) {
        createNode("started");
        unlink("/dev/started");
        usleep(1000);
    }
}

void ServiceTest::attach(const phone::CoverOptions& options) {
    const uint64_t from = journal.next();
    phone.attachCover(options);
    journal.waitFor(phone::isOn(Kind::NodeWrite, phone::kHalReady, "Y"), from);
}

void ServiceTest::detach() {
    const size_t from = log.size();
    phone.detachCover();
    log.waitFor("serialDeviceRemoved: attached:1", from);
    // The flag is cleared right after the line: a command tells.
    while (service->serialAtCmd("AT\r", nullptr, 0, nullptr) >= 0 || errno != ENODEV) {
    }
}

ServiceTest::Result ServiceTest::send(const char* cmd) {
    char answer[1025] = {};
    Result result;
    result.value = service->serialAtCmd(cmd, answer, 1024, nullptr);
    result.error = errno;
    result.answer = answer;
    return result;
}

void ServiceTest::createNode(const std::string& name) {
    ASSERT_TRUE(std::ofstream("/dev/" + name).is_open());
}

std::vector<std::string> ServiceTest::nodeWrites(uint64_t from) const {
    std::vector<std::string> writes;
    for (const phone::Entry& entry : journal.since(from)) {
        if (entry.kind != Kind::NodeWrite) continue;
        writes.push_back(entry.path.substr(entry.path.rfind('/') + 1) + "=" + entry.bytes);
    }
    return writes;
}

std::vector<std::string> ServiceTest::commands(uint64_t from) const {
    return journal.list(Kind::TtyRx, from);
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
