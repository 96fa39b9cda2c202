// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <future>
#include <optional>
#include <thread>
#include <utility>

namespace doctor {

// The function's result; none when it takes longer than `patience`. The function then goes on on a
// thread of its own, so the program must end by quick_exit(). What it throws within that time is
// thrown here.
template <typename Function>
auto within(std::chrono::milliseconds patience, Function function)
        -> std::optional<decltype(function())> {
    std::packaged_task<decltype(function())()> task(std::move(function));
    auto result = task.get_future();
    std::thread(std::move(task)).detach();
    if (result.wait_for(patience) != std::future_status::ready) return std::nullopt;
    return result.get();
}

}  // namespace doctor
