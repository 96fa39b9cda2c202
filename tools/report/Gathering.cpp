// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/report/Gathering.h"

#include "tools/report/Redaction.h"

namespace report {

void Gathering::add(const char* name, const std::string& bytes) {
    members.push_back({name, bytes});
}

void Gathering::miss(const char* name, const std::string& why, const std::string& detail) {
    missing.push_back({name, why, detail});
}

Made makeReport(const doctor::Examination& examination, bool isRedacted) {
    Manifest manifest = makeManifest();
    Gathering gathering;
    const pid_t service = doctor::findServiceProcess();
    gatherService(examination.patience, &gathering);
    gathering.add(kDoctor, doctor::inJson(doctor::examine(examination)));
    gatherSettings(service, &gathering);
    gatherServiceLog(service, &gathering);
    gatherPhone(service, &gathering);
    if (isRedacted) {
        manifest = redact(std::move(manifest));
        gathering = redact(gathering);
    }
    manifest.missing = gathering.missing;
    std::vector<Member> members = {{kManifest, toText(manifest)}};
    members.insert(members.end(), gathering.members.begin(), gathering.members.end());
    Made made = {pack(members), manifest, {}};
    for (const Member& member : members) made.members.push_back(member.name);
    return made;
}

}  // namespace report
