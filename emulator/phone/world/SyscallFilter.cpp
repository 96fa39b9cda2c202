// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "emulator/phone/world/SyscallFilter.h"

#include <cerrno>
#include <cstddef>

#include <gnu/libc-version.h>
#include <link.h>
#include <linux/audit.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace phone {

namespace {

#if defined(__x86_64__)
constexpr uint32_t kArchitecture = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr uint32_t kArchitecture = AUDIT_ARCH_AARCH64;
#else
#error "The supervisor knows x86-64 and arm64."
#endif

constexpr uint32_t kAddressLow = offsetof(seccomp_data, instruction_pointer);
constexpr uint32_t kAddressHigh = kAddressLow + 4;
constexpr uint32_t kFirstArgumentLow = offsetof(seccomp_data, args);
constexpr uint32_t kSecondArgumentLow = kFirstArgumentLow + sizeof(uint64_t);

void load(std::vector<sock_filter>& code, uint32_t offset) {
    code.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offset));
}

void jump(std::vector<sock_filter>& code, uint16_t test, uint32_t value, uint8_t yes, uint8_t no) {
    code.push_back(BPF_JUMP(static_cast<uint16_t>(BPF_JMP | test | BPF_K), value, yes, no));
}

void give(std::vector<sock_filter>& code, uint32_t verdict) {
    code.push_back(BPF_STMT(BPF_RET | BPF_K, verdict));
}

// Allows the call when the address that makes it is below (or not below) `bound`. The classic
// machine compares 32 bits at a time.
void allowIfBelow(std::vector<sock_filter>& code, uint64_t bound, bool below) {
    const auto high = static_cast<uint32_t>(bound >> 32);
    const auto low = static_cast<uint32_t>(bound);
    load(code, kAddressHigh);
    jump(code, BPF_JGT, high, below ? 4 : 3, 0);
    jump(code, BPF_JEQ, high, 0, below ? 2 : 3);
    load(code, kAddressLow);
    jump(code, BPF_JGE, low, below ? 1 : 0, below ? 0 : 1);
    give(code, SECCOMP_RET_ALLOW);
}

void handOver(std::vector<sock_filter>& code, const HandledCall& call) {
    const size_t begin = code.size();
    load(code, offsetof(seccomp_data, nr));
    jump(code, BPF_JEQ, call.number, 0, 0);
    if (call.firstDescriptor != 0) {
        load(code, kFirstArgumentLow);
        jump(code, BPF_JGE, call.firstDescriptor, 0, 0);
    }
    if (call.request) {
        load(code, kSecondArgumentLow);
        code.push_back(BPF_STMT(BPF_ALU | BPF_AND | BPF_K, call.mask));
        jump(code, BPF_JEQ, *call.request, 0, 0);
    }
    give(code, SECCOMP_RET_USER_NOTIF);
    // A call that does not match goes on after this rule.
    for (size_t at = begin; at < code.size(); ++at) {
        if (BPF_CLASS(code[at].code) != BPF_JMP) continue;
        code[at].jf = static_cast<uint8_t>(code.size() - at - 1);
    }
}

struct Search {
    uint64_t address;
    CodeRange range;
};

int visitObject(dl_phdr_info* object, size_t, void* data) {
    auto* search = static_cast<Search*>(data);
    for (int i = 0; i < object->dlpi_phnum; ++i) {
        const ElfW(Phdr)& header = object->dlpi_phdr[i];
        const uint64_t begin = object->dlpi_addr + header.p_vaddr;
        const uint64_t end = begin + header.p_memsz;
        if (header.p_type != PT_LOAD || search->address < begin || search->address >= end) continue;
        search->range = {begin, end};
        return 1;
    }
    return 0;
}

}  // namespace

CodeRange findCLibrary() {
    // A function of the C library that no sanitizer puts its own in front of.
    Search search = {reinterpret_cast<uint64_t>(&gnu_get_libc_version), {}};
    dl_iterate_phdr(visitObject, &search);
    return search.range;
}

std::vector<sock_filter> makeFilter(const CodeRange& range, const std::vector<HandledCall>& calls) {
    std::vector<sock_filter> code;
    load(code, offsetof(seccomp_data, arch));
    jump(code, BPF_JEQ, kArchitecture, 1, 0);
    give(code, SECCOMP_RET_ALLOW);
    if (range.begin != 0) {
        allowIfBelow(code, range.begin, true);
        allowIfBelow(code, range.end, false);
    }
    for (const HandledCall& call : calls) handOver(code, call);
    give(code, SECCOMP_RET_ALLOW);
    return code;
}

int installFilter(const std::vector<sock_filter>& filter) {
    const sock_fprog program = {static_cast<unsigned short>(filter.size()),
                                const_cast<sock_filter*>(filter.data())};
    // Wait-killable: signals that the supervised software handles wait until its call is answered.
    constexpr unsigned kFlags =
            SECCOMP_FILTER_FLAG_NEW_LISTENER | SECCOMP_FILTER_FLAG_WAIT_KILLABLE_RECV;
    long fd = syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, kFlags, &program);
    if (fd < 0 && errno == EACCES) {
        prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
        fd = syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, kFlags, &program);
    }
    return static_cast<int>(fd);
}

}  // namespace phone
