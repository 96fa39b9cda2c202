// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/ui/Export.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "emulator/phone/Entry.h"
#include "emulator/phone/control/Routes.h"
#include "emulator/timeline/Trace.h"

namespace ui {

namespace {

constexpr int kDone = 200;
constexpr int kBadRequest = 400;

// The journal from its oldest entry on, page by page.
class Pages {
  public:
    explicit Pages(const Emulator& emulator) : mEmulator(emulator) {}

    Answer ask() const {
        return mEmulator.ask("GET", "/v1/journal",
                             {{"since", mSince}, {"limit", control::kMostEntries}});
    }
    // The next entries; none at the end, and when the emulator has ended.
    Json next() {
        const Answer answer = ask();
        Json page = emulator::parseJson(answer.body);
        if (answer.status != kDone || !page.is_object()) return Json::array();
        const auto next = page.value("next", uint64_t{0});
        if (next <= mSince) return Json::array();
        mSince = next;
        return page.value("entries", Json::array());
    }

  private:
    const Emulator& mEmulator;
    uint64_t mSince = 1;
};

// What a download consists of: text for some entries at a time, and for their end.
class Writer {
  public:
    virtual ~Writer() = default;
    virtual std::string write(const Json& entries) = 0;
    virtual std::string end() { return ""; }
};

class Lines : public Writer {
  public:
    std::string write(const Json& entries) override {
        std::string lines;
        for (const Json& entry : entries) lines += entry.dump() + "\n";
        return lines;
    }
};

class TraceEvents : public Writer {
  public:
    std::string write(const Json& entries) override {
        for (const Json& each : entries) {
            if (const auto entry = phone::fromJson(each)) mTrace.add(*entry);
        }
        return std::exchange(mText, "");
    }
    std::string end() override {
        mTrace.end();
        return std::exchange(mText, "");
    }

  private:
    std::string mText;
    timeline::Trace mTrace{[this](std::string_view piece) { mText += piece; }};
};

struct Format {
    const char* type;
    const char* file;
    std::unique_ptr<Writer> (*make)();
};

const std::map<std::string, Format> kFormats = {
        {"journal",
         {"application/jsonl", "journal.jsonl",
          []() -> std::unique_ptr<Writer> { return std::make_unique<Lines>(); }}},
        {"perfetto", {"application/json", "trace.json", []() -> std::unique_ptr<Writer> {
                          return std::make_unique<TraceEvents>();
                      }}}};

// Writes the next piece; false when the client has gone.
bool pass(Pages& pages, Writer& writer, httplib::DataSink& sink) {
    const Json entries = pages.next();
    const std::string text = entries.empty() ? writer.end() : writer.write(entries);
    if (!text.empty() && !sink.write(text.data(), text.size())) return false;
    if (entries.empty()) sink.done();
    return true;
}

}  // namespace

void exportJournal(const Emulator& emulator, const httplib::Request& request,
                   httplib::Response& response) {
    const auto format = kFormats.find(request.get_param_value("format"));
    if (format == kFormats.end()) {
        return control::reply(response, kBadRequest, {{"error", "format is journal or perfetto"}});
    }
    const auto pages = std::make_shared<Pages>(emulator);
    // A status can be sent only before the first bytes.
    if (const Answer first = pages->ask(); first.status != kDone) {
        response.status = first.status;
        return response.set_content(first.body, "application/json");
    }
    response.set_header("Content-Disposition",
                        std::string("attachment; filename=\"") + format->second.file + "\"");
    const std::shared_ptr<Writer> writer = format->second.make();
    response.set_chunked_content_provider(
            format->second.type, [pages, writer](size_t /*offset*/, httplib::DataSink& sink) {
                return pass(*pages, *writer, sink);
            });
}

}  // namespace ui
