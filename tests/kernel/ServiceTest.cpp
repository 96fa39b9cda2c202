// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/kernel/ServiceTest.h"

#include <cerrno>
#include <csignal>
#include <fstream>
#include <utility>

#include <unistd.h>

#include "tests/support/Asleep.h"
#include "tests/support/Watch.h"

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

using phone::Kind;
using support::LogLine;

namespace {

bool hasPart(const support::LogCapture& log, const std::string& part) {
    for (const std::string& text : log.texts()) {
        if (text.find(part) != std::string::npos) return true;
    }
    return false;
}

}  // namespace

LogLine debugLine(std::string text) {
    return {ANDROID_LOG_DEBUG, BIVISTA_LOG_TAG, std::move(text)};
}

LogLine infoLine(std::string text) {
    return {ANDROID_LOG_INFO, BIVISTA_LOG_TAG, std::move(text)};
}

LogLine errorLine(std::string text) {
    return {ANDROID_LOG_ERROR, BIVISTA_LOG_TAG, std::move(text)};
}

ServiceTest::~ServiceTest() {
    if (service == nullptr) return;
    // A hang-up ends an exchange that is under way.
    if (phone.cover.isAttached()) phone.cover.detach();
    Bivista::sighandler(SIGUSR1);
    service->serialDeviceRemoved();
}

void ServiceTest::make() {
    make(new Bivista());
}

void ServiceTest::make(sp<Bivista> made) {
    // A leak check shall find those of earlier tests in this process too.
    static std::vector<Bivista*>& all = *new std::vector<Bivista*>;
    service = std::move(made);
    service->incStrong(nullptr);
    all.push_back(service.get());
}

void ServiceTest::start() {
    start(new Bivista());
}

void ServiceTest::start(sp<Bivista> made) {
    make(std::move(made));
    awaitWatching();
}

void ServiceTest::awaitUsbWatch() {
    // The last folder that the USB thread begins to watch before it waits for events.
    support::awaitWatch("/dev/bus/usb");
}

void ServiceTest::awaitWatching() {
    awaitUsbWatch();
    // The watch on /dev is set some time ahead of the first read.
    while (!hasPart(log, "name:started")) {
        createNode("started");
        unlink("/dev/started");
        usleep(1000);
    }
    // The thread has said all of these when it has said the last.
    createNode("watched");
    unlink("/dev/watched");
    log.waitUntil([](const LogLine& line) {
        return line.text.find("mask:0x00000200 name:watched") != std::string::npos;
    });
    support::awaitAsleep("usb-notify");
}

void ServiceTest::attach(const phone::CoverOptions& options) {
    const size_t at = log.size();
    phone.cover.attach(options);
    awaitAttached(at);
}

void ServiceTest::awaitAttached(size_t line) const {
    // What became of the touch update state is the last that an attach says.
    log.waitForPrefix("status = ", line);
}

void ServiceTest::detach() {
    const size_t from = log.size();
    phone.cover.detach();
    log.waitFor("serialLogEnable: 0", from);
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

std::vector<std::string> ServiceTest::ownLines() const {
    std::vector<std::string> lines;
    for (const std::string& text : log.texts()) {
        const bool isOther = text.rfind("usb", 0) == 0 || text.rfind("==", 0) == 0 ||
                             text.rfind("serialLogThread", 0) == 0 ||
                             text.rfind("BrightnessThread", 0) == 0;
        if (!isOther) lines.push_back(text);
    }
    return lines;
}

std::vector<std::string> ServiceTest::commands(uint64_t from) const {
    return journal.list(Kind::TtyRx, from);
}

void AttachedTest::SetUp() {
    start();
    attach();
    // The exchanges of the attach are over when their vote is withdrawn.
    EXPECT_EQ(send("AT\r").value, 0);
    from = journal.next();
    log.clear();
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
