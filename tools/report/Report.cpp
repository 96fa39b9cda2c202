// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/report/Report.h"

#include "tools/doctor/Examination.h"
#include "tools/text/Text.h"

namespace report {
namespace {

using ::bivistactl::Dump;
using ::bivistactl::History;
using ::doctor::append;
using ::doctor::Findings;

// The text of a member; empty when the report does not have it.
std::string textOf(const std::vector<Member>& members, const char* name) {
    for (const Member& member : members) {
        if (member.name == name) return member.bytes;
    }
    return "";
}

// The same for JSON, of which a few MiB would take much more memory.
std::string jsonOf(const std::vector<Member>& members, const char* name) {
    std::string text = textOf(members, name);
    if (text.size() > bivistactl::kDumpLimit) {
        throw BadReport("its " + std::string(name) + " is longer than 1 MiB");
    }
    return text;
}

template <typename T>
T readMember(const std::vector<Member>& members, const char* name) {
    const std::string text = jsonOf(members, name);
    return text.empty() ? T::unknown("the report has no " + std::string(name)) : T(text);
}

// What the report says of itself.
doctor::Finding describe(const Report& report) {
    const Manifest& manifest = report.manifest;
    std::string what = "made";
    if (manifest.wallMicros > 0) what += " " + bivistactl::inUtc(manifest.wallMicros) + "Z";
    what += " by " + (manifest.program.empty() ? "an unknown program" : manifest.program);
    if (!manifest.version.empty()) what += " " + manifest.version;
    if (!manifest.machine.system.empty()) what += " on " + manifest.machine.system;
    if (const auto version = report.account.dump.text({"service", "version"})) {
        what += "; the service is " + *version;
    }
    if (const auto uptime = report.account.dump.number({"service", "uptimeSeconds"})) {
        what += ", up for " + std::to_string(*uptime) + " s";
    }
    if (manifest.redacted) what += "; without texts (--redact)";
    return doctor::fine("report", what);
}

void describeMissing(const Manifest& manifest, Findings* findings) {
    for (const Missing& missing : manifest.missing) {
        findings->push_back(doctor::note("missing", inWords(missing), ""));
    }
}

void examineHistory(const doctor::Account& account, Findings* findings) {
    if (!account.history.fault().empty()) {
        findings->push_back(doctor::note(
                "history", account.history.fault() + ": what happened is not known", ""));
    }
    if (account.history.lost() > 0) {
        findings->push_back(doctor::note("history",
                                         "the service keeps its last 256 events, and " +
                                                 doctor::counted(account.history.lost(), "event") +
                                                 " came before them",
                                         ""));
    }
    append(findings, doctor::examineBrightness(account));
    append(findings, doctor::examineScreen(account));
    append(findings, doctor::examineEvents(account));
    append(findings, doctor::examinePicture(account));
}

}  // namespace

Report readReport(std::string_view archive) {
    const std::vector<Member> members = unpack(archive);
    const std::string manifest = jsonOf(members, kManifest);
    if (manifest.empty()) throw BadReport("it has no manifest.json, which every report has");
    return {readManifest(manifest),
            doctor::readFindings(jsonOf(members, kDoctor)),
            {readMember<Dump>(members, kDump), readMember<History>(members, kEvents),
             textOf(members, kServiceLog)}};
}

Findings explain(const Report& report) {
    Findings findings = {describe(report)};
    describeMissing(report.manifest, &findings);
    for (const doctor::Finding& finding : report.found) {
        // The dump of the report is examined again.
        if (!doctor::isOfDump(finding.check)) findings.push_back(finding);
    }
    append(&findings, doctor::examineDump(report.account.dump));
    examineHistory(report.account, &findings);
    return findings;
}

}  // namespace report
