// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// The faults of one kind that are set, and how often each was met.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace cover {

// A fault has struck.
struct Strike {
    std::string fault;  // its text, as it was listed until then
    std::string by;     // the command or call that met it

    bool operator==(const Strike&) const = default;
};

// A Fault has a toText(), `met`, and perhaps `times`.
template <typename Fault>
class FaultList {
  public:
    void add(Fault fault) { mFaults.push_back(std::move(fault)); }
    // Takes away the first one with this text, and returns it; nothing when there is none.
    std::optional<Fault> remove(std::string_view text) {
        const auto found = std::find_if(mFaults.begin(), mFaults.end(),
                                        [&](const Fault& fault) { return toText(fault) == text; });
        if (found == mFaults.end()) return std::nullopt;
        Fault removed = std::move(*found);
        mFaults.erase(found);
        return removed;
    }
    void clear() { mFaults.clear(); }

    // In the order in which they were added. One whose "times" has run out is gone from here.
    const std::vector<Fault>& list() const { return mFaults; }

    // The one at `index` strikes. One that was good for this once is gone with dropUsedUp().
    void meet(size_t index, std::string_view by) {
        Fault& fault = mFaults[index];
        mStrikes.push_back({toText(fault), std::string(by)});
        ++fault.met;
        if constexpr (requires { fault.times; }) {
            if (fault.times) --*fault.times;
        }
    }
    // What has struck since the last call, in order.
    std::vector<Strike> takeStrikes() { return std::exchange(mStrikes, {}); }

  protected:
    void dropUsedUp() {
        std::erase_if(mFaults, [](const Fault& fault) { return fault.times == 0; });
    }

    std::vector<Fault> mFaults;

  private:
    std::vector<Strike> mStrikes;
};

}  // namespace cover
