// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/ui/Export.h"

#include <cstdint>
#include <memory>
#include <string>

#include "emulator/phone/control/Routes.h"

namespace ui {

namespace {

constexpr int kDone = 200;
constexpr int kBadRequest = 400;
constexpr int kEntriesAtOnce = 10'000;

// The journal from its oldest entry on, page by page.
class Pages {
  public:
    explicit Pages(const Emulator& emulator) : mEmulator(emulator) {}

    Answer ask() const {
        return mEmulator.ask("GET", "/v1/journal", {{"since", mSince}, {"limit", kEntriesAtOnce}});
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

std::string linesOf(const Json& entries) {
    std::string lines;
    for (const Json& entry : entries) lines += entry.dump() + "\n";
    return lines;
}

}  // namespace

void exportJournal(const Emulator& emulator, const httplib::Request& request,
                   httplib::Response& response) {
    const std::string format = request.get_param_value("format");
    if (format != "journal") {
        return control::reply(response, kBadRequest, {{"error", "format is journal or perfetto"}});
    }
    const auto pages = std::make_shared<Pages>(emulator);
    // A status can be sent only before the first bytes.
    if (const Answer first = pages->ask(); first.status != kDone) {
        response.status = first.status;
        return response.set_content(first.body, "application/json");
    }
    response.set_header("Content-Disposition", "attachment; filename=\"journal.jsonl\"");
    response.set_chunked_content_provider("application/jsonl",
                                          [pages](size_t /*offset*/, httplib::DataSink& sink) {
                                              const Json entries = pages->next();
                                              if (entries.empty()) {
                                                  sink.done();
                                                  return true;
                                              }
                                              const std::string lines = linesOf(entries);
                                              return sink.write(lines.data(), lines.size());
                                          });
}

}  // namespace ui
