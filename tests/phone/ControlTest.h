// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// A control server of the test's phone, and a client of it.
#pragma once

#include <optional>
#include <string>

#include <fcntl.h>
#include <httplib.h>
#include <linux/hidraw.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <android-base/unique_fd.h>
#include "emulator/phone/control/ControlServer.h"
#include "emulator/phone/control/SocketFolder.h"
#include "tests/support/PhoneTest.h"

namespace support {

using nlohmann::json;

struct Reply {
    int status = 0;  // 0: no answer
    json body;
};

struct WrongRequest {
    const char* method;
    const char* path;
    const char* body;
    int status;
};

class ControlTest : public PhoneTest {
  protected:
    ControlTest() : mFolder(control::socketFolder()), mClient(mFolder + "/emulator.sock") {
        control::makeSocketFolder(mFolder);
        server.emplace(phone, neighbours, mFolder);
        mClient.set_address_family(AF_UNIX);
    }

    Reply request(const std::string& method, const std::string& path, const std::string& body) {
        httplib::Request request;
        request.method = method;
        request.path = path;
        request.body = body;
        const httplib::Result result = mClient.send(request);
        if (!result) return {};
        return {result->status, json::parse(result->body, nullptr, false)};
    }
    Reply get(const std::string& path) { return request("GET", path, ""); }
    Reply post(const std::string& path, const json& body = json::object()) {
        return request("POST", path, body.dump());
    }
    Reply put(const std::string& path, const json& body) {
        return request("PUT", path, body.dump());
    }
    Reply remove(const std::string& path) { return request("DELETE", path, ""); }

    void expectRefusal(const WrongRequest& wrong) {
        const Reply reply = request(wrong.method, wrong.path, wrong.body);
        EXPECT_EQ(reply.status, wrong.status) << wrong.method << wrong.path << wrong.body;
        EXPECT_TRUE(reply.body.is_object() && reply.body.value("error", "") != "")
                << wrong.method << wrong.path << wrong.body << reply.body;
    }

    // Opens the tty as the phone does, and sends the cover the command to stream its log.
    android::base::unique_fd listenToTheLog() {
        phone.cover.attach();
        android::base::unique_fd tty(open("/dev/ttyACM0", O_RDWR | O_NOCTTY));
        setLines(tty);
        EXPECT_EQ(write(tty.get(), "AT%LOGSAVE=0\r", 13), 13);
        journal.waitFor(phone::is(phone::Kind::TtyTx, "AT%LOGSAVE=0\r\r\nOK\r\n"), first);
        return tty;
    }

    // Switches the sub display on and draws levels 10 and 3.
    static void drawTwoPixels() {
        const android::base::unique_fd node(open("/dev/hidraw0", O_WRONLY));
        uint8_t config[] = {3, 2, 90};
        EXPECT_EQ(ioctl(node.get(), HIDIOCSFEATURE(sizeof(config)), config), 3);
        const uint8_t pixels[] = {2, 1, 0, 0, 0, 0, 0, 0xa3};
        EXPECT_EQ(write(node.get(), pixels, sizeof(pixels)), 8);
        const uint8_t end[] = {2, 0, 0, 0, 0, 0, 0};
        EXPECT_EQ(write(node.get(), end, sizeof(end)), 7);
    }

    const std::string mFolder;
    neighbours::Neighbours neighbours{phone};
    neighbours::Accessory& accessory = neighbours.accessory;
    std::optional<control::ControlServer> server;

  private:
    httplib::Client mClient;
};

}  // namespace support
