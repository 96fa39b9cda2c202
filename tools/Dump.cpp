// The service's debug dump: how it is read, and what of it is understood.

#include "tools/Dump.h"

#include <android-base/unique_fd.h>
#include <cutils/native_handle.h>
#include <errno.h>
#include <poll.h>
#include <string.h>
#include <unistd.h>

#include <atomic>
#include <nlohmann/json.hpp>
#include <thread>

#include "tools/Failure.h"

namespace bivistactl {
namespace {

using ::android::sp;
using ::android::base::unique_fd;
using ::android::hardware::hidl_handle;
using ::android::hardware::hidl_string;
using ::android::hardware::hidl_vec;

// How long nothing may come of a service that has answered and holds on to the pipe.
constexpr int kMostIdleSeconds = 5;
// Sections, rows, members, the numbers of a list.
constexpr int kMostDepth = 4;
constexpr uint64_t kMostNumber = uint64_t{1} << 53;

// The service writes into the input what is read from the output.
struct Pipe {
    unique_fd output;
    unique_fd input;
};

Pipe makePipe() {
    Pipe pipe;
    if (!::android::base::Pipe(&pipe.output, &pipe.input)) {
        throw Failure(EXIT_NO_OUTPUT, std::string("cannot make a pipe: ") + strerror(errno));
    }
    return pipe;
}

// What comes out of a pipe, on a thread of its own, until the last input is closed.
class PipeReader {
  public:
    explicit PipeReader(unique_fd output)
        : mOutput(std::move(output)), mThread([this] { readAll(); }) {}
    ~PipeReader() {
        if (mThread.joinable()) finish();
    }
    PipeReader(const PipeReader&) = delete;
    PipeReader& operator=(const PipeReader&) = delete;

    // Nobody is to write any more who has not begun. Waits for the end.
    void finish() {
        mIsAnswered = true;
        mThread.join();
    }
    const std::string& text() const { return mText; }
    bool isTooLong() const { return mText.size() > kDumpLimit; }
    bool hasNoEnd() const { return mHasNoEnd; }

  private:
    // Closes the pipe, so that a service that still writes is not held up.
    void readAll() {
        while (!isTooLong() && readPiece()) {
        }
        mOutput.reset();
    }
    bool readPiece() {
        pollfd output = {mOutput.get(), POLLIN, 0};
        const int ready = poll(&output, 1, 1000);
        if (ready == 0) {
            mHasNoEnd = mIsAnswered && ++mIdleSeconds >= kMostIdleSeconds;
            return !mHasNoEnd;
        }
        mIdleSeconds = 0;
        char piece[4096];
        const ssize_t count = ready < 0 ? ready : read(mOutput.get(), piece, sizeof(piece));
        if (count > 0) mText.append(piece, static_cast<size_t>(count));
        return count > 0 || (count < 0 && errno == EINTR);
    }

    unique_fd mOutput;
    std::atomic<bool> mIsAnswered = false;
    int mIdleSeconds = 0;
    // Read when the thread has ended.
    bool mHasNoEnd = false;
    std::string mText;
    // The last member: it uses the others.
    std::thread mThread;
};

const Json* memberOf(const Json& object, const char* name) {
    const auto found = object.is_object() ? object.find(name) : object.end();
    return found == object.end() ? nullptr : &*found;
}

const Json* rowOf(const Json& rows, const char* key, const char* value) {
    if (!rows.is_array()) return nullptr;
    for (const Json& row : rows) {
        const Json* const name = memberOf(row, key);
        if (name != nullptr && name->is_string() && *name == value) return &row;
    }
    return nullptr;
}

std::optional<int64_t> numberOf(const Json* value) {
    if (value != nullptr && value->is_array() && !value->empty()) value = &value->front();
    if (value == nullptr || !value->is_number_integer()) return std::nullopt;
    // Above INT64_MAX it is an unsigned one.
    if (value->is_number_unsigned() && value->get<uint64_t>() > kMostNumber) return std::nullopt;
    const auto number = value->get<int64_t>();
    return number < -static_cast<int64_t>(kMostNumber) ? std::nullopt : std::optional(number);
}

// Deeper values are left out. Discarded when it is no JSON.
Json parseShallow(std::string_view text) {
    const auto isShallow = [](int depth, Json::parse_event_t, Json&) {
        return depth <= kMostDepth;
    };
    return Json::parse(text, isShallow, false);
}

}  // namespace

std::string readDump(const sp<BivistaV1_0>& service, const std::vector<std::string>& options) {
    Pipe pipe = makePipe();
    NATIVE_HANDLE_DECLARE_STORAGE(storage, 1, 0);
    native_handle_t* const handle = native_handle_init(storage, 1, 0);
    PipeReader reader(std::move(pipe.output));
    // Closed before the reader is waited for, whatever happens.
    unique_fd input = std::move(pipe.input);
    handle->data[0] = input.get();
    const hidl_vec<hidl_string> words(options.begin(), options.end());
    const auto called = service->debug(hidl_handle(handle), words);
    input.reset();
    reader.finish();
    requireDelivered(called);
    if (reader.isTooLong()) {
        throw Failure(EXIT_ANSWERED_FAIL,
                      "the service's debug dump is longer than 1 MiB, and not read");
    }
    if (reader.hasNoEnd()) {
        throw Failure(EXIT_ANSWERED_FAIL, "the service began a dump and does not end it");
    }
    return reader.text();
}

Dump Dump::unknown(const std::string& fault) {
    Dump dump("");
    dump.mFault = fault;
    return dump;
}

Dump::Dump(std::string_view text) : mSections(std::make_shared<Json>(parseShallow(text))) {
    if (text.empty()) {
        mFault = "the service has no debug dump";
    } else if (!mSections->is_object()) {
        mFault = "the service's debug dump cannot be understood";
    }
}

Dump Dump::of(const sp<BivistaV1_0>& service) {
    try {
        return Dump(readDump(service, {"--json"}));
    } catch (const Failure& failure) {
        if (failure.code != EXIT_ANSWERED_FAIL) throw;
        return unknown(failure.what());
    }
}

const Json* Dump::find(const DumpMember& member) const {
    const Json* section = memberOf(*mSections, member.section);
    if (section != nullptr && member.key != nullptr) {
        section = rowOf(*section, member.key, member.row);
    }
    return section == nullptr ? nullptr : memberOf(*section, member.name);
}

bool Dump::has(const DumpMember& member) const {
    return find(member) != nullptr;
}

std::optional<int64_t> Dump::number(const DumpMember& member) const {
    return numberOf(find(member));
}

std::optional<bool> Dump::flag(const DumpMember& member) const {
    const Json* const value = find(member);
    if (value == nullptr || !value->is_boolean()) return std::nullopt;
    return value->get<bool>();
}

std::optional<std::string> Dump::text(const DumpMember& member) const {
    const Json* const value = find(member);
    if (value == nullptr || !value->is_string()) return std::nullopt;
    return value->get<std::string>();
}

std::vector<std::string> Dump::commandsWith(const char* number, const char* less) const {
    std::vector<std::string> names;
    const Json* const commands = memberOf(*mSections, "commands");
    if (commands == nullptr || !commands->is_array()) return names;
    for (const Json& command : *commands) {
        const Json* const name = memberOf(command, "name");
        int64_t value = numberOf(memberOf(command, number)).value_or(0);
        if (less != nullptr) value -= numberOf(memberOf(command, less)).value_or(0);
        if (value > 0 && name != nullptr && name->is_string()) names.push_back(*name);
    }
    return names;
}

}  // namespace bivistactl
