// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/ui/Browser.h"

#include <chrono>
#include <fstream>
#include <regex>
#include <set>
#include <thread>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ui_test {

Connection::Connection(int port, const std::string& host)
    : mSocket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    inet_pton(AF_INET, host.c_str(), &address.sin_addr);
    mConnected = connect(mSocket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
}

Connection::~Connection() {
    close(mSocket);
}

bool Connection::send(const std::string& bytes) const {
    for (size_t sent = 0; sent < bytes.size();) {
        const ssize_t count =
                ::send(mSocket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count < 0) return false;
        sent += static_cast<size_t>(count);
    }
    return true;
}

bool Connection::readSome() {
    char bytes[65536];
    const ssize_t count = read(mSocket, bytes, sizeof(bytes));
    if (count > 0) mText.append(bytes, static_cast<size_t>(count));
    return count > 0;
}

const std::string& Connection::waitFor(const std::string& text) {
    while (mText.find(text) == std::string::npos && readSome()) {
    }
    EXPECT_NE(mText.find(text), std::string::npos) << text << " is missing in " << mText;
    return mText;
}

const std::string& Connection::all() {
    while (readSome()) {
    }
    return mText;
}

Ui::Ui(const std::vector<std::string>& options, const support::ProcessOptions& how)
    : mProcess(
              [&] {
                  std::vector<std::string> command = {program::kEmulator, "ui"};
                  command.insert(command.end(), options.begin(), options.end());
                  return command;
              }(),
              how),
      mLine(mProcess.line()) {
    const std::regex shape("http://127\\.0\\.0\\.1:([0-9]+)/([0-9a-f]{32})/");
    std::smatch parts;
    EXPECT_TRUE(std::regex_match(mLine, parts, shape)) << mLine << mProcess.err();
    if (parts.empty()) return;
    mPort = std::stoi(parts[1]);
    mToken = parts[2];
}

httplib::Result Ui::get(const std::string& name) const {
    return httplib::Client("127.0.0.1", mPort).Get(path(name));
}

httplib::Result Ui::post(const std::string& body, const std::string& type) const {
    return httplib::Client("127.0.0.1", mPort)
            .Post(path("request"), {{"Origin", origin()}}, body, type);
}

std::string Ui::raw(const std::string& request) const {
    Connection connection(mPort);
    connection.send(request);
    return connection.all();
}

std::string Ui::rawGet(const std::string& path, const std::string& headers) const {
    return raw("GET " + path + " HTTP/1.1\r\nHost: " + host() + "\r\n" + headers + "\r\n");
}

std::unique_ptr<Connection> Ui::listen() const {
    auto page = std::make_unique<Connection>(mPort);
    page->send("GET " + path("events") + " HTTP/1.1\r\nHost: " + host() + "\r\n\r\n");
    return page;
}

UiTest::UiTest() {
    std::filesystem::create_directory(mFolder + "/hidl");
    std::filesystem::permissions(mFolder + "/hidl", std::filesystem::perms::owner_all);
}

std::unique_ptr<Process> UiTest::startEmulator() const {
    auto emulator = std::make_unique<Process>(stayingUp());
    emulator->waitFor("up\n");
    return emulator;
}

void UiTest::ctl(std::vector<std::string> words) {
    words.insert(words.begin(), "ctl");
    const Outcome outcome = invoke(words);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

void UiTest::await(const std::function<bool()>& condition) {
    while (!condition()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

size_t UiTest::requestsOf(const Process& process) {
    const std::string files = "/proc/" + std::to_string(process.pid());
    std::set<std::string> inodes;
    std::ifstream sockets(files + "/net/unix");
    for (std::string line; std::getline(sockets, line);) {
        std::istringstream words(line);
        std::string word;
        for (int i = 0; i < 7; ++i) words >> word;
        inodes.insert("socket:[" + word + "]");
    }
    size_t found = 0;
    for (const auto& file : std::filesystem::directory_iterator(files + "/fd")) {
        std::error_code gone;
        found += inodes.contains(std::filesystem::read_symlink(file, gone).string()) ? 1 : 0;
    }
    return found;
}

std::string body(const std::string& answer) {
    const size_t end = answer.find("\r\n\r\n");
    return end == std::string::npos ? "" : answer.substr(end + 4);
}

}  // namespace ui_test
