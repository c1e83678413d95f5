// CFData: a byte vector, compared and hashed by content.
#include <CoreFoundation/CFData.h>

#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

#include "cf/Object.h"

struct __CFData final : veneer::cf::Object {
  __CFData(std::vector<UInt8> content, bool isMutableData)
      : Object(veneer::cf::kDataTypeId), bytes(std::move(content)), isMutable(isMutableData) {}

  [[nodiscard]] bool Equal(const Object& other) const override {
    return bytes == static_cast<const __CFData&>(other).bytes;
  }
  [[nodiscard]] CFHashCode Hash() const override {
    return std::hash<std::string_view>{}(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  }
  [[nodiscard]] std::string Describe() const override {
    char head[96];
    std::snprintf(head, sizeof head, "<CFData %p [%p]>{length = %zu, bytes = 0x", static_cast<const void*>(this),
                  static_cast<const void*>(this), bytes.size());
    std::string text = head;
    for (const UInt8 byte : bytes) {
      char hex[3];
      std::snprintf(hex, sizeof hex, "%02x", byte);
      text += hex;
    }
    return text + "}";
  }

  std::vector<UInt8> bytes;
  bool isMutable;
};

namespace {

const __CFData* AsData(CFTypeRef ref) { return veneer::cf::Cast<__CFData>(ref, veneer::cf::kDataTypeId); }

__CFData* AsMutableData(CFTypeRef ref) {
  auto* data = veneer::cf::CastMutable<__CFData>(ref, veneer::cf::kDataTypeId);
  return data != nullptr && data->isMutable ? data : nullptr;
}

bool InRange(const __CFData& data, CFRange range) {
  return range.location >= 0 && range.length >= 0 &&
         range.location + range.length <= static_cast<CFIndex>(data.bytes.size());
}

}  // namespace

extern "C" {

CFTypeID CFDataGetTypeID(void) { return veneer::cf::kDataTypeId; }

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length) {
  if (length < 0 || (bytes == nullptr && length > 0)) {
    return nullptr;
  }
  return new __CFData(std::vector<UInt8>(bytes, bytes + length), false);
}

CFDataRef CFDataCreateCopy(CFAllocatorRef, CFDataRef theData) {
  const __CFData* data = AsData(theData);
  return data == nullptr ? nullptr : new __CFData(data->bytes, false);
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef, CFIndex capacity) {
  return capacity < 0 ? nullptr : new __CFData({}, true);
}

CFMutableDataRef CFDataCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFDataRef theData) {
  const __CFData* data = AsData(theData);
  return data == nullptr || capacity < 0 ? nullptr : new __CFData(data->bytes, true);
}

CFIndex CFDataGetLength(CFDataRef theData) {
  const __CFData* data = AsData(theData);
  return data == nullptr ? 0 : static_cast<CFIndex>(data->bytes.size());
}

const UInt8* CFDataGetBytePtr(CFDataRef theData) {
  const __CFData* data = AsData(theData);
  return data == nullptr ? nullptr : data->bytes.data();
}

UInt8* CFDataGetMutableBytePtr(CFMutableDataRef theData) {
  __CFData* data = AsMutableData(theData);
  return data == nullptr ? nullptr : data->bytes.data();
}

void CFDataGetBytes(CFDataRef theData, CFRange range, UInt8* buffer) {
  const __CFData* data = AsData(theData);
  if (data == nullptr || buffer == nullptr || !InRange(*data, range) || range.length == 0) {
    return;
  }
  std::memcpy(buffer, data->bytes.data() + range.location, static_cast<size_t>(range.length));
}

void CFDataSetLength(CFMutableDataRef theData, CFIndex length) {
  __CFData* data = AsMutableData(theData);
  if (data != nullptr && length >= 0) {
    data->bytes.resize(static_cast<size_t>(length), 0);
  }
}

void CFDataIncreaseLength(CFMutableDataRef theData, CFIndex extraLength) {
  __CFData* data = AsMutableData(theData);
  if (data != nullptr && extraLength > 0) {
    data->bytes.resize(data->bytes.size() + static_cast<size_t>(extraLength), 0);
  }
}

void CFDataAppendBytes(CFMutableDataRef theData, const UInt8* bytes, CFIndex length) {
  CFDataReplaceBytes(theData, CFRangeMake(CFDataGetLength(theData), 0), bytes, length);
}

void CFDataReplaceBytes(CFMutableDataRef theData, CFRange range, const UInt8* newBytes, CFIndex newLength) {
  __CFData* data = AsMutableData(theData);
  if (data == nullptr || !InRange(*data, range) || newLength < 0 || (newBytes == nullptr && newLength > 0)) {
    return;
  }
  // Copy first: the new bytes may point into this data.
  const std::vector<UInt8> replacement(newBytes, newBytes + newLength);
  const auto first = data->bytes.begin() + range.location;
  data->bytes.erase(first, first + range.length);
  data->bytes.insert(data->bytes.begin() + range.location, replacement.begin(), replacement.end());
}

void CFDataDeleteBytes(CFMutableDataRef theData, CFRange range) { CFDataReplaceBytes(theData, range, nullptr, 0); }

}  // extern "C"
