// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include <dbus/dbus.h>

#include <filesystem>
#include <string>
#include <vector>

#include "bench/ServerProcess.h"
#include "bench/hidl/Echo.h"

namespace bench {

namespace {

constexpr char kName[] = "org.bivista.Bench";

DBusConnection* connectTo(const std::string& address) {
    DBusConnection* connection = nullptr;
    // The daemon and the server are starting.
    for (int attempt = 0; attempt < 500 && connection == nullptr; ++attempt) {
        connection = dbus_connection_open_private(address.c_str(), nullptr);
        if (connection == nullptr) usleep(10000);
    }
    if (connection == nullptr || !dbus_bus_register(connection, nullptr)) fail("dbus-daemon");
    return connection;
}

[[noreturn]] void serve(const std::string& address) {
    DBusConnection* connection = connectTo(address);
    dbus_bus_request_name(connection, kName, 0, nullptr);
    while (dbus_connection_read_write(connection, -1)) {
        while (DBusMessage* call = dbus_connection_pop_message(connection)) {
            if (dbus_message_get_type(call) == DBUS_MESSAGE_TYPE_METHOD_CALL) {
                DBusMessage* answer = dbus_message_new_method_return(call);
                const dbus_int32_t status = 0;
                dbus_message_append_args(answer, DBUS_TYPE_INT32, &status, DBUS_TYPE_INVALID);
                dbus_connection_send(connection, answer, nullptr);
                dbus_message_unref(answer);
            }
            dbus_message_unref(call);
        }
        dbus_connection_flush(connection);
    }
    _exit(0);
}

[[noreturn]] void runDaemon(const std::string& directory) {
    const std::string config = directory + "/bus.conf";
    FILE* file = fopen(config.c_str(), "w");
    if (file == nullptr) fail("bus.conf");
    fprintf(file,
            "<busconfig><listen>unix:path=%s/bus</listen><policy context=\"default\">"
            "<allow send_destination=\"*\"/><allow eavesdrop=\"true\"/><allow own=\"*\"/>"
            "</policy></busconfig>",
            directory.c_str());
    fclose(file);
    execlp("dbus-daemon", "dbus-daemon", "--nofork", "--config-file", config.c_str(), nullptr);
    fail("dbus-daemon");
}

std::string makeDirectory() {
    char path[] = "/tmp/bench-dbus-XXXXXX";
    if (mkdtemp(path) == nullptr) fail("mkdtemp");
    return path;
}

class DbusEcho : public Echo {
  public:
    DbusEcho()
        : mDirectory(makeDirectory()),
          mAddress("unix:path=" + mDirectory + "/bus"),
          mDaemon([this] { runDaemon(mDirectory); }),
          mServer([this] { serve(mAddress); }),
          mConnection(connectTo(mAddress)) {
        while (!dbus_bus_name_has_owner(mConnection, kName, nullptr)) usleep(1000);
    }
    ~DbusEcho() override {
        dbus_connection_close(mConnection);
        dbus_connection_unref(mConnection);
        std::filesystem::remove_all(mDirectory);
    }

    void exchange(size_t size) override {
        DBusMessage* call = dbus_message_new_method_call(kName, "/", kName, "Call");
        const unsigned char* bytes = mBytes.data();
        if (size > 0) {
            dbus_message_append_args(call, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &bytes,
                                     static_cast<int>(size), DBUS_TYPE_INVALID);
        }
        DBusMessage* answer =
                dbus_connection_send_with_reply_and_block(mConnection, call, -1, nullptr);
        dbus_message_unref(call);
        if (answer == nullptr) fail("a D-Bus call");
        dbus_message_unref(answer);
    }

  private:
    const std::string mDirectory;
    const std::string mAddress;
    ServerProcess mDaemon;
    ServerProcess mServer;
    DBusConnection* const mConnection;
    const std::vector<unsigned char> mBytes = std::vector<unsigned char>(kLargest);
};

}  // namespace

std::unique_ptr<Echo> makeDbusEcho() {
    return std::make_unique<DbusEcho>();
}

}  // namespace bench
