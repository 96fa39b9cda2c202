// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "vm/gadget/Transfers.h"

#include <algorithm>
#include <string>

#include "emulator/phone/Error.h"

namespace gadget {

void Transfers::add(const Transfer& transfer) {
    if (!mWaiting.emplace(transfer.id, transfer).second) {
        throw phone::Error("no USB/IP: two transfers " + std::to_string(transfer.id));
    }
    if (transfer.wait == Transfer::Wait::Bytes) mForBytes.push_back(transfer.id);
}

std::optional<Transfer> Transfers::take(uint32_t id) {
    const auto found = mWaiting.find(id);
    if (found == mWaiting.end()) return std::nullopt;
    const Transfer transfer = found->second;
    mWaiting.erase(found);
    mForBytes.erase(std::remove(mForBytes.begin(), mForBytes.end(), id), mForBytes.end());
    return transfer;
}

Transfer Transfers::takeForBytes() {
    return *take(mForBytes.front());
}

}  // namespace gadget
