// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Calls of the cover's service by names and JSON.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace calls {

using Json = nlohmann::ordered_json;

// The names of all methods of IBivista 1.0 and 1.1, in the interface's order.
const std::vector<std::string>& methodNames();
// Of all methods of its clients' callbacks.
const std::vector<std::string>& callbackNames();

// "", or what is wrong with a call: `there is no method "x": did you mean y?`, "setBrightness:
// argument 1: true is not a whole number from -2147483648 to 2147483647". Needs no service.
//
// `arguments` is a list with one element for each argument: whole numbers; true and false; texts,
// escaped as in the journal (cover::escape); an enumerator by its name or any number of its type;
// a structure as an object with all its members; lists; for a callback "callback", "callback-1.0"
// (an object of that version, though there is a later one) or null. So the arguments of a journal's
// entry fit, unless they were shortened.
std::string checkArguments(const std::string& method, const Json& arguments);

struct Invoked {
    // A list, as the journal has it: ["OK",{"x":128,"y":8,"format":1}]; empty for a method without
    // results. Null when there is an error.
    Json results;
    // Why there are no results: what checkArguments() says, or that the service died, refused the
    // call or does not have the method. One line.
    std::string error;
};

class Caller {
  public:
    // Waits for the service for so long; null when there is none by then. Zero: looks once. Takes
    // longer when a process that served is stopped. Throws std::system_error when the process can
    // have no thread or descriptor for its calls.
    static std::unique_ptr<Caller> connect(std::chrono::milliseconds limit);
    ~Caller();
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    // Any thread, several at a time; blocks until the service answers or dies. Callback objects do
    // nothing when they are called, and live as long as this Caller.
    Invoked call(const std::string& method, const Json& arguments);

  private:
    class Remote;

    explicit Caller(std::unique_ptr<Remote> remote);

    const std::unique_ptr<Remote> mRemote;
};

}  // namespace calls
