#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFString.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "cf_test_support.h"

namespace {

std::string Format(CFStringRef format, ...) {
  va_list args;
  va_start(args, format);
  CFOwned<CFStringRef> text = Adopt(CFStringCreateWithFormatAndArguments(nullptr, nullptr, format, args));
  va_end(args);
  return Utf8(text.get());
}

TEST(CFStringEncoding, LengthsAndIndexesCountUtf16UnitsLoneSurrogatesToo) {
  auto chinese = MakeString("音高");
  auto emoji = MakeString("a🎹b");
  ASSERT_NE(chinese, nullptr);
  ASSERT_NE(emoji, nullptr);
  EXPECT_EQ(CFStringGetLength(chinese.get()), 2);
  EXPECT_EQ(CFStringGetLength(emoji.get()), 4);
  EXPECT_EQ(CFStringGetCharacterAtIndex(chinese.get(), 1), 0x9AD8);
  EXPECT_EQ(CFStringGetCharacterAtIndex(emoji.get(), 1), 0xD83C);
  EXPECT_EQ(CFStringGetCharacterAtIndex(emoji.get(), 2), 0xDFB9);
  EXPECT_EQ(CFStringGetCharacterAtIndex(emoji.get(), 3), 'b');

  UniChar units[4] = {};
  CFStringGetCharacters(emoji.get(), CFRangeMake(0, 4), units);
  EXPECT_EQ(units[0], 'a');
  EXPECT_EQ(units[2], 0xDFB9);

  CFIndex used = 0;
  EXPECT_EQ(CFStringGetBytes(chinese.get(), CFRangeMake(0, 2), kCFStringEncodingUTF8, 0, false, nullptr, 0, &used), 2);
  EXPECT_EQ(used, 6);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(2, kCFStringEncodingUTF8), 6);
  EXPECT_EQ(CFStringGetMaximumSizeForEncoding(2, kCFStringEncodingUTF16), 4);

  // A lone surrogate is a unit of its own that UTF-8 cannot hold, until its pair is appended.
  const UniChar high = 0xD83C;
  const UniChar low = 0xDFB9;
  auto joined =
      Adopt(CFStringCreateMutableCopy(nullptr, 0, Adopt(CFStringCreateWithCharacters(nullptr, &high, 1)).get()));
  EXPECT_EQ(CFStringGetLength(joined.get()), 1);
  EXPECT_EQ(CFStringGetCharacterAtIndex(joined.get(), 0), high);
  char buffer[16];
  EXPECT_FALSE(CFStringGetCString(joined.get(), buffer, sizeof buffer, kCFStringEncodingUTF8));
  CFStringAppend(joined.get(), Adopt(CFStringCreateWithCharacters(nullptr, &low, 1)).get());
  EXPECT_TRUE(CFEqual(joined.get(), CFSTR("🎹")));
  EXPECT_EQ(Utf8(joined.get()), "🎹");
}

TEST(CFStringEncoding, BytesAreDecodedInTheirEncodingAndInvalidOnesGiveNull) {
  const UInt8 truncated[] = {0xC3, 0x28};
  const UInt8 overlong[] = {0xC0, 0xAF};
  const UInt8 surrogate[] = {0xED, 0xA0, 0x80};
  const UInt8 highByte[] = {'c', 0xE9};
  EXPECT_EQ(CFStringCreateWithBytes(nullptr, truncated, 2, kCFStringEncodingUTF8, false), nullptr);
  EXPECT_EQ(CFStringCreateWithBytes(nullptr, overlong, 2, kCFStringEncodingUTF8, false), nullptr);
  EXPECT_EQ(CFStringCreateWithBytes(nullptr, surrogate, 3, kCFStringEncodingUTF8, false), nullptr);
  EXPECT_EQ(CFStringCreateWithBytes(nullptr, highByte, 2, kCFStringEncodingASCII, false), nullptr);

  EXPECT_EQ(Utf8Of(CFStringCreateWithBytes(nullptr, highByte, 2, kCFStringEncodingISOLatin1, false)), "c\xC3\xA9");
  const UInt8 euro[] = {0x80};
  EXPECT_EQ(Utf8Of(CFStringCreateWithBytes(nullptr, euro, 1, kCFStringEncodingWindowsLatin1, false)), "€");

  // UTF-16 honours the byte order asked for or marked.
  const UniChar pitch[] = {0x97F3, 0x9AD8};
  auto fromUnits = Adopt(CFStringCreateWithCharacters(nullptr, pitch, 2));
  auto fromUtf8 = MakeString("音高");
  EXPECT_TRUE(CFEqual(fromUnits.get(), fromUtf8.get()));
  EXPECT_EQ(CFHash(fromUnits.get()), CFHash(fromUtf8.get()));
  EXPECT_TRUE(CFEqual(fromUnits.get(), CFSTR("音高")));

  const UInt8 bigEndian[] = {0x97, 0xF3, 0x9A, 0xD8};
  auto be = Adopt(CFStringCreateWithBytes(nullptr, bigEndian, 4, kCFStringEncodingUTF16BE, false));
  EXPECT_TRUE(CFEqual(be.get(), fromUtf8.get()));
  const UInt8 markedLittle[] = {0xFF, 0xFE, 0xF3, 0x97, 0xD8, 0x9A};
  auto le = Adopt(CFStringCreateWithBytes(nullptr, markedLittle, 6, kCFStringEncodingUTF16, true));
  EXPECT_TRUE(CFEqual(le.get(), fromUtf8.get()));
  EXPECT_EQ(CFStringCreateWithBytes(nullptr, bigEndian, 3, kCFStringEncodingUTF16BE, false), nullptr);

  // The external representation of UTF-16 starts with a byte order mark.
  CFIndex used = 0;
  UInt8 out[16] = {};
  EXPECT_EQ(CFStringGetBytes(fromUtf8.get(), CFRangeMake(0, 2), kCFStringEncodingUTF16, 0, true, out, 16, &used), 2);
  EXPECT_EQ(used, 6);
  auto roundTrip = Adopt(CFStringCreateWithBytes(nullptr, out, used, kCFStringEncodingUTF16, true));
  EXPECT_TRUE(CFEqual(roundTrip.get(), fromUtf8.get()));
}

TEST(CFStringEncoding, CStringsNeedRoomAndRepresentableText) {
  char buffer[8];
  EXPECT_TRUE(CFStringGetCString(CFSTR("abc"), buffer, 4, kCFStringEncodingASCII));
  EXPECT_STREQ(buffer, "abc");
  EXPECT_FALSE(CFStringGetCString(CFSTR("abc"), buffer, 3, kCFStringEncodingASCII));
  EXPECT_FALSE(CFStringGetCString(CFSTR("音高"), buffer, sizeof buffer, kCFStringEncodingASCII));
  EXPECT_FALSE(CFStringGetCString(CFSTR("音高"), buffer, 6, kCFStringEncodingUTF8));
  EXPECT_TRUE(CFStringGetCString(CFSTR("音高"), buffer, 7, kCFStringEncodingUTF8));
  EXPECT_STREQ(buffer, "音高");
  EXPECT_TRUE(CFStringGetCString(CFSTR("é"), buffer, sizeof buffer, kCFStringEncodingISOLatin1));
  EXPECT_EQ(static_cast<unsigned char>(buffer[0]), 0xE9);

  // A loss byte stands in for what ASCII cannot hold; without one, conversion stops.
  UInt8 bytes[8] = {};
  CFIndex used = 0;
  EXPECT_EQ(CFStringGetBytes(CFSTR("a音b"), CFRangeMake(0, 3), kCFStringEncodingASCII, '?', false, bytes, 8, &used), 3);
  EXPECT_EQ(std::string(reinterpret_cast<char*>(bytes), static_cast<size_t>(used)), "a?b");
  EXPECT_EQ(CFStringGetBytes(CFSTR("a音b"), CFRangeMake(0, 3), kCFStringEncodingASCII, 0, false, bytes, 8, &used), 1);
  EXPECT_EQ(used, 1);

  const char* direct = CFStringGetCStringPtr(CFSTR("音高"), kCFStringEncodingUTF8);
  if (direct != nullptr) {
    EXPECT_STREQ(direct, "音高");
  }
  EXPECT_EQ(CFStringGetCStringPtr(CFSTR("音高"), kCFStringEncodingASCII), nullptr);
}

TEST(CFStringFormat, PrintfConversionsAndObjects) {
  const int whole = 42;
  const double ratio = 0.25;
  auto number = Adopt(CFNumberCreate(nullptr, kCFNumberIntType, &whole));
  auto real = Adopt(CFNumberCreate(nullptr, kCFNumberDoubleType, &ratio));
  EXPECT_EQ(Format(CFSTR("%u|%d|%s|%.6f|%@"), 4000000000U, -7, "text", 3.14159265, CFSTR("音高")),
            "4000000000|-7|text|3.141593|音高");
  EXPECT_EQ(Format(CFSTR("%@, %@ and %@"), number.get(), real.get(), nullptr), "42, 0.25 and (null)");
  EXPECT_EQ(Format(CFSTR("%lld %zu %ld %hhd %hu"), -5000000000LL, size_t{7}, -3L, 300, 70000),
            "-5000000000 7 -3 44 4464");
  EXPECT_EQ(Format(CFSTR("[%5d|%-5d|%05.1f|%x|%#X|%o|%%]"), 42, 42, 2.375, 255u, 255u, 8u),
            "[   42|42   |002.4|ff|0XFF|10|%]");
  EXPECT_EQ(Format(CFSTR("[%*d|%.*s|%c]"), 4, 7, 2, "abcdef", 'z'), "[   7|ab|z]");
  EXPECT_EQ(Format(CFSTR("%2$@ %1$d %2$@"), 5, CFSTR("x")), "x 5 x");
  EXPECT_EQ(Format(CFSTR("[%4@|%-4@]"), CFSTR("音"), CFSTR("ab")), "[   音|ab  ]");
  EXPECT_EQ(Format(CFSTR("%e %g %Lf"), 1500.0, 0.0001, static_cast<long double>(0.5)), "1.500000e+03 0.0001 0.500000");
  // A positional format that leaves an argument's type unknown cannot be read safely.
  EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%2$d"), 1, 2), nullptr);
}

TEST(CFStringFormat, AppendsToMutableStringsOnly) {
  auto text = Adopt(CFStringCreateMutable(nullptr, 0));
  CFStringAppendFormat(text.get(), nullptr, CFSTR("%d-"), 1);
  CFStringAppendCString(text.get(), "音", kCFStringEncodingUTF8);
  CFStringAppend(text.get(), CFSTR("🎹"));
  CFStringAppendFormat(text.get(), nullptr, CFSTR("%@"), text.get());
  EXPECT_EQ(Utf8(text.get()), "1-音🎹1-音🎹");
  EXPECT_EQ(CFStringGetLength(text.get()), 10);

  CFStringRef constant = CFSTR("fixed");
  CFStringAppend(const_cast<CFMutableStringRef>(constant), CFSTR("more"));
  EXPECT_EQ(Utf8(constant), "fixed");
}

TEST(CFStringCopy, CopiesAndSubstrings) {
  auto immutable = MakeString("shared");
  const CFIndex before = CFGetRetainCount(immutable.get());
  auto copy = Adopt(CFStringCreateCopy(nullptr, immutable.get()));
  EXPECT_TRUE(CFEqual(copy.get(), immutable.get()));
  EXPECT_GE(CFGetRetainCount(immutable.get()), before);

  auto mutableText = Adopt(CFStringCreateMutableCopy(nullptr, 0, CFSTR("ab")));
  auto snapshot = Adopt(CFStringCreateCopy(nullptr, mutableText.get()));
  CFStringAppend(mutableText.get(), CFSTR("c"));
  EXPECT_EQ(Utf8(snapshot.get()), "ab");
  EXPECT_EQ(Utf8(mutableText.get()), "abc");

  auto emoji = MakeString("a🎹b");
  EXPECT_EQ(Utf8Of(CFStringCreateWithSubstring(nullptr, emoji.get(), CFRangeMake(1, 2))), "🎹");
  EXPECT_EQ(CFStringCreateWithSubstring(nullptr, emoji.get(), CFRangeMake(3, 2)), nullptr);
  EXPECT_EQ(CFStringCreateWithSubstring(nullptr, emoji.get(), CFRangeMake(-1, 1)), nullptr);
}

TEST(CFStringCompare, OrderCaseNumbersAndParsedValues) {
  EXPECT_EQ(CFStringCompare(CFSTR("ABC"), CFSTR("abc"), 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(CFSTR("ABC"), CFSTR("abc"), kCFCompareCaseInsensitive), kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompare(CFSTR("ÉTÉ"), CFSTR("été"), kCFCompareCaseInsensitive), kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompare(CFSTR("abc"), CFSTR("abcd"), 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(CFSTR("b"), CFSTR("abcd"), 0), kCFCompareGreaterThan);
  EXPECT_EQ(CFStringCompare(CFSTR("file10"), CFSTR("file9"), 0), kCFCompareLessThan);
  EXPECT_EQ(CFStringCompare(CFSTR("file10"), CFSTR("file9"), kCFCompareNumerically), kCFCompareGreaterThan);
  EXPECT_EQ(CFStringCompare(CFSTR("v007"), CFSTR("v7"), kCFCompareNumerically), kCFCompareEqualTo);
  EXPECT_EQ(CFStringCompare(CFSTR("FILE2"), CFSTR("file10"), kCFCompareNumerically | kCFCompareCaseInsensitive),
            kCFCompareLessThan);

  EXPECT_TRUE(CFStringHasPrefix(CFSTR("🎹 Piano"), CFSTR("🎹")));
  EXPECT_TRUE(CFStringHasSuffix(CFSTR("Grand 音高"), CFSTR("高")));
  EXPECT_FALSE(CFStringHasSuffix(CFSTR("高"), CFSTR("音高")));
  EXPECT_TRUE(CFStringHasPrefix(CFSTR("abc"), CFSTR("")));

  EXPECT_EQ(CFStringGetIntValue(CFSTR("  42abc")), 42);
  EXPECT_EQ(CFStringGetIntValue(CFSTR("-17")), -17);
  EXPECT_EQ(CFStringGetIntValue(CFSTR("none")), 0);
  EXPECT_EQ(CFStringGetIntValue(CFSTR("99999999999")), 2147483647);
  EXPECT_DOUBLE_EQ(CFStringGetDoubleValue(CFSTR("3.5")), 3.5);
  EXPECT_DOUBLE_EQ(CFStringGetDoubleValue(CFSTR(" -2.25e2")), -225.0);
  EXPECT_DOUBLE_EQ(CFStringGetDoubleValue(CFSTR("x")), 0.0);
}

TEST(CFStringArguments, NullAndWrongTypesDoNotCrash) {
  int one = 1;
  auto number = Adopt(CFNumberCreate(nullptr, kCFNumberIntType, &one));
  const auto notAString = reinterpret_cast<CFStringRef>(number.get());
  char buffer[8];
  EXPECT_EQ(CFStringCreateWithCString(nullptr, nullptr, kCFStringEncodingUTF8), nullptr);
  EXPECT_EQ(CFStringCreateWithBytes(nullptr, nullptr, 4, kCFStringEncodingUTF8, false), nullptr);
  EXPECT_EQ(CFStringCreateCopy(nullptr, nullptr), nullptr);
  EXPECT_EQ(CFStringCreateWithFormat(nullptr, nullptr, nullptr), nullptr);
  EXPECT_EQ(CFStringGetLength(nullptr), 0);
  EXPECT_EQ(CFStringGetLength(notAString), 0);
  EXPECT_FALSE(CFStringGetCString(nullptr, buffer, sizeof buffer, kCFStringEncodingUTF8));
  EXPECT_FALSE(CFStringGetCString(CFSTR("a"), nullptr, 8, kCFStringEncodingUTF8));
  EXPECT_EQ(CFStringGetCStringPtr(notAString, kCFStringEncodingUTF8), nullptr);
  EXPECT_EQ(CFStringGetCharacterAtIndex(CFSTR("a"), 5), 0);
  EXPECT_FALSE(CFStringHasPrefix(nullptr, CFSTR("a")));
  CFStringAppend(nullptr, CFSTR("a"));
  CFStringAppendCString(nullptr, "a", kCFStringEncodingUTF8);
  CFStringGetCharacters(CFSTR("ab"), CFRangeMake(1, 5), nullptr);
}

}  // namespace
