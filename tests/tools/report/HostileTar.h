// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Archives as no report is, with any type and name of members.
#pragma once

#include <archive.h>
#include <archive_entry.h>

#include <string>
#include <vector>

struct HostileMember {
    std::string name;
    std::string bytes = {};
    unsigned type = AE_IFREG;
    // Where a link leads.
    std::string target = {};
};

inline std::string makeTar(const std::vector<HostileMember>& members) {
    std::string bytes(100 << 20, '\0');
    size_t used = 0;
    archive* const writer = archive_write_new();
    archive_write_set_format_pax_restricted(writer);
    archive_write_add_filter_gzip(writer);
    archive_write_open_memory(writer, bytes.data(), bytes.size(), &used);
    for (const HostileMember& member : members) {
        archive_entry* const entry = archive_entry_new();
        archive_entry_set_pathname(entry, member.name.c_str());
        archive_entry_set_filetype(entry, member.type);
        archive_entry_set_perm(entry, 0600);
        archive_entry_set_size(entry, static_cast<la_int64_t>(member.bytes.size()));
        if (member.type == AE_IFLNK) archive_entry_set_symlink(entry, member.target.c_str());
        if (member.type == 0) archive_entry_set_hardlink(entry, member.target.c_str());
        archive_write_header(writer, entry);
        archive_write_data(writer, member.bytes.data(), member.bytes.size());
        archive_entry_free(entry);
    }
    archive_write_free(writer);
    bytes.resize(used);
    return bytes;
}
