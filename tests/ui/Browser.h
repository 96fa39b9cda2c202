// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// bivista-emulator ui as a process, and connections to it of which each byte is known.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <httplib.h>
#include <nlohmann/json.hpp>

#include "tests/phone/Program.h"

namespace ui_test {

using nlohmann::json;
using program::Outcome;
using program::Process;

// A TCP connection to a port of this machine; closed with the object.
class Connection {
  public:
    explicit Connection(int port, const std::string& host = "127.0.0.1");
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool isConnected() const { return mConnected; }
    // False when the server has closed.
    bool send(const std::string& bytes) const;
    // Waits until what has come holds this text, or the server has closed. Returns what has come.
    const std::string& waitFor(const std::string& text);
    // Waits until the server has closed, and returns all that has come.
    const std::string& all();

  private:
    bool readSome();

    const int mSocket;
    bool mConnected = false;
    std::string mText;
};

// The page's server of a registry folder.
class Ui {
  public:
    explicit Ui(const std::vector<std::string>& options = {},
                const support::ProcessOptions& how = {});

    const std::string& line() const { return mLine; }
    int port() const { return mPort; }
    const std::string& token() const { return mToken; }
    std::string host() const { return "127.0.0.1:" + std::to_string(mPort); }
    std::string origin() const { return "http://" + host(); }
    std::string path(const std::string& name) const { return "/" + mToken + "/" + name; }

    Process& process() { return mProcess; }

    httplib::Result get(const std::string& name) const;
    httplib::Result post(const std::string& body,
                         const std::string& type = "application/json") const;
    // Sends these headers and this body; the answer as it comes.
    std::string raw(const std::string& request) const;
    // The same for a GET with the right host, and more headers ("Name: value\r\n").
    std::string rawGet(const std::string& path, const std::string& headers = "") const;
    // A page that listens.
    std::unique_ptr<Connection> listen() const;

  private:
    Process mProcess;
    std::string mLine;
    int mPort = 0;
    std::string mToken;
};

class UiTest : public program::ProgramTest {
  protected:
    UiTest();

    std::string door() const { return mFolder + "/hidl/ui.html"; }
    // An emulator that answers, as long as the object lives.
    std::unique_ptr<Process> startEmulator() const;
    static void ctl(std::vector<std::string> words);
    static void await(const std::function<bool()>& condition);
    // Unix sockets that the process holds: its connections to the emulator.
    static size_t requestsOf(const Process& process);
};

std::string body(const std::string& answer);

}  // namespace ui_test
