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

// Of a dump; what a service prints is far shorter, and nobody is to fill our memory.
inline constexpr size_t kDumpLimit = 1 << 20;

// What the service prints for these options of IBase::debug, empty when it has no dump. Throws
// Failure: as requireDelivered(), and with EXIT_ANSWERED_FAIL for a dump that is too long or has no
// end.
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

// What of a dump can be understood. The text is anybody's: a member that is not there, or is not
// what it should be, is unknown.
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
    // Each is none for null, too. A number is the first of a list; none above 2^53 or below its
    // negative, so that numbers can be added.
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
