// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tests/kernel/DumpReader.h"

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

std::string dumpOf(Bivista& service, const hidl_vec<hidl_string>& options) {
    const int file = memfd_create("dump", MFD_CLOEXEC);
    NATIVE_HANDLE_DECLARE_STORAGE(storage, 1, 0);
    native_handle_t* const handle = native_handle_init(storage, 1, 0);
    handle->data[0] = file;
    EXPECT_TRUE(service.debug(hidl_handle(handle), options).isOk());
    std::string text(static_cast<size_t>(lseek(file, 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(file, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    close(file);
    return text;
}

nlohmann::json dumpJsonOf(Bivista& service) {
    const std::string text = dumpOf(service, {"--json"});
    EXPECT_EQ(text.find('\n'), text.size() - 1) << "one line";
    return nlohmann::json::parse(text);
}

std::vector<std::string> eventsOf(Bivista& service, uint64_t since) {
    const nlohmann::json dump =
            nlohmann::json::parse(dumpOf(service, {"--json", "--since", std::to_string(since)}));
    std::vector<std::string> texts;
    for (const nlohmann::json& event : dump["events"]) {
        std::string text = event["kind"].get<std::string>();
        if (!event["what"].is_null()) text += " " + event["what"].get<std::string>();
        if (!event["values"].empty()) text += " " + event["values"].dump();
        if (!event["cause"].is_null()) text += " " + event["cause"].get<std::string>();
        if (event["repeats"] != 0) text += " +" + event["repeats"].dump();
        texts.push_back(text);
    }
    return texts;
}

std::vector<std::string> eventsButUsbOf(Bivista& service, uint64_t since) {
    std::vector<std::string> events = eventsOf(service, since);
    std::erase_if(events, [](const std::string& event) {
        return event == "attach usb" || event == "detach usb";
    });
    return events;
}

uint64_t lastEventOf(Bivista& service) {
    const std::string text = dumpOf(service, {"--json", "--events"});
    return nlohmann::json::parse(text)["history"]["last"];
}

std::vector<std::string> threadNamesOf(Bivista& service) {
    std::vector<std::string> names;
    const nlohmann::json dump = dumpJsonOf(service);
    for (const nlohmann::json& thread : dump["threads"]) {
        names.push_back(thread["name"]);
    }
    return names;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
