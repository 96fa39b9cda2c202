// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
// Headers precompiled for the tests need a program that has them; this one does nothing.

int main() {
    return 0;
}
