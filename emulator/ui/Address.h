// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The page's address, and who may ask there.
#pragma once

#include <string>

#include <httplib.h>

namespace ui {

struct Address {
    std::string token;  // 32 hexadecimal digits that nobody can guess
    int port = 0;

    // With a new token. Throws phone::Error when the kernel gives no random numbers.
    static Address make();

    // Everything that is served lies below it: "/TOKEN/".
    std::string base() const { return "/" + token + "/"; }
    std::string url() const { return "http://127.0.0.1:" + std::to_string(port) + base(); }

    // Why the request is refused, or nothing. A web page of another origin lacks the token, and its
    // browser names the origin; a name server that gives its own name this machine's address cannot
    // change the host that the browser names; other users of the machine lack the token.
    std::string refusal(const httplib::Request& request) const;
};

}  // namespace ui
