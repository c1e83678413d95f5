#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFString.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "cf_test_support.h"

namespace {

CFOwned<CFNumberRef> Int(int value) { return Adopt(CFNumberCreate(nullptr, kCFNumberIntType, &value)); }

TEST(CFArrayOwnership, TypeCallBacksRetainWhatTheArrayHolds) {
  auto value = MakeString("held");
  ASSERT_EQ(CFGetRetainCount(value.get()), 1);
  {
    const void* values[] = {value.get(), value.get()};
    auto array = Adopt(CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks));
    EXPECT_EQ(CFGetRetainCount(value.get()), 3);
    auto copy = Adopt(CFArrayCreateMutableCopy(nullptr, 0, array.get()));
    EXPECT_EQ(CFGetRetainCount(value.get()), 5);
    CFArrayRemoveValueAtIndex(copy.get(), 0);
    EXPECT_EQ(CFGetRetainCount(value.get()), 4);
    CFArraySetValueAtIndex(copy.get(), 0, value.get());  // replacing a value with itself
    EXPECT_EQ(CFGetRetainCount(value.get()), 4);
    CFArrayRemoveAllValues(copy.get());
    EXPECT_EQ(CFGetRetainCount(value.get()), 3);
  }
  EXPECT_EQ(CFGetRetainCount(value.get()), 1);
}

TEST(CFCollectionOwnership, NullCallBacksHoldRawPointersFoundByIdentity) {
  auto value = MakeString("raw");
  auto array = Adopt(CFArrayCreateMutable(nullptr, 0, nullptr));
  CFArrayAppendValue(array.get(), value.get());
  CFArrayAppendValue(array.get(), reinterpret_cast<const void*>(0x10));
  EXPECT_EQ(CFGetRetainCount(value.get()), 1);
  EXPECT_EQ(CFArrayGetValueAtIndex(array.get(), 1), reinterpret_cast<const void*>(0x10));

  // Identity, not CFEqual, decides membership.
  auto twin = MakeString("raw");
  EXPECT_TRUE(CFArrayContainsValue(array.get(), CFRangeMake(0, 2), value.get()));
  EXPECT_FALSE(CFArrayContainsValue(array.get(), CFRangeMake(0, 2), twin.get()));
  array.reset();
  EXPECT_EQ(CFGetRetainCount(value.get()), 1);

  const void* keys[] = {twin.get()};
  const void* values[] = {value.get()};
  auto dict = Adopt(CFDictionaryCreate(nullptr, keys, values, 1, nullptr, nullptr));
  EXPECT_EQ(CFGetRetainCount(twin.get()), 1);
  EXPECT_EQ(CFGetRetainCount(value.get()), 1);
  EXPECT_EQ(CFDictionaryGetValue(dict.get(), twin.get()), value.get());
  EXPECT_EQ(CFDictionaryGetValue(dict.get(), MakeString("raw").get()), nullptr);
}

TEST(CFArrayContents, OrderSearchEqualityAndApply) {
  auto a = Int(1);
  auto b = Int(2);
  auto c = MakeString("three");
  auto array = Adopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  CFArrayAppendValue(array.get(), a.get());
  CFArrayAppendValue(array.get(), c.get());
  CFArrayInsertValueAtIndex(array.get(), 1, b.get());
  CFArraySetValueAtIndex(array.get(), 3, a.get());  // the index past the end appends
  ASSERT_EQ(CFArrayGetCount(array.get()), 4);
  EXPECT_EQ(CFArrayGetValueAtIndex(array.get(), 1), b.get());

  double oneReal = 1.0;
  auto equalToA = Adopt(CFNumberCreate(nullptr, kCFNumberDoubleType, &oneReal));
  EXPECT_EQ(CFArrayGetFirstIndexOfValue(array.get(), CFRangeMake(0, 4), equalToA.get()), 0);
  EXPECT_EQ(CFArrayGetFirstIndexOfValue(array.get(), CFRangeMake(1, 3), equalToA.get()), 3);
  EXPECT_EQ(CFArrayGetFirstIndexOfValue(array.get(), CFRangeMake(1, 2), equalToA.get()), kCFNotFound);

  const void* values[4] = {};
  CFArrayGetValues(array.get(), CFRangeMake(1, 2), values);
  EXPECT_EQ(values[0], b.get());
  EXPECT_EQ(values[1], c.get());

  auto texts = MakeString("three");
  const void* same[] = {equalToA.get(), b.get(), texts.get(), a.get()};
  auto other = Adopt(CFArrayCreate(nullptr, same, 4, &kCFTypeArrayCallBacks));
  EXPECT_TRUE(CFEqual(array.get(), other.get()));
  EXPECT_EQ(CFHash(array.get()), CFHash(other.get()));
  auto fixed = Adopt(CFArrayCreateCopy(nullptr, array.get()));
  CFArrayRemoveValueAtIndex(array.get(), 3);
  EXPECT_FALSE(CFEqual(array.get(), other.get()));
  EXPECT_EQ(CFArrayGetCount(fixed.get()), 4);

  int visits = 0;
  CFArrayApplyFunction(
      fixed.get(), CFRangeMake(0, 4),
      [](const void* value, void* context) {
        *static_cast<int*>(context) += CFGetTypeID(value) == CFNumberGetTypeID() ? 1 : 100;
      },
      &visits);
  EXPECT_EQ(visits, 103);
  // An immutable copy ignores mutation.
  CFArrayAppendValue(const_cast<CFMutableArrayRef>(fixed.get()), a.get());
  EXPECT_EQ(CFArrayGetCount(fixed.get()), 4);
}

TEST(CFCollectionArguments, OutOfRangeNullAndImmutableDoNotCrash) {
  auto value = MakeString("x");
  auto array = Adopt(CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks));
  CFArrayAppendValue(array.get(), value.get());
  EXPECT_EQ(CFArrayGetValueAtIndex(array.get(), 1), nullptr);
  EXPECT_EQ(CFArrayGetValueAtIndex(array.get(), -1), nullptr);
  EXPECT_EQ(CFArrayGetValueAtIndex(nullptr, 0), nullptr);
  CFArrayRemoveValueAtIndex(array.get(), 5);
  CFArrayInsertValueAtIndex(array.get(), 3, value.get());
  CFArraySetValueAtIndex(array.get(), 2, value.get());
  const void* out[2] = {};
  CFArrayGetValues(array.get(), CFRangeMake(0, 2), out);
  EXPECT_EQ(out[0], nullptr);
  EXPECT_EQ(CFArrayGetFirstIndexOfValue(array.get(), CFRangeMake(0, 9), value.get()), kCFNotFound);
  EXPECT_EQ(CFArrayGetCount(array.get()), 1);
  EXPECT_EQ(CFGetRetainCount(value.get()), 2);
  EXPECT_EQ(CFArrayCreate(nullptr, nullptr, 2, nullptr), nullptr);
  EXPECT_EQ(CFArrayGetCount(reinterpret_cast<CFArrayRef>(value.get())), 0);

  EXPECT_EQ(CFDictionaryGetCount(nullptr), 0);
  EXPECT_EQ(CFDictionaryGetValue(nullptr, CFSTR("k")), nullptr);
  EXPECT_FALSE(CFDictionaryContainsKey(nullptr, CFSTR("k")));
  CFDictionarySetValue(nullptr, CFSTR("k"), CFSTR("v"));
  CFDictionaryApplyFunction(nullptr, nullptr, nullptr);
  EXPECT_EQ(CFDictionaryCreate(nullptr, nullptr, nullptr, 1, nullptr, nullptr), nullptr);
  auto fixed = Adopt(CFDictionaryCreate(nullptr, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                        &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(const_cast<CFMutableDictionaryRef>(fixed.get()), CFSTR("k"), CFSTR("v"));
  EXPECT_EQ(CFDictionaryGetCount(fixed.get()), 0);
  CFDictionaryGetKeysAndValues(fixed.get(), nullptr, nullptr);
}

TEST(CFDictionaryOwnership, TypeCallBacksRetainKeysAndValuesAndCopyStringKeysAreSnapshots) {
  auto key = MakeString("gain");
  auto first = Int(1);
  auto second = Int(2);
  {
    auto dict =
        Adopt(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CFDictionaryAddValue(dict.get(), key.get(), first.get());
    EXPECT_EQ(CFGetRetainCount(key.get()), 2);
    EXPECT_EQ(CFGetRetainCount(first.get()), 2);

    // Adding again keeps the old value; setting swaps the value and keeps the stored key.
    CFDictionaryAddValue(dict.get(), key.get(), second.get());
    EXPECT_EQ(CFDictionaryGetValue(dict.get(), key.get()), first.get());
    EXPECT_EQ(CFGetRetainCount(second.get()), 1);
    auto equalKey = MakeString("gain");
    CFDictionarySetValue(dict.get(), equalKey.get(), second.get());
    EXPECT_EQ(CFGetRetainCount(first.get()), 1);
    EXPECT_EQ(CFGetRetainCount(second.get()), 2);
    EXPECT_EQ(CFGetRetainCount(key.get()), 2);
    EXPECT_EQ(CFGetRetainCount(equalKey.get()), 1);

    CFDictionaryReplaceValue(dict.get(), CFSTR("absent"), first.get());
    EXPECT_EQ(CFDictionaryGetCount(dict.get()), 1);
    EXPECT_EQ(CFGetRetainCount(first.get()), 1);

    auto copy = Adopt(CFDictionaryCreateCopy(nullptr, dict.get()));
    EXPECT_EQ(CFGetRetainCount(key.get()), 3);
    EXPECT_EQ(CFGetRetainCount(second.get()), 3);
    CFDictionaryRemoveValue(dict.get(), key.get());
    EXPECT_EQ(CFGetRetainCount(key.get()), 2);
    EXPECT_EQ(CFGetRetainCount(second.get()), 2);
  }
  EXPECT_EQ(CFGetRetainCount(key.get()), 1);
  EXPECT_EQ(CFGetRetainCount(second.get()), 1);

  // Copy-string key callbacks keep a snapshot of a mutable key.
  auto mutableKey = Adopt(CFStringCreateMutableCopy(nullptr, 0, CFSTR("name")));
  auto copied = Adopt(
      CFDictionaryCreateMutable(nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(copied.get(), mutableKey.get(), kCFBooleanTrue);
  EXPECT_EQ(CFGetRetainCount(mutableKey.get()), 1);
  CFStringAppend(mutableKey.get(), CFSTR("-changed"));
  EXPECT_TRUE(CFDictionaryContainsKey(copied.get(), CFSTR("name")));
  EXPECT_FALSE(CFDictionaryContainsKey(copied.get(), mutableKey.get()));
}

TEST(CFDictionaryContents, LookupAcrossEqualKeysAndContentEquality) {
  auto dict =
      Adopt(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  for (int i = 0; i < 50; ++i) {
    auto key = Int(i);
    auto value = Adopt(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("v%d"), i));
    CFDictionarySetValue(dict.get(), key.get(), value.get());
  }
  ASSERT_EQ(CFDictionaryGetCount(dict.get()), 50);
  double realKey = 7.0;
  auto seven = Adopt(CFNumberCreate(nullptr, kCFNumberDoubleType, &realKey));
  EXPECT_EQ(Utf8(static_cast<CFStringRef>(CFDictionaryGetValue(dict.get(), seven.get()))), "v7");
  EXPECT_EQ(CFDictionaryGetCountOfKey(dict.get(), seven.get()), 1);
  EXPECT_TRUE(CFDictionaryContainsValue(dict.get(), CFSTR("v49")));
  EXPECT_FALSE(CFDictionaryContainsValue(dict.get(), CFSTR("v50")));
  const void* found = nullptr;
  EXPECT_TRUE(CFDictionaryGetValueIfPresent(dict.get(), seven.get(), &found));
  EXPECT_TRUE(CFEqual(found, CFSTR("v7")));
  auto missing = Int(50);
  EXPECT_FALSE(CFDictionaryGetValueIfPresent(dict.get(), missing.get(), &found));

  const void* keys[50] = {};
  const void* values[50] = {};
  CFDictionaryGetKeysAndValues(dict.get(), keys, values);
  std::set<std::string> pairs;
  for (int i = 0; i < 50; ++i) {
    auto pair = Adopt(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@=%@"), keys[i], values[i]));
    pairs.insert(Utf8(pair.get()));
  }
  EXPECT_EQ(pairs.size(), 50U);
  EXPECT_EQ(pairs.count("12=v12"), 1U);

  auto copy = Adopt(CFDictionaryCreateMutableCopy(nullptr, 0, dict.get()));
  EXPECT_TRUE(CFEqual(copy.get(), dict.get()));
  EXPECT_EQ(CFHash(copy.get()), CFHash(dict.get()));
  CFDictionarySetValue(copy.get(), seven.get(), CFSTR("other"));
  EXPECT_FALSE(CFEqual(copy.get(), dict.get()));

  int visited = 0;
  CFDictionaryApplyFunction(
      dict.get(), [](const void*, const void*, void* context) { ++*static_cast<int*>(context); }, &visited);
  EXPECT_EQ(visited, 50);
  CFDictionaryRemoveAllValues(copy.get());
  EXPECT_EQ(CFDictionaryGetCount(copy.get()), 0);
}

}  // namespace
