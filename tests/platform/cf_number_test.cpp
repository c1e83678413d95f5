#include <CoreFoundation/CFNumber.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "cf_test_support.h"

namespace {

template <typename T>
CFOwned<CFNumberRef> Number(CFNumberType type, T value) {
  return Adopt(CFNumberCreate(nullptr, type, &value));
}

TEST(CFNumberValue, TypesMapToFixedSizeStorage) {
  auto i = Number(kCFNumberIntType, 7);
  auto l = Number(kCFNumberLongType, 7L);
  auto f = Number(kCFNumberFloatType, 1.5f);
  auto d = Number(kCFNumberCGFloatType, 1.5);
  auto c = Number(kCFNumberCharType, static_cast<char>(3));
  EXPECT_EQ(CFNumberGetType(i.get()), kCFNumberSInt32Type);
  EXPECT_EQ(CFNumberGetType(l.get()), kCFNumberSInt64Type);
  EXPECT_EQ(CFNumberGetType(f.get()), kCFNumberFloat32Type);
  EXPECT_EQ(CFNumberGetType(d.get()), kCFNumberFloat64Type);
  EXPECT_EQ(CFNumberGetType(c.get()), kCFNumberSInt8Type);
  EXPECT_EQ(CFNumberGetByteSize(i.get()), 4);
  EXPECT_EQ(CFNumberGetByteSize(d.get()), 8);
  EXPECT_EQ(CFNumberGetByteSize(c.get()), 1);
  EXPECT_FALSE(CFNumberIsFloatType(i.get()));
  EXPECT_TRUE(CFNumberIsFloatType(f.get()));
  EXPECT_EQ(CFGetTypeID(i.get()), CFNumberGetTypeID());
}

TEST(CFNumberValue, LossyConversionsAnswerFalseButStoreTheApproximation) {
  auto real = Number(kCFNumberFloat64Type, 2.75);
  SInt32 whole = 0;
  EXPECT_FALSE(CFNumberGetValue(real.get(), kCFNumberSInt32Type, &whole));
  EXPECT_EQ(whole, 2);
  double exact = 0;
  EXPECT_TRUE(CFNumberGetValue(real.get(), kCFNumberDoubleType, &exact));
  EXPECT_EQ(exact, 2.75);
  float narrow = 0;
  EXPECT_TRUE(CFNumberGetValue(real.get(), kCFNumberFloat32Type, &narrow));
  EXPECT_EQ(narrow, 2.75f);

  auto tenth = Number(kCFNumberFloat64Type, 0.1);
  EXPECT_FALSE(CFNumberGetValue(tenth.get(), kCFNumberFloat32Type, &narrow));
  EXPECT_EQ(narrow, 0.1f);

  auto big = Number(kCFNumberSInt32Type, 300);
  SInt8 small = 0;
  EXPECT_FALSE(CFNumberGetValue(big.get(), kCFNumberSInt8Type, &small));
  SInt16 medium = 0;
  EXPECT_TRUE(CFNumberGetValue(big.get(), kCFNumberSInt16Type, &medium));
  EXPECT_EQ(medium, 300);

  auto precise = Number(kCFNumberSInt64Type, (int64_t{1} << 53) + 1);
  double approximate = 0;
  EXPECT_FALSE(CFNumberGetValue(precise.get(), kCFNumberFloat64Type, &approximate));
  EXPECT_EQ(approximate, 9007199254740992.0);
  SInt64 back = 0;
  EXPECT_TRUE(CFNumberGetValue(precise.get(), kCFNumberSInt64Type, &back));
  EXPECT_EQ(back, (int64_t{1} << 53) + 1);

  auto huge = Number(kCFNumberFloat64Type, 1e300);
  SInt32 clipped = 0;
  EXPECT_FALSE(CFNumberGetValue(huge.get(), kCFNumberSInt32Type, &clipped));
  EXPECT_FALSE(CFNumberGetValue(huge.get(), kCFNumberFloat32Type, &narrow));
  EXPECT_TRUE(std::isinf(narrow));
}

TEST(CFNumberEquality, EqualValuesMatchAcrossTypes) {
  auto one = Number(kCFNumberSInt32Type, 1);
  auto oneReal = Number(kCFNumberFloat64Type, 1.0);
  auto oneByte = Number(kCFNumberSInt8Type, static_cast<SInt8>(1));
  auto oneFloat = Number(kCFNumberFloat32Type, 1.0f);
  auto half = Number(kCFNumberFloat64Type, 1.5);
  EXPECT_TRUE(CFEqual(one.get(), oneReal.get()));
  EXPECT_TRUE(CFEqual(oneByte.get(), oneFloat.get()));
  EXPECT_EQ(CFHash(one.get()), CFHash(oneReal.get()));
  EXPECT_EQ(CFHash(oneByte.get()), CFHash(oneFloat.get()));
  EXPECT_FALSE(CFEqual(one.get(), half.get()));
  EXPECT_FALSE(CFEqual(one.get(), kCFBooleanTrue));

  EXPECT_EQ(CFNumberCompare(one.get(), half.get(), nullptr), kCFCompareLessThan);
  EXPECT_EQ(CFNumberCompare(half.get(), oneByte.get(), nullptr), kCFCompareGreaterThan);
  EXPECT_EQ(CFNumberCompare(oneFloat.get(), one.get(), nullptr), kCFCompareEqualTo);
  auto nearMax = Number(kCFNumberSInt64Type, std::numeric_limits<int64_t>::max());
  auto twoTo63 = Number(kCFNumberFloat64Type, 9223372036854775808.0);
  EXPECT_EQ(CFNumberCompare(nearMax.get(), twoTo63.get(), nullptr), kCFCompareLessThan);
  EXPECT_FALSE(CFEqual(nearMax.get(), twoTo63.get()));
}

TEST(CFBooleanValue, ConstantsAreImmortal) {
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
  EXPECT_FALSE(CFBooleanGetValue(kCFBooleanFalse));
  EXPECT_EQ(CFGetTypeID(kCFBooleanTrue), CFBooleanGetTypeID());
  EXPECT_NE(CFBooleanGetTypeID(), CFNumberGetTypeID());
  const CFIndex count = CFGetRetainCount(kCFBooleanTrue);
  CFRelease(kCFBooleanTrue);
  CFRelease(kCFBooleanTrue);
  EXPECT_EQ(CFGetRetainCount(kCFBooleanTrue), count);
  EXPECT_TRUE(CFBooleanGetValue(kCFBooleanTrue));
  EXPECT_FALSE(CFEqual(kCFBooleanTrue, kCFBooleanFalse));
}

TEST(CFNumberArguments, NullAndWrongTypesDoNotCrash) {
  int value = 5;
  EXPECT_EQ(CFNumberCreate(nullptr, kCFNumberIntType, nullptr), nullptr);
  EXPECT_EQ(CFNumberCreate(nullptr, static_cast<CFNumberType>(99), &value), nullptr);
  EXPECT_FALSE(CFNumberGetValue(nullptr, kCFNumberIntType, &value));
  auto number = Number(kCFNumberIntType, 5);
  EXPECT_FALSE(CFNumberGetValue(number.get(), kCFNumberIntType, nullptr));
  EXPECT_FALSE(CFNumberGetValue(number.get(), static_cast<CFNumberType>(0), &value));
  EXPECT_EQ(CFNumberGetType(reinterpret_cast<CFNumberRef>(CFSTR("5"))), 0);
  EXPECT_FALSE(CFBooleanGetValue(nullptr));
  EXPECT_FALSE(CFBooleanGetValue(reinterpret_cast<CFBooleanRef>(number.get())));
}

}  // namespace
