// Property lists as a component reads and writes its class info.
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "cf_test_support.h"

namespace {

CFOwned<CFNumberRef> MakeInt(SInt64 value) { return Adopt(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value)); }

CFOwned<CFDataRef> MakeData(const std::string& bytes) {
  return Adopt(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
}

CFOwned<CFPropertyListRef> Read(const std::string& text, CFOptionFlags options = kCFPropertyListImmutable,
                                CFPropertyListFormat* format = nullptr) {
  auto data = MakeData(text);
  CFErrorRef error = reinterpret_cast<CFErrorRef>(&data);  // must be cleared
  CFPropertyListRef plist = CFPropertyListCreateWithData(nullptr, data.get(), options, format, &error);
  EXPECT_EQ(error, nullptr);
  return Adopt(plist);
}

const void* Get(CFTypeRef dictionary, const char* key) {
  return CFDictionaryGetValue(static_cast<CFDictionaryRef>(dictionary), MakeString(key).get());
}

SInt64 IntValue(const void* number) {
  SInt64 value = -12345;
  EXPECT_EQ(CFGetTypeID(number), CFNumberGetTypeID());
  CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt64Type, &value);
  return value;
}

// What a component saves as its state: numbers, a data blob, strings and a nested dictionary.
CFOwned<CFDictionaryRef> MakeClassInfo() {
  auto info =
      Adopt(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(info.get(), MakeString("version").get(), MakeInt(0x00010203).get());
  CFDictionarySetValue(info.get(), MakeString("type").get(), MakeInt(static_cast<SInt64>('aufx')).get());
  CFDictionarySetValue(info.get(), MakeString("offset").get(), MakeInt(-42).get());
  CFDictionarySetValue(info.get(), MakeString("big").get(), MakeInt(0x123456789ALL).get());
  CFDictionarySetValue(info.get(), MakeString("name").get(), MakeString("Grüße & <Preset>").get());
  CFDictionarySetValue(info.get(), MakeString("data").get(), MakeData(std::string("\0\1\2\xff<&>", 7)).get());
  CFDictionarySetValue(info.get(), MakeString("bypass").get(), kCFBooleanTrue);
  const double gain = -6.5;
  auto nested =
      Adopt(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(nested.get(), MakeString("gain").get(),
                       Adopt(CFNumberCreate(nullptr, kCFNumberFloat64Type, &gain)).get());
  auto a = MakeString("a");
  const void* items[] = {a.get(), kCFBooleanFalse};
  auto list = Adopt(CFArrayCreate(nullptr, items, 2, &kCFTypeArrayCallBacks));
  CFDictionarySetValue(nested.get(), MakeString("list").get(), list.get());
  CFDictionarySetValue(info.get(), MakeString("vstdata").get(), nested.get());
  return Adopt(static_cast<CFDictionaryRef>(info.release()));
}

TEST(CFPropertyListRoundTrip, ClassInfoSurvivesXmlAndBinaryAndXmlIsAnAppleXmlPlist) {
  auto info = MakeClassInfo();
  ASSERT_TRUE(CFPropertyListIsValid(info.get(), kCFPropertyListXMLFormat_v1_0));
  for (CFPropertyListFormat format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
    SCOPED_TRACE(format);
    CFErrorRef error = nullptr;
    auto data = Adopt(CFPropertyListCreateData(nullptr, info.get(), format, 0, &error));
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(error, nullptr);
    CFPropertyListFormat readFormat{};
    auto back =
        Adopt(CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, &readFormat, nullptr));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(readFormat, format);
    EXPECT_TRUE(CFEqual(back.get(), info.get()));
    EXPECT_EQ(IntValue(Get(back.get(), "offset")), -42);
    EXPECT_EQ(IntValue(Get(back.get(), "big")), 0x123456789ALL);
    auto blob = static_cast<CFDataRef>(Get(back.get(), "data"));
    ASSERT_EQ(CFDataGetLength(blob), 7);
    EXPECT_EQ(std::memcmp(CFDataGetBytePtr(blob), "\0\1\2\xff<&>", 7), 0);
    EXPECT_EQ(Utf8(static_cast<CFStringRef>(Get(back.get(), "name"))), "Grüße & <Preset>");
    if (format == kCFPropertyListXMLFormat_v1_0) {
      const std::string text(reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
                             static_cast<size_t>(CFDataGetLength(data.get())));
      EXPECT_EQ(text.rfind("<?xml", 0), 0U);
      EXPECT_NE(text.find("<plist version=\"1.0\">"), std::string::npos);
      EXPECT_NE(text.find("<key>version</key>"), std::string::npos);
      EXPECT_NE(text.find("<integer>66051</integer>"), std::string::npos);
      EXPECT_NE(text.find("&lt;Preset&gt;"), std::string::npos);
      // Keys in order, as the system writes them, whatever order they were set in.
      std::vector<std::string> keys;
      for (size_t at = text.find("<key>"); at != std::string::npos; at = text.find("<key>", at + 1)) {
        keys.push_back(text.substr(at + 5, text.find("</key>", at) - at - 5));
      }
      EXPECT_EQ(keys, (std::vector<std::string>{"big", "bypass", "data", "name", "offset", "type", "version", "vstdata",
                                                "gain", "list"}));
    }
  }
}

constexpr const char* kEveryType = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>CFBundleIdentifier</key>
	<string>com.example.tone</string>
	<key>count</key>
	<integer>-17</integer>
	<key>ratio</key>
	<real>0.25</real>
	<key>yes</key>
	<true/>
	<key>no</key>
	<false/>
	<key>blob</key>
	<data>AAEC/w==</data>
	<key>empty</key>
	<string></string>
	<key>list</key>
	<array>
		<integer>1</integer>
		<string>two &amp; three</string>
		<dict/>
	</array>
</dict>
</plist>
)";

TEST(CFPropertyListRead, HandWrittenXmlWithEveryTypeImmutableOrMutable) {
  CFPropertyListFormat format{};
  auto plist = Read(kEveryType, kCFPropertyListImmutable, &format);
  ASSERT_NE(plist, nullptr);
  EXPECT_EQ(format, kCFPropertyListXMLFormat_v1_0);
  ASSERT_EQ(CFGetTypeID(plist.get()), CFDictionaryGetTypeID());
  EXPECT_EQ(CFDictionaryGetCount(static_cast<CFDictionaryRef>(plist.get())), 8);
  EXPECT_EQ(Utf8(static_cast<CFStringRef>(Get(plist.get(), "CFBundleIdentifier"))), "com.example.tone");
  EXPECT_EQ(IntValue(Get(plist.get(), "count")), -17);
  double ratio = 0;
  auto number = static_cast<CFNumberRef>(Get(plist.get(), "ratio"));
  EXPECT_TRUE(CFNumberIsFloatType(number));
  CFNumberGetValue(number, kCFNumberFloat64Type, &ratio);
  EXPECT_EQ(ratio, 0.25);
  EXPECT_EQ(Get(plist.get(), "yes"), kCFBooleanTrue);
  EXPECT_EQ(Get(plist.get(), "no"), kCFBooleanFalse);
  auto blob = static_cast<CFDataRef>(Get(plist.get(), "blob"));
  ASSERT_EQ(CFGetTypeID(blob), CFDataGetTypeID());
  ASSERT_EQ(CFDataGetLength(blob), 4);
  EXPECT_EQ(std::memcmp(CFDataGetBytePtr(blob), "\0\1\2\xff", 4), 0);
  EXPECT_EQ(CFStringGetLength(static_cast<CFStringRef>(Get(plist.get(), "empty"))), 0);
  auto list = static_cast<CFArrayRef>(Get(plist.get(), "list"));
  ASSERT_EQ(CFGetTypeID(list), CFArrayGetTypeID());
  ASSERT_EQ(CFArrayGetCount(list), 3);
  EXPECT_EQ(IntValue(CFArrayGetValueAtIndex(list, 0)), 1);
  EXPECT_EQ(Utf8(static_cast<CFStringRef>(CFArrayGetValueAtIndex(list, 1))), "two & three");
  EXPECT_EQ(CFGetTypeID(CFArrayGetValueAtIndex(list, 2)), CFDictionaryGetTypeID());

  // Asked for mutable containers, the host may change them.
  auto changeable = Read(kEveryType, kCFPropertyListMutableContainers);
  ASSERT_NE(changeable, nullptr);
  CFDictionarySetValue(static_cast<CFMutableDictionaryRef>(const_cast<void*>(changeable.get())),
                       MakeString("added").get(), kCFBooleanTrue);
  EXPECT_EQ(Get(changeable.get(), "added"), kCFBooleanTrue);
  auto changeableList = static_cast<CFMutableArrayRef>(const_cast<void*>(Get(changeable.get(), "list")));
  CFArrayAppendValue(changeableList, kCFBooleanTrue);
  EXPECT_EQ(CFArrayGetCount(changeableList), 4);
}

TEST(CFPropertyListRead, RefusesGarbageTruncatedAndUnsupportedInput) {
  EXPECT_EQ(Read("this is not a property list"), nullptr);
  EXPECT_EQ(Read(""), nullptr);
  const std::string everyType(kEveryType);
  for (size_t cut : {size_t{10}, everyType.size() / 2, everyType.size() - 12}) {
    SCOPED_TRACE(cut);
    EXPECT_EQ(Read(everyType.substr(0, cut)), nullptr);
  }
  EXPECT_EQ(Read("<plist version=\"1.0\"><date>2020-01-01T00:00:00Z</date></plist>"), nullptr);
  EXPECT_EQ(Read("bplist00\xff\xff\xff"), nullptr);

  auto info = MakeClassInfo();
  auto binary = Adopt(CFPropertyListCreateData(nullptr, info.get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
  ASSERT_NE(binary, nullptr);
  const std::string bytes(reinterpret_cast<const char*>(CFDataGetBytePtr(binary.get())),
                          static_cast<size_t>(CFDataGetLength(binary.get())));
  EXPECT_EQ(Read(bytes.substr(0, bytes.size() - 9)), nullptr);

  EXPECT_EQ(CFPropertyListCreateWithData(nullptr, nullptr, 0, nullptr, nullptr), nullptr);
  EXPECT_EQ(
      CFPropertyListCreateWithData(nullptr, reinterpret_cast<CFDataRef>(MakeString("x").get()), 0, nullptr, nullptr),
      nullptr);
}

TEST(CFPropertyListWrite, RefusesWhatIsNotAPropertyList) {
  auto url = Adopt(CFURLCreateWithFileSystemPath(nullptr, MakeString("/tmp").get(), kCFURLPOSIXPathStyle, true));
  auto one = MakeInt(1);
  const void* keys[] = {one.get()};
  const void* values[] = {kCFBooleanTrue};
  auto numberKeyed = Adopt(
      CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  auto ok = MakeString("ok");
  const void* items[] = {ok.get(), url.get()};
  auto withUrl = Adopt(CFArrayCreate(nullptr, items, 2, &kCFTypeArrayCallBacks));
  for (CFTypeRef bad : {static_cast<CFTypeRef>(url.get()), static_cast<CFTypeRef>(numberKeyed.get()),
                        static_cast<CFTypeRef>(withUrl.get()), static_cast<CFTypeRef>(kCFNull)}) {
    EXPECT_FALSE(CFPropertyListIsValid(bad, kCFPropertyListXMLFormat_v1_0));
    EXPECT_EQ(CFPropertyListCreateData(nullptr, bad, kCFPropertyListXMLFormat_v1_0, 0, nullptr), nullptr);
  }
  EXPECT_FALSE(CFPropertyListIsValid(nullptr, kCFPropertyListXMLFormat_v1_0));
  EXPECT_EQ(CFPropertyListCreateData(nullptr, nullptr, kCFPropertyListXMLFormat_v1_0, 0, nullptr), nullptr);

  auto number = MakeInt(3);
  EXPECT_TRUE(CFPropertyListIsValid(number.get(), kCFPropertyListBinaryFormat_v1_0));
  EXPECT_FALSE(CFPropertyListIsValid(number.get(), kCFPropertyListOpenStepFormat));
  EXPECT_TRUE(CFPropertyListIsValid(MakeString("s").get(), kCFPropertyListOpenStepFormat));
  EXPECT_FALSE(CFPropertyListIsValid(number.get(), static_cast<CFPropertyListFormat>(7)));
  EXPECT_EQ(CFPropertyListCreateData(nullptr, MakeString("s").get(), kCFPropertyListOpenStepFormat, 0, nullptr),
            nullptr);
}

}  // namespace
