// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "diagnostics/ProgramBuild.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <link.h>

namespace vendor::qmx::hardware::bivista::V1_1::implementation {

namespace {

const char* addressOf(const dl_phdr_info& object, const ElfW(Phdr) & segment) {
    return reinterpret_cast<const char*>(object.dlpi_addr + segment.p_vaddr);
}

// Whether this code is the object's. On the phone the first object is not the program.
bool isOwn(const dl_phdr_info& object) {
    static const char kOwn = 0;
    for (size_t i = 0; i < object.dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = object.dlpi_phdr[i];
        if (segment.p_type != PT_LOAD) continue;
        const char* const begin = addressOf(object, segment);
        if (begin <= &kOwn && &kOwn < begin + segment.p_memsz) return true;
    }
    return false;
}

size_t padded(size_t size) {
    return (size + 3) & ~size_t{3};
}

// Takes the first note off the segment. The bytes of a build id, none of any other note.
std::string_view takeBuildId(std::string_view* notes) {
    ElfW(Nhdr) head = {};
    memcpy(&head, notes->data(), sizeof(head));
    const size_t begin = sizeof(head) + padded(head.n_namesz);
    const size_t end = begin + padded(head.n_descsz);
    if (end > notes->size()) {
        *notes = {};
        return {};
    }
    const std::string_view name = notes->substr(sizeof(head), head.n_namesz);
    const std::string_view id = notes->substr(begin, head.n_descsz);
    notes->remove_prefix(end);
    const bool isBuildId =
            head.n_type == NT_GNU_BUILD_ID && name == std::string_view("GNU", sizeof("GNU"));
    return isBuildId ? id : std::string_view();
}

std::string inHexadecimal(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        const auto value = static_cast<uint8_t>(byte);
        text += {kDigits[value / 16], kDigits[value % 16]};
    }
    return text;
}

int readBuildId(dl_phdr_info* object, size_t /*size*/, void* text) {
    if (!isOwn(*object)) return 0;
    for (size_t i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = object->dlpi_phdr[i];
        if (segment.p_type != PT_NOTE) continue;
        std::string_view notes(addressOf(*object, segment), segment.p_memsz);
        while (notes.size() >= sizeof(ElfW(Nhdr))) {
            const std::string_view id = takeBuildId(&notes);
            if (!id.empty()) *static_cast<std::string*>(text) = inHexadecimal(id);
        }
    }
    return 1;
}

std::string readOwnBuildId() {
    std::string text;
    dl_iterate_phdr(readBuildId, &text);
    return text;
}

}  // namespace

const std::string& programBuild() {
    // Never destroyed, since threads outlive main.
    static const std::string& sBuild = *new std::string(readOwnBuildId());
    return sBuild;
}

}  // namespace vendor::qmx::hardware::bivista::V1_1::implementation
