// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/replay/RecordedNeighbours.h"

#include <cstdlib>
#include <string_view>
#include <utility>

namespace replay {

namespace {

// As a request to the emulator changes whether a neighbour is there.
template <typename Neighbour>
void change(Neighbour& neighbour, std::string_view request, const std::string& path) {
    if (request == "PUT " + path) neighbour.serve();
    if (request == "PUT " + path + "/declared") neighbour.declare();
    if (request == "DELETE " + path) neighbour.withdraw();
}

}  // namespace

RecordedNeighbours::RecordedNeighbours(RecordedPhone& phone, const Script& script)
    : mPhone(phone),
      mAnswers(script.answers),
      mAccessory(phone.journal(), [this] { return accessoryState(); }),
      mLpwg(phone.journal(), [this](int32_t) { return lpwgResult(); }) {}

void RecordedNeighbours::serve() {
    mAccessory.serve();
    mLpwg.serve();
}

void RecordedNeighbours::play(const phone::Entry& entry) {
    if (entry.kind != phone::Kind::Control) return;
    change(mAccessory, entry.path, "/v1/accessory");
    change(mLpwg, entry.path, "/v1/lpwg");
}

std::string RecordedNeighbours::take(const std::string& method) {
    const android::AutoMutex lock(mLock);
    std::deque<std::string>& answers = mAnswers[method];
    if (answers.empty()) return "";
    std::string answer = std::move(answers.front());
    answers.pop_front();
    return answer;
}

neighbours::AccessoryState RecordedNeighbours::accessoryState() {
    const std::string answer = take("IAccessory.getAccessoryState");
    const size_t comma = answer.find(',');
    if (comma == std::string::npos) {
        return {.state = mPhone.isCoverAttached() ? neighbours::kAttached : 0};
    }
    return {static_cast<uint32_t>(std::strtoul(answer.c_str(), nullptr, 10)),
            static_cast<uint32_t>(std::strtoul(&answer[comma + 1], nullptr, 10))};
}

int32_t RecordedNeighbours::lpwgResult() {
    return static_cast<int32_t>(std::strtol(take("ILpwg.setAesModeToLpwg").c_str(), nullptr, 10));
}

}  // namespace replay
