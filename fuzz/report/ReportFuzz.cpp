// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Reads any bytes as a report, and explains what is one. The reader takes a tar that is not
// compressed, too, so that the fuzzer reaches what is inside.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tools/doctor/Examination.h"
#include "tools/report/Report.h"

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    try {
        const report::Report read = report::readReport({reinterpret_cast<const char*>(data), size});
        const doctor::Findings findings = report::explain(read);
        require(!findings.empty());
        require(!doctor::inWords(findings).empty() && !doctor::inJson(findings).empty());
    } catch (const report::BadReport& fault) {
        require(*fault.what() != '\0');
    }
    return 0;
}
