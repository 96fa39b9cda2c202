// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/ui/Address.h"

#include <cstdint>
#include <cstdio>
#include <string_view>

#include <strings.h>
#include <sys/random.h>

#include "emulator/phone/Error.h"

namespace ui {

namespace {

// In a time that does not tell how much of it is right.
bool isSame(std::string_view given, std::string_view secret) {
    if (given.size() != secret.size()) return false;
    unsigned difference = 0;
    for (size_t i = 0; i < secret.size(); ++i) {
        difference |= static_cast<unsigned>(given[i] ^ secret[i]);
    }
    return difference == 0;
}

bool isAnyCase(const std::string& text, const std::string& other) {
    return strcasecmp(text.c_str(), other.c_str()) == 0;
}

}  // namespace

Address Address::make() {
    uint8_t bytes[16];
    if (getrandom(bytes, sizeof(bytes), 0) != sizeof(bytes)) {
        phone::throwErrno("no random numbers for the page's address");
    }
    Address address;
    for (const uint8_t byte : bytes) {
        char digits[sizeof("00")];
        snprintf(digits, sizeof(digits), "%02x", byte);
        address.token += digits;
    }
    return address;
}

std::string Address::refusal(const httplib::Request& request) const {
    const std::string suffix = ":" + std::to_string(port);
    const std::string host = request.get_header_value("Host");
    const bool isOurs =
            isAnyCase(host, "127.0.0.1" + suffix) || isAnyCase(host, "localhost" + suffix);
    if (request.get_header_value_count("Host") != 1 || !isOurs) {
        return "this page is at 127.0.0.1" + suffix + " and localhost" + suffix + " alone";
    }
    const size_t origins = request.get_header_value_count("Origin");
    if (origins > 1 ||
        (origins == 1 && !isAnyCase(request.get_header_value("Origin"), "http://" + host))) {
        return "requests of other pages are refused";
    }
    if (origins == 0 && request.method != "GET" && request.method != "HEAD") {
        return "a request that changes something must name the page's origin: send an Origin "
               "header "
               "with http://" +
               host;
    }
    const std::string_view path = request.path;
    const size_t length = base().size();
    if (!isSame(path.substr(0, length), base())) {
        return "this is not the address of a page of the program that runs here; each start has a "
               "new address: open the one that \"bivista-emulator ui\" or \"run --ui\" has "
               "printed, "
               "or ui.html in the emulator's socket folder";
    }
    return "";
}

}  // namespace ui
