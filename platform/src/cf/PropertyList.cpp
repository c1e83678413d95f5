// CFPropertyList: converts between libplist's tree and CoreFoundation objects.
#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFPropertyList.h>
#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "cf/Object.h"
#include "cf/String.h"

namespace {

struct PlistFree {
  void operator()(void* node) const { plist_free(static_cast<plist_t>(node)); }
};
using PlistOwned = std::unique_ptr<void, PlistFree>;

// Nesting deeper than this is refused rather than risking the stack on hostile input.
constexpr int kMaxDepth = 512;

CFTypeRef FromPlist(plist_t node, CFOptionFlags options, int depth);

CFTypeRef ArrayFromPlist(plist_t node, CFOptionFlags options, int depth) {
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  const uint32_t count = plist_array_get_size(node);
  for (uint32_t i = 0; i < count; ++i) {
    CFTypeRef item = FromPlist(plist_array_get_item(node, i), options, depth + 1);
    if (item == nullptr) {
      CFRelease(array);
      return nullptr;
    }
    CFArrayAppendValue(array, item);
    CFRelease(item);
  }
  if (options != kCFPropertyListImmutable) {
    return array;
  }
  CFArrayRef copy = CFArrayCreateCopy(nullptr, array);
  CFRelease(array);
  return copy;
}

CFTypeRef DictionaryFromPlist(plist_t node, CFOptionFlags options, int depth) {
  CFMutableDictionaryRef dictionary =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  plist_dict_iter iter = nullptr;
  plist_dict_new_iter(node, &iter);
  bool ok = true;
  while (ok && iter != nullptr) {
    char* key = nullptr;
    plist_t value = nullptr;
    plist_dict_next_item(node, iter, &key, &value);
    if (key == nullptr) {
      break;
    }
    CFTypeRef item = value == nullptr ? nullptr : FromPlist(value, options, depth + 1);
    if (item == nullptr) {
      ok = false;  // a key without a value, or a value we cannot hold
    } else {
      CFStringRef cfKey = veneer::cf::CreateString(key);
      CFDictionarySetValue(dictionary, cfKey, item);
      CFRelease(cfKey);
      CFRelease(item);
    }
    free(key);  // NOLINT(cppcoreguidelines-no-malloc): libplist hands out malloc'd keys
  }
  free(iter);  // NOLINT(cppcoreguidelines-no-malloc)
  if (!ok) {
    CFRelease(dictionary);
    return nullptr;
  }
  if (options != kCFPropertyListImmutable) {
    return dictionary;
  }
  CFDictionaryRef copy = CFDictionaryCreateCopy(nullptr, dictionary);
  CFRelease(dictionary);
  return copy;
}

CFTypeRef FromPlist(plist_t node, CFOptionFlags options, int depth) {
  if (node == nullptr || depth > kMaxDepth) {
    return nullptr;
  }
  const bool mutableLeaves = (options & kCFPropertyListMutableContainersAndLeaves) != 0;
  switch (plist_get_node_type(node)) {
    case PLIST_DICT:
      return DictionaryFromPlist(node, options, depth);
    case PLIST_ARRAY:
      return ArrayFromPlist(node, options, depth);
    case PLIST_STRING: {
      uint64_t length = 0;
      const char* text = plist_get_string_ptr(node, &length);
      CFStringRef string = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text),
                                                   static_cast<CFIndex>(length), kCFStringEncodingUTF8, false);
      if (string == nullptr || !mutableLeaves) {
        return string;
      }
      CFMutableStringRef copy = CFStringCreateMutableCopy(nullptr, 0, string);
      CFRelease(string);
      return copy;
    }
    case PLIST_UINT: {
      // libplist keeps every integer as 64 bits; negative ones come back two's-complement.
      uint64_t bits = 0;
      plist_get_uint_val(node, &bits);
      const auto value = static_cast<SInt64>(bits);
      return CFNumberCreate(nullptr, kCFNumberSInt64Type, &value);
    }
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value);
    }
    case PLIST_BOOLEAN: {
      uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return CFRetain(value != 0 ? kCFBooleanTrue : kCFBooleanFalse);
    }
    case PLIST_DATA: {
      uint64_t length = 0;
      const char* bytes = plist_get_data_ptr(node, &length);
      if (mutableLeaves) {
        CFMutableDataRef data = CFDataCreateMutable(nullptr, 0);
        CFDataAppendBytes(data, reinterpret_cast<const UInt8*>(bytes), static_cast<CFIndex>(length));
        return data;
      }
      return CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes), static_cast<CFIndex>(length));
    }
    default:
      return nullptr;  // dates and keyed-archive UIDs have no CoreFoundation type here
  }
}

plist_t ToPlist(CFTypeRef object, int depth);

plist_t ArrayToPlist(CFArrayRef array, int depth) {
  PlistOwned node(plist_new_array());
  const CFIndex count = CFArrayGetCount(array);
  for (CFIndex i = 0; i < count; ++i) {
    plist_t item = ToPlist(CFArrayGetValueAtIndex(array, i), depth + 1);
    if (item == nullptr) {
      return nullptr;
    }
    plist_array_append_item(node.get(), item);
  }
  return node.release();
}

plist_t DictionaryToPlist(CFDictionaryRef dictionary, int depth) {
  PlistOwned node(plist_new_dict());
  const auto count = static_cast<size_t>(CFDictionaryGetCount(dictionary));
  auto keys = std::make_unique<const void*[]>(count);
  auto values = std::make_unique<const void*[]>(count);
  CFDictionaryGetKeysAndValues(dictionary, keys.get(), values.get());
  std::vector<size_t> order(count);
  for (size_t i = 0; i < count; ++i) {
    if (veneer::cf::AsString(keys[i]) == nullptr) {
      return nullptr;  // property-list keys are strings
    }
    order[i] = i;
  }
  // Written in key order, as the system writes them, not in hash order.
  std::sort(order.begin(), order.end(), [&](size_t a, size_t b) {
    return veneer::cf::AsString(keys[a])->utf8 < veneer::cf::AsString(keys[b])->utf8;
  });
  for (const size_t i : order) {
    const __CFString* key = veneer::cf::AsString(keys[i]);
    plist_t item = ToPlist(values[i], depth + 1);
    if (item == nullptr) {
      return nullptr;
    }
    plist_dict_set_item(node.get(), key->utf8.c_str(), item);
  }
  return node.release();
}

plist_t ToPlist(CFTypeRef object, int depth) {
  if (object == nullptr || depth > kMaxDepth) {
    return nullptr;
  }
  const CFTypeID type = CFGetTypeID(object);
  if (type == CFStringGetTypeID()) {
    return plist_new_string(veneer::cf::AsString(object)->utf8.c_str());
  }
  if (type == CFNumberGetTypeID()) {
    auto number = static_cast<CFNumberRef>(object);
    if (CFNumberIsFloatType(number)) {
      double value = 0;
      CFNumberGetValue(number, kCFNumberFloat64Type, &value);
      return plist_new_real(value);
    }
    SInt64 value = 0;
    CFNumberGetValue(number, kCFNumberSInt64Type, &value);
    return plist_new_uint(static_cast<uint64_t>(value));
  }
  if (type == CFBooleanGetTypeID()) {
    return plist_new_bool(CFBooleanGetValue(static_cast<CFBooleanRef>(object)) ? 1 : 0);
  }
  if (type == CFDataGetTypeID()) {
    auto data = static_cast<CFDataRef>(object);
    return plist_new_data(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                          static_cast<uint64_t>(CFDataGetLength(data)));
  }
  if (type == CFArrayGetTypeID()) {
    return ArrayToPlist(static_cast<CFArrayRef>(object), depth);
  }
  if (type == CFDictionaryGetTypeID()) {
    return DictionaryToPlist(static_cast<CFDictionaryRef>(object), depth);
  }
  return nullptr;
}

bool IsValid(CFTypeRef object, CFPropertyListFormat format, int depth) {
  if (object == nullptr || depth > kMaxDepth) {
    return false;
  }
  const CFTypeID type = CFGetTypeID(object);
  if (type == CFStringGetTypeID() || type == CFDataGetTypeID()) {
    return true;
  }
  if (type == CFNumberGetTypeID() || type == CFBooleanGetTypeID()) {
    return format != kCFPropertyListOpenStepFormat;  // OpenStep has only strings, data and collections
  }
  if (type == CFArrayGetTypeID()) {
    auto array = static_cast<CFArrayRef>(object);
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
      if (!IsValid(CFArrayGetValueAtIndex(array, i), format, depth + 1)) {
        return false;
      }
    }
    return true;
  }
  if (type == CFDictionaryGetTypeID()) {
    auto dictionary = static_cast<CFDictionaryRef>(object);
    const auto count = static_cast<size_t>(CFDictionaryGetCount(dictionary));
    auto keys = std::make_unique<const void*[]>(count);
    auto values = std::make_unique<const void*[]>(count);
    CFDictionaryGetKeysAndValues(dictionary, keys.get(), values.get());
    for (size_t i = 0; i < count; ++i) {
      if (veneer::cf::AsString(keys[i]) == nullptr || !IsValid(values[i], format, depth + 1)) {
        return false;
      }
    }
    return true;
  }
  return false;
}

}  // namespace

extern "C" {

CFPropertyListRef CFPropertyListCreateWithData(CFAllocatorRef /*allocator*/, CFDataRef data, CFOptionFlags options,
                                               CFPropertyListFormat* format, CFErrorRef* error) {
  if (error != nullptr) {
    *error = nullptr;
  }
  if (veneer::cf::Cast<veneer::cf::Object>(data, veneer::cf::kDataTypeId) == nullptr) {
    return nullptr;
  }
  const CFIndex length = CFDataGetLength(data);
  if (length <= 0 || length > std::numeric_limits<uint32_t>::max()) {
    return nullptr;
  }
  const auto* bytes = reinterpret_cast<const char*>(CFDataGetBytePtr(data));
  const auto size = static_cast<uint32_t>(length);
  const bool binary = plist_is_binary(bytes, size) != 0;
  plist_t root = nullptr;
  if (binary) {
    plist_from_bin(bytes, size, &root);
  } else {
    plist_from_xml(bytes, size, &root);
  }
  const PlistOwned owned(root);
  CFPropertyListRef result = FromPlist(root, options, 0);
  if (result != nullptr && format != nullptr) {
    *format = binary ? kCFPropertyListBinaryFormat_v1_0 : kCFPropertyListXMLFormat_v1_0;
  }
  return result;
}

CFDataRef CFPropertyListCreateData(CFAllocatorRef /*allocator*/, CFPropertyListRef propertyList,
                                   CFPropertyListFormat format, CFOptionFlags /*options*/, CFErrorRef* error) {
  if (error != nullptr) {
    *error = nullptr;
  }
  if (format != kCFPropertyListXMLFormat_v1_0 && format != kCFPropertyListBinaryFormat_v1_0) {
    return nullptr;  // the platform does not write OpenStep either
  }
  const PlistOwned root(ToPlist(propertyList, 0));
  if (root == nullptr) {
    return nullptr;
  }
  char* bytes = nullptr;
  uint32_t length = 0;
  if (format == kCFPropertyListXMLFormat_v1_0) {
    plist_to_xml(root.get(), &bytes, &length);
  } else {
    plist_to_bin(root.get(), &bytes, &length);
  }
  if (bytes == nullptr) {
    return nullptr;
  }
  CFDataRef result = CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes), static_cast<CFIndex>(length));
  if (format == kCFPropertyListXMLFormat_v1_0) {
    plist_to_xml_free(bytes);
  } else {
    plist_to_bin_free(bytes);
  }
  return result;
}

Boolean CFPropertyListIsValid(CFPropertyListRef plist, CFPropertyListFormat format) {
  if (format != kCFPropertyListOpenStepFormat && format != kCFPropertyListXMLFormat_v1_0 &&
      format != kCFPropertyListBinaryFormat_v1_0) {
    return false;
  }
  return static_cast<Boolean>(IsValid(plist, format, 0));
}

}  // extern "C"
