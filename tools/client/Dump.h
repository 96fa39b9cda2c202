// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/client/Service.h"
#include "tools/text/Json.h"

namespace bivistactl {

// Longest dump in bytes. A real one is far shorter, and no service may fill our memory.
inline constexpr size_t kDumpLimit = 1 << 20;

// The service's output for these options of IBase::debug; empty when the service has no dump.
// Throws Failure: as requireDelivered(), and with EXIT_ANSWERED_FAIL for a dump that is too long or
// has no end.
std::string readDump(const ::android::sp<BivistaV1_0>& service,
                     const std::vector<std::string>& options);

// A member of a section: {"brightness", "offset"}. Of a section of rows, in the first one whose
// `key` is `row`.
struct DumpMember {
    const char* section;
    const char* name;
    const char* key = nullptr;
    const char* row = nullptr;
};

// The parts of a dump that this program understands. Any program may have written the text: a
// member that is missing, or has another type, is unknown.
class Dump {
  public:
    // Nothing is known, for this reason.
    static Dump unknown(const std::string& fault);
    // The text of "--json".
    explicit Dump(std::string_view text);
    // Asks the service. Throws as requireDelivered().
    static Dump of(const ::android::sp<BivistaV1_0>& service);

    // Why nothing is known, for people; empty when something is.
    const std::string& fault() const { return mFault; }

    // Whether the section has the member, null included.
    bool has(const DumpMember& member) const;
    // Each is none for null, too. Of a list, the number is the first. A number above 2^53 or below
    // its negative is none, so that numbers can be added.
    std::optional<int64_t> number(const DumpMember& member) const;
    std::optional<bool> flag(const DumpMember& member) const;
    std::optional<std::string> text(const DumpMember& member) const;

    // The names of the commands for which the number, less the other one, is above 0.
    std::vector<std::string> commandsWith(const char* number, const char* less = nullptr) const;

  private:
    const Json* find(const DumpMember& member) const;

    std::string mFault;
    std::shared_ptr<const Json> mSections;
};

}  // namespace bivistactl
