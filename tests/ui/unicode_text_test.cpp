#include "ui/unicode_text.h"

#include <gtest/gtest.h>

namespace vicinix {
namespace {

TEST(UnicodeTextTest, MalformedSequencesReadAsOneReplacementByte) {
  struct Case {
    const char* bytes;
    char32_t code;
    std::size_t length;
  };
  for (const Case& c :
       {Case{"a", 'a', 1}, Case{"\xC4\x8D", 0x10D, 2}, Case{"\xE2\x80\x9E", 0x201E, 3},
        Case{"\xF0\x9F\x98\x80", 0x1F600, 4}, Case{"\xC0\xAF", 0xFFFD, 1},  // overlong "/"
        Case{"\xED\xA0\x80", 0xFFFD, 1},                                    // a surrogate
        Case{"\xF4\x90\x80\x80", 0xFFFD, 1},                                // above U+10FFFF
        Case{"\xE2\x80", 0xFFFD, 1},                                        // cut short
        Case{"\xC4"
             "a",
             0xFFFD, 1},
        Case{"\x85", 0xFFFD, 1}}) {
    std::size_t length = 0;
    EXPECT_EQ(decodeUtf8(c.bytes, 0, &length), c.code) << c.bytes;
    EXPECT_EQ(length, c.length) << c.bytes;
  }
  EXPECT_TRUE(isValidUtf8("\xEF\xBF\xBD \xC4\x8D"));  // a real U+FFFD is fine
  EXPECT_FALSE(isValidUtf8("ok \xE2\x80"));
}

TEST(UnicodeTextTest, PunctuationAndWhitespaceByGeneralCategory) {
  for (char32_t c : {U'!', U'_', U'\\', U'¿', U'«', U'„', U'–', U'…', U'、', U'\U0001E95F'})
    EXPECT_TRUE(isUnicodePunctuation(c)) << std::hex << uint32_t(c);
  for (char32_t c : {U'$', U'+', U'`', U'~', U'a', U'×', U'č', U'€', U'\U0001E960', U'\uFFFD'})
    EXPECT_FALSE(isUnicodePunctuation(c)) << std::hex << uint32_t(c);
  for (char32_t c : {U' ', U'\t', U'\r', U'\u00A0', U'\u2003', U'\u2028', U'\u3000'})
    EXPECT_TRUE(isUnicodeWhitespace(c)) << std::hex << uint32_t(c);
  for (char32_t c : {U'a', U'\u200B', U'\uFEFF', U'\0'})
    EXPECT_FALSE(isUnicodeWhitespace(c)) << std::hex << uint32_t(c);
}

}  // namespace
}  // namespace vicinix
