// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Serves IBivista for tests of its clients. Prints "ready", then each call as a line of JSON:
// {"method":"setBrightness","args":[128]}.
//
// Options: --fail answers FAIL; --fail-in METHOD does so in that method alone; --text HEX answers
// this text; --text-in METHOD HEX,HEX... answers others in that method, one a call, and the last
// one from then on; --lines HEX goes to AT callbacks, line by line; --exit-in METHOD dies
// in that method; --hold-in METHOD FIFO waits in that method for a byte in the named pipe, one for
// each call; --v1_0 serves only version 1.0; --flag answers true where a bool is asked; --keep-dump
// never closes what a dump is written to; --dump-file FILE has the dump; --panel WIDTHxHEIGHT is
// the sub display's size.

#include <fcntl.h>
#include <hidl/HidlTransportSupport.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivista.h>
#include <vendor/qmx/hardware/bivista/1.1/IBivistaLpwgCallback.h>

#include <deque>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

namespace V1_0 = ::vendor::qmx::hardware::bivista::V1_0;
namespace V1_1 = ::vendor::qmx::hardware::bivista::V1_1;
using ::android::sp;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;
using ::android::hardware::Return;
using ::android::hardware::Void;
using V1_0::Status;
using Json = nlohmann::ordered_json;

struct Options {
    Status status = Status::OK;
    std::string text = "text";
    std::map<std::string, std::string> textIn;
    // The answers before the one in textIn.
    std::map<std::string, std::deque<std::string>> firstIn;
    std::string lines = "one\ntwo\n";
    std::string exitIn;
    std::string failIn;
    std::string holdIn;
    std::string holdFifo;
    bool onlyV1_0 = false;
    bool flag = false;
    bool keepDump = false;
    V1_0::SubScreenInfo panel = {128, 65535, 255};
} sOptions;

// Waits for a byte in the pipe. Open both ways, since it keeps what comes before it is asked for.
void hold() {
    static const int fifo = open(sOptions.holdFifo.c_str(), O_RDWR | O_CLOEXEC);
    char byte;
    if (read(fifo, &byte, 1) != 1) _exit(9);
}

// Prints the call. Everything of this program that prints runs on one thread at a time.
void record(const char* method, const Json& arguments = Json::array()) {
    printf("%s\n", Json({{"method", method}, {"args", arguments}}).dump().c_str());
    fflush(stdout);
    if (sOptions.exitIn == method) _exit(9);
    if (sOptions.holdIn == method) hold();
}

template <typename Callback>
Json nameOf(const sp<Callback>& callback) {
    return callback == nullptr ? Json() : Json("callback");
}

// Of a long frame only the length is printed: a line must fit into a pipe that no test reads yet.
Json describe(const hidl_vec<uint32_t>& frame) {
    if (frame.size() > 100) return {{"words", frame.size()}};
    return std::vector<uint32_t>(frame);
}

std::string textOf(const char* method) {
    std::deque<std::string>& first = sOptions.firstIn[method];
    if (!first.empty()) {
        const std::string text = first.front();
        first.pop_front();
        return text;
    }
    const auto own = sOptions.textIn.find(method);
    return own != sOptions.textIn.end() ? own->second : sOptions.text;
}

Status statusOf(const char* method) {
    return sOptions.failIn == method ? Status::FAIL : sOptions.status;
}

std::vector<std::string> lines() {
    std::vector<std::string> lines;
    for (size_t at = 0, end; at < sOptions.lines.size(); at = end) {
        end = std::min(sOptions.lines.find('\n', at), sOptions.lines.size() - 1) + 1;
        lines.push_back(sOptions.lines.substr(at, end - at));
    }
    return lines;
}

// One event of each kind, through the newest version that the client has.
void sendLpwgEvents(const sp<V1_0::IBivistaLpwgCallback>& callback) {
    sp<V1_1::IBivistaLpwgCallback> newer =
            V1_1::IBivistaLpwgCallback::castFrom(callback).withDefault(nullptr);
    for (int32_t status : {-1, 0, 3, 7, 99}) {
        int32_t result = status == -1 ? -1 : 0;
        auto sent =
                newer != nullptr
                        ? newer->onLpwgEvent_1_1(static_cast<V1_1::LpwgEventStatus>(status), result)
                        : callback->onLpwgEvent(static_cast<V1_0::LpwgEventStatus>(status), result);
        if (!sent.isOk()) return;
    }
    record("events sent");
}

void sendStates(const sp<V1_0::IBivistaSubDisplayCallback>& callback) {
    for (int32_t state : {1, 3, 2, 0, 9}) {
        auto sent = callback->onSubDisplayStateChanged(static_cast<V1_0::SubScreenState>(state));
        if (!sent.isOk()) return;
    }
    record("events sent");
}

template <typename Interface>
class Fake : public Interface {
    using Text = std::function<void(Status, const hidl_string&)>;

    Return<void> textual(const char* method, const Text& done) {
        record(method);
        done(statusOf(method), textOf(method));
        return Void();
    }

    // Kept until the next ones come.
    sp<V1_0::IBivistaLpwgCallback> mLpwgCallback;
    sp<V1_0::IBivistaSubDisplayCallback> mSubDisplayCallback;

  protected:
    static Return<Status> plain(const char* method, const Json& arguments = Json::array()) {
        record(method, arguments);
        return statusOf(method);
    }

  public:
    Return<void> getFirmwareVersion(Text done) override {
        return textual("getFirmwareVersion", done);
    }
    Return<Status> checkFirmwareVersion() override { return plain("checkFirmwareVersion"); }
    Return<void> getFirmwareFile(Text done) override { return textual("getFirmwareFile", done); }
    Return<Status> doFirmwareUpgrade() override { return plain("doFirmwareUpgrade"); }
    Return<Status> goDload() override { return plain("goDload"); }
    Return<Status> goSTMDload() override { return plain("goSTMDload"); }
    Return<Status> cancelFirmwareUpgrade() override { return plain("cancelFirmwareUpgrade"); }
    Return<void> getTouchFirmwareVersion(Text done) override {
        return textual("getTouchFirmwareVersion", done);
    }
    Return<Status> DoRawdata() override { return plain("DoRawdata"); }
    Return<Status> DoDelta() override { return plain("DoDelta"); }
    Return<Status> DoTouchReset() override { return plain("DoTouchReset"); }
    Return<void> getGpiopin(Text done) override { return textual("getGpiopin", done); }
    Return<Status> setStatus(const V1_0::LpwgStatus& status) override {
        return plain("setStatus", {status.type, status.value});
    }
    Return<Status> DoTouchFirmwareUpgrade() override { return plain("DoTouchFirmwareUpgrade"); }
    Return<void> getSelfTest(Text done) override { return textual("getSelfTest", done); }
    Return<void> getLPWGSelfTest(Text done) override { return textual("getLPWGSelfTest", done); }
    Return<Status> getTestResults() override { return plain("getTestResults"); }
    Return<void> setLpwgCallback(const sp<V1_0::IBivistaLpwgCallback>& callback) override {
        mLpwgCallback = callback;
        record("setLpwgCallback", Json::array({nameOf(callback)}));
        if (callback != nullptr) std::thread(sendLpwgEvents, callback).detach();
        return Void();
    }
    Return<Status> setBrightness(int32_t value) override { return plain("setBrightness", {value}); }
    Return<Status> setPowerStatus(bool enable, bool uevent) override {
        return plain("setPowerStatus", {enable, uevent});
    }
    Return<void> getCoverDisplayCutout(Text done) override {
        return textual("getCoverDisplayCutout", done);
    }
    Return<Status> setRgbTune(uint32_t a, uint32_t b, uint32_t c, uint32_t d) override {
        return plain("setRgbTune", {a, b, c, d});
    }
    Return<Status> setScreenMode(V1_0::ScreenMode mode) override {
        return plain("setScreenMode", {static_cast<int32_t>(mode)});
    }
    Return<Status> setScreenTune(uint32_t a, uint32_t b, uint32_t c, uint32_t d) override {
        return plain("setScreenTune", {a, b, c, d});
    }
    Return<Status> setBVBrightnessOffset(int32_t value) override {
        return plain("setBVBrightnessOffset", {value});
    }
    Return<void> getBV2Status(
            std::function<void(Status, const V1_0::BivistaStatus&)> done) override {
        record("getBV2Status");
        done(sOptions.status, {sOptions.flag});
        return Void();
    }
    Return<Status> setSubDisplayBrightness(int32_t value) override {
        return plain("setSubDisplayBrightness", {value});
    }
    Return<Status> setSubDisplayPowerState(bool enable) override {
        return plain("setSubDisplayPowerState", {enable});
    }
    Return<void> getSubDisplayInfo(
            std::function<void(Status, const V1_0::SubScreenInfo&)> done) override {
        record("getSubDisplayInfo");
        done(sOptions.status, sOptions.panel);
        return Void();
    }
    Return<Status> drawSubDisplay(const hidl_vec<uint32_t>& frame) override {
        return plain("drawSubDisplay", Json::array({describe(frame)}));
    }
    Return<void> getSubDisplayPowerState(
            std::function<void(Status, V1_0::SubScreenState)> done) override {
        record("getSubDisplayPowerState");
        done(sOptions.status, V1_0::SubScreenState::ON);
        return Void();
    }
    Return<void> setSubDisplayCallback(
            const sp<V1_0::IBivistaSubDisplayCallback>& callback) override {
        mSubDisplayCallback = callback;
        record("setSubDisplayCallback", Json::array({nameOf(callback)}));
        if (callback != nullptr) std::thread(sendStates, callback).detach();
        return Void();
    }
    // Writes its text to the descriptor.
    Return<void> debug(const hidl_handle& fd, const hidl_vec<hidl_string>& options) override {
        record("debug", std::vector<std::string>(options.begin(), options.end()));
        if (fd.getNativeHandle() == nullptr || fd->numFds != 1) return Void();
        const hidl_string text = textOf("debug");
        FILE* const output = fdopen(dup(fd->data[0]), "w");
        fwrite(text.c_str(), 1, text.size(), output);
        fflush(output);
        if (!sOptions.keepDump) fclose(output);
        return Void();
    }
    Return<bool> getBV2Connect() override {
        record("getBV2Connect");
        return sOptions.flag;
    }
    Return<void> sendAtCommand(const hidl_string& cmd, const sp<V1_0::IBivistaAtCallback>& callback,
                               Text done) override {
        record("sendAtCommand", {std::string(cmd), nameOf(callback)});
        if (callback != nullptr) {
            for (const std::string& line : lines()) {
                if (!callback->onAtResponse(line).isOk()) break;
            }
        }
        done(sOptions.status, textOf("sendAtCommand"));
        return Void();
    }
};

class FakeV1_1 : public Fake<V1_1::IBivista> {
  public:
    Return<Status> setAesMode(uint32_t mode) override { return plain("setAesMode", {mode}); }
    Return<Status> manageAesMode(uint32_t mode) override { return plain("manageAesMode", {mode}); }
    Return<Status> bv_update_state() override { return plain("bv_update_state"); }
    Return<Status> set_touch_perf(bool enable) override {
        return plain("set_touch_perf", {enable});
    }
};

std::string fromHex(const std::string& hex) {
    std::string bytes;
    for (size_t at = 0; at + 1 < hex.size(); at += 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
    }
    return bytes;
}

void keepTexts(const std::string& method, std::string list) {
    for (size_t comma; (comma = list.find(',')) != std::string::npos; list.erase(0, comma + 1)) {
        sOptions.firstIn[method].push_back(fromHex(list.substr(0, comma)));
    }
    sOptions.textIn[method] = fromHex(list);
}

bool parsePanel(const std::string& text) {
    return sscanf(text.c_str(), "%hux%hu", &sOptions.panel.x, &sOptions.panel.y) == 2;
}

// The options that stand alone.
bool parseFlag(const std::string& option) {
    if (option == "--fail") {
        sOptions.status = Status::FAIL;
    } else if (option == "--v1_0") {
        sOptions.onlyV1_0 = true;
    } else if (option == "--flag") {
        sOptions.flag = true;
    } else if (option == "--keep-dump") {
        sOptions.keepDump = true;
    } else {
        return false;
    }
    return true;
}

// Options that take a word.
bool parseValue(const std::string& option, const std::string& value) {
    if (option == "--text") {
        sOptions.text = fromHex(value);
    } else if (option == "--dump-file") {
        std::ostringstream text;
        text << std::ifstream(value).rdbuf();
        sOptions.textIn["debug"] = text.str();
    } else if (option == "--lines") {
        sOptions.lines = fromHex(value);
    } else if (option == "--exit-in") {
        sOptions.exitIn = value;
    } else if (option == "--fail-in") {
        sOptions.failIn = value;
    } else if (option == "--panel") {
        return parsePanel(value);
    } else {
        return false;
    }
    return true;
}

// Those with two.
bool parsePair(const std::string& option, const std::string& method, const std::string& value) {
    if (option == "--text-in") {
        keepTexts(method, value);
    } else if (option == "--hold-in") {
        sOptions.holdIn = method;
        sOptions.holdFifo = value;
    } else {
        return false;
    }
    return true;
}

bool parse(const std::vector<std::string>& words) {
    const size_t count = words.size();
    for (size_t i = 0; i < count;) {
        if (parseFlag(words[i])) {
            i += 1;
        } else if (i + 1 < count && parseValue(words[i], words[i + 1])) {
            i += 2;
        } else if (i + 2 < count && parsePair(words[i], words[i + 1], words[i + 2])) {
            i += 3;
        } else {
            return false;
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (!parse({argv + 1, argv + argc})) {
        fprintf(stderr, "fake_service: wrong options\n");
        return 2;
    }
    // Whoever reads a dump may have gone.
    signal(SIGPIPE, SIG_IGN);
    ::android::hardware::configureRpcThreadpool(1, true);
    ::android::status_t registered =
            sOptions.onlyV1_0 ? (new Fake<V1_0::IBivista>)->registerAsService("default")
                              : (new FakeV1_1)->registerAsService("default");
    if (registered != ::android::OK) return 1;
    printf("ready\n");
    fflush(stdout);
    ::android::hardware::joinRpcThreadpool();
    return 1;
}
