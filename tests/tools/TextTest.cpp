// Copyright 2026 the Bivista maintainers. SPDX-License-Identifier: Apache-2.0
#include "tools/text/Text.h"

#include <gtest/gtest.h>

#include <string>

using namespace std::string_literals;
using bivistactl::decodeUtf8;
using bivistactl::isControl;
using bivistactl::row;
using bivistactl::spellControls;
using bivistactl::utf8Length;

TEST(Utf8LengthTest, TellsValidSequences) {
    EXPECT_EQ(1u, utf8Length("a"));
    EXPECT_EQ(1u, utf8Length("\0"s));
    EXPECT_EQ(1u, utf8Length("\x7f"));
    EXPECT_EQ(2u, utf8Length("\xc2\x80"));
    EXPECT_EQ(2u, utf8Length("\xdf\xbf"));
    EXPECT_EQ(3u, utf8Length("\xe0\xa0\x80"));
    EXPECT_EQ(3u, utf8Length("\xed\x9f\xbf"));
    EXPECT_EQ(3u, utf8Length("\xef\xbf\xbfrest"));
    EXPECT_EQ(4u, utf8Length("\xf0\x90\x80\x80"));
    EXPECT_EQ(4u, utf8Length("\xf4\x8f\xbf\xbf"));
}

TEST(Utf8LengthTest, RefusesAllElse) {
    for (const char* bytes : {
                 "", "\x80", "\xbf",                              // a continuation alone
                 "\xc0\x80", "\xc1\xbf", "\xe0\x9f\xbf",          // overlong
                 "\xf0\x8f\xbf\xbf",                              // overlong
                 "\xed\xa0\x80", "\xed\xbf\xbf",                  // surrogates
                 "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff",  // beyond Unicode
                 "\xc2", "\xe2\x82", "\xf0\x9f\x98",              // cut
                 "\xc2z", "\xe2\x82z", "\xf0\x9f\x98z",           // interrupted
         }) {
        EXPECT_EQ(0u, utf8Length(bytes)) << bytes;
    }
}

TEST(DecodeUtf8Test, TellsCharacters) {
    EXPECT_EQ(U"", decodeUtf8(""));
    EXPECT_EQ(U"a\u007f", decodeUtf8("a\x7f"));
    EXPECT_EQ(U"\u00a0\u07ff", decodeUtf8("\xc2\xa0\xdf\xbf"));
    EXPECT_EQ(U"\u0800\uffff", decodeUtf8("\xe0\xa0\x80\xef\xbf\xbf"));
    EXPECT_EQ(U"\U00010000\U0010ffff", decodeUtf8("\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"));
}

TEST(DecodeUtf8Test, HasNothingForOtherBytes) {
    EXPECT_EQ(std::nullopt, decodeUtf8("a\xff"));
    EXPECT_EQ(std::nullopt, decodeUtf8("a\xe2\x82"));
}

TEST(IsControlTest, TellsBothRanges) {
    for (const char32_t control : U"\u0001\u001f\u007f\u0080\u009f"s) {
        EXPECT_TRUE(isControl(control)) << static_cast<uint32_t>(control);
    }
    for (const char32_t other : U" ~\u00a0\U0010ffff"s) {
        EXPECT_FALSE(isControl(other)) << static_cast<uint32_t>(other);
    }
}

TEST(SpellControlsTest, KeepsTextAndTheFinalNewline) {
    EXPECT_EQ("LINE-KEY_1 \xc3\xa9\n", spellControls("LINE-KEY_1 \xc3\xa9\n"));
    EXPECT_EQ("", spellControls(""));
}

TEST(SpellControlsTest, SpellsControlCharacters) {
    EXPECT_EQ("<NUL><CR><ESC>[31m<DEL>", spellControls("\0\r\x1b[31m\x7f"s));
    EXPECT_EQ("a<LF>b\n", spellControls("a\nb\n"));
    EXPECT_EQ("<0x9b>31m", spellControls("\xc2\x9b"
                                         "31m"));
}

TEST(SpellControlsTest, SpellsBytesThatAreNotUtf8) {
    EXPECT_EQ("a<0xff><0xc2>", spellControls("a\xff\xc2"));
}

TEST(RowTest, PutsTextsBelowEachOther) {
    EXPECT_EQ("cover         a b\n", row("cover", "a b"));
    EXPECT_EQ("sub display   \n", row("sub display", ""));
    EXPECT_EQ("thirteen char x\n", row("thirteen char", "x"));
}
