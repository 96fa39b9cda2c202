#pragma once

#include <chrono>
#include <future>
#include <optional>
#include <thread>
#include <utility>

namespace doctor {

// What the function gives; none when it takes longer than `patience`. It is then left behind on a
// thread of its own, so that the program must end by quick_exit(). It must not throw.
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
