// ctl: what the cover is like.

#include "emulator/cover/Integers.h"
#include "emulator/phone/program/Session.h"

namespace emulator {

namespace {

// A count, or "never".
std::string checkPolls(const std::string& text) {
    if (text == "never" || cover::parseInteger<int>(text) >= 0) return "";
    return "write a number from 0 up, or never";
}

struct TextOption {
    const char* option;
    const char* member;
    const char* help;
};

constexpr TextOption kTexts[] = {
        {"--firmware-version", "version", "Answer to AT%SWV"},
        {"--cutout", "cutout", "Answer to AT%GETBVCUTOUT"},
        {"--hot-plug-answer", "hot_plug_answer",
         "Answer to AT%HPD when the panel is up (at the start: On)"},
        {"--touch-version", "touch_version", "Answer to AT%TCHDEBUG=FWVER"},
};

struct NumberOption {
    const char* option;
    const char* member;
    int least;
    int most;
    const char* help;
};

constexpr int kDayMs = 24 * 60 * 60 * 1000;

constexpr NumberOption kNumbers[] = {
        {"--touch-rows", "touch_rows", 1, 1000, "Lines of a raw or delta frame (24)"},
        {"--touch-columns", "touch_columns", 1, 1000, "Values a line, five characters each (32)"},
        {"--self-test-report-bytes", "self_test_report_bytes", 0, 1 << 20,
         "AT%TCHNOTIFY=PULL_SD_RESULT is filled up to so many (0)"},
        {"--touch-upgrade-ms", "touch_upgrade_ms", 0, kDayMs,
         "Until AT%TCHNOTIFY=FW_UPGRADE is answered (300)"},
        {"--self-test-ms", "self_test_ms", 0, kDayMs, "Until a self test is answered (200)"},
        {"--upgrade-delay-ms", "upgrade_delay_ms", 0, kDayMs,
         "From the start of a firmware upgrade to the loader (500)"},
        {"--upgrade-ms", "upgrade_ms", 0, kDayMs, "How long the loader writes firmware (2000)"},
};

// Adds an option that becomes a member of the request's body when it is given.
template <typename Value>
CLI::Option* addMember(CLI::App& command, const std::shared_ptr<Json>& body, const char* option,
                       const char* member, const char* help) {
    const auto set = [body, member](const Value& value) { (*body)[member] = value; };
    return command.add_option_function<Value>(option, set, help);
}

}  // namespace

void addCover(CLI::App& ctl, int* status) {
    const auto body = std::make_shared<Json>(Json::object());
    CLI::App* command = add(ctl, "cover", "Change what the cover is like", status,
                            [body](Session& session) { session.put("/v1/cover", *body); });
    for (const TextOption& text : kTexts) {
        addMember<std::string>(*command, body, text.option, text.member, text.help);
    }
    for (const NumberOption& number : kNumbers) {
        addMember<int>(*command, body, number.option, number.member, number.help)
                ->check(CLI::Range(number.least, number.most));
    }
    const auto setPolls = [body](const std::string& polls) {
        (*body)["hot_plug_polls"] =
                polls == "never" ? Json("never") : Json(*cover::parseInteger<int>(polls));
    };
    command->add_option_function<std::string>("--hot-plug-polls", setPolls,
                                              "\"Off\" answers before the panel is up, or never")
            ->check(checkPolls, "N|never");
}

}  // namespace emulator
