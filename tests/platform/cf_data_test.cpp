#include <CoreFoundation/CFData.h>
#include <gtest/gtest.h>

#include <vector>

#include "cf_test_support.h"

namespace {

std::vector<UInt8> Bytes(CFDataRef data) {
  const UInt8* p = CFDataGetBytePtr(data);
  return std::vector<UInt8>(p, p + CFDataGetLength(data));
}

TEST(CFDataMutation, GrowsWithZerosAndEditsInPlace) {
  auto data = Adopt(CFDataCreateMutable(nullptr, 0));
  const UInt8 head[] = {1, 2, 3};
  CFDataAppendBytes(data.get(), head, 3);
  CFDataIncreaseLength(data.get(), 2);
  EXPECT_EQ(Bytes(data.get()), (std::vector<UInt8>{1, 2, 3, 0, 0}));
  CFDataSetLength(data.get(), 2);
  CFDataSetLength(data.get(), 4);
  EXPECT_EQ(Bytes(data.get()), (std::vector<UInt8>{1, 2, 0, 0}));

  const UInt8 middle[] = {9, 9, 9};
  CFDataReplaceBytes(data.get(), CFRangeMake(1, 2), middle, 3);
  EXPECT_EQ(Bytes(data.get()), (std::vector<UInt8>{1, 9, 9, 9, 0}));
  CFDataDeleteBytes(data.get(), CFRangeMake(0, 2));
  EXPECT_EQ(Bytes(data.get()), (std::vector<UInt8>{9, 9, 0}));
  CFDataGetMutableBytePtr(data.get())[2] = 7;

  // Appending the data to itself reads the bytes before they move.
  CFDataAppendBytes(data.get(), CFDataGetBytePtr(data.get()), CFDataGetLength(data.get()));
  EXPECT_EQ(Bytes(data.get()), (std::vector<UInt8>{9, 9, 7, 9, 9, 7}));

  // Many small appends keep every byte.
  for (int i = 0; i < 1000; ++i) {
    const auto byte = static_cast<UInt8>(i);
    CFDataAppendBytes(data.get(), &byte, 1);
  }
  ASSERT_EQ(CFDataGetLength(data.get()), 1006);
  EXPECT_EQ(CFDataGetBytePtr(data.get())[1006 - 1], static_cast<UInt8>(999));

  UInt8 window[2] = {};
  CFDataGetBytes(data.get(), CFRangeMake(2, 2), window);
  EXPECT_EQ(window[0], 7);
  EXPECT_EQ(window[1], 9);
}

TEST(CFDataCopies, CopiesAreIndependentAndEqualByBytes) {
  const UInt8 bytes[] = {0xDE, 0xAD, 0xBE, 0xEF};
  auto original = Adopt(CFDataCreate(nullptr, bytes, 4));
  auto copy = Adopt(CFDataCreateMutableCopy(nullptr, 0, original.get()));
  auto same = Adopt(CFDataCreateCopy(nullptr, original.get()));
  EXPECT_TRUE(CFEqual(original.get(), copy.get()));
  EXPECT_TRUE(CFEqual(original.get(), same.get()));
  EXPECT_EQ(CFHash(original.get()), CFHash(copy.get()));
  EXPECT_EQ(CFGetTypeID(original.get()), CFDataGetTypeID());

  CFDataGetMutableBytePtr(copy.get())[0] = 0;
  EXPECT_FALSE(CFEqual(original.get(), copy.get()));
  EXPECT_EQ(CFDataGetBytePtr(original.get())[0], 0xDE);

  // Immutable data refuses edits.
  EXPECT_EQ(CFDataGetMutableBytePtr(const_cast<CFMutableDataRef>(original.get())), nullptr);
  CFDataSetLength(const_cast<CFMutableDataRef>(original.get()), 0);
  EXPECT_EQ(CFDataGetLength(original.get()), 4);
}

TEST(CFDataArguments, BadArgumentsDoNotCrash) {
  EXPECT_EQ(CFDataCreate(nullptr, nullptr, 3), nullptr);
  auto empty = Adopt(CFDataCreate(nullptr, nullptr, 0));
  ASSERT_NE(empty, nullptr);
  EXPECT_EQ(CFDataGetLength(empty.get()), 0);
  EXPECT_EQ(CFDataGetLength(nullptr), 0);
  EXPECT_EQ(CFDataGetBytePtr(nullptr), nullptr);
  EXPECT_EQ(CFDataCreateCopy(nullptr, nullptr), nullptr);

  auto data = Adopt(CFDataCreateMutable(nullptr, 0));
  UInt8 out[4] = {5, 5, 5, 5};
  CFDataGetBytes(data.get(), CFRangeMake(0, 4), out);
  EXPECT_EQ(out[0], 5);
  CFDataDeleteBytes(data.get(), CFRangeMake(2, 1));
  CFDataReplaceBytes(data.get(), CFRangeMake(0, 0), nullptr, 2);
  CFDataSetLength(data.get(), -1);
  CFDataAppendBytes(nullptr, out, 4);
  EXPECT_EQ(CFDataGetLength(data.get()), 0);
}

}  // namespace
