// CFDictionary: a hash map whose hashing, equality and ownership follow its callbacks.
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFString.h>

#include <unordered_map>
#include <utility>
#include <vector>

#include "cf/Object.h"
#include "cf/TypeCallBacks.h"

namespace {

struct KeyHash {
  const CFDictionaryKeyCallBacks* callBacks;
  size_t operator()(const void* key) const {
    return callBacks->hash != nullptr ? callBacks->hash(key) : std::hash<const void*>{}(key);
  }
};

struct KeyEqual {
  const CFDictionaryKeyCallBacks* callBacks;
  bool operator()(const void* a, const void* b) const {
    return a == b || (callBacks->equal != nullptr && callBacks->equal(a, b));
  }
};

using Table = std::unordered_map<const void*, const void*, KeyHash, KeyEqual>;

// Keys of the copying callbacks: strings are copied (shared when immutable), other objects retained.
const void* CopyStringKey(CFAllocatorRef allocator, const void* key) {
  if (CFGetTypeID(key) == CFStringGetTypeID()) {
    return CFStringCreateCopy(allocator, static_cast<CFStringRef>(key));
  }
  return CFRetain(key);
}

}  // namespace

struct __CFDictionary final : veneer::cf::Object {
  __CFDictionary(const CFDictionaryKeyCallBacks* keys, const CFDictionaryValueCallBacks* values, bool isMutableDict)
      : Object(veneer::cf::kDictionaryTypeId),
        keyCallBacks(keys != nullptr ? *keys : CFDictionaryKeyCallBacks{}),
        valueCallBacks(values != nullptr ? *values : CFDictionaryValueCallBacks{}),
        table(0, KeyHash{&keyCallBacks}, KeyEqual{&keyCallBacks}),
        isMutable(isMutableDict) {}
  ~__CFDictionary() override { Clear(); }

  const void* TakeKey(const void* key) const {
    return keyCallBacks.retain != nullptr ? keyCallBacks.retain(nullptr, key) : key;
  }
  const void* TakeValue(const void* value) const {
    return valueCallBacks.retain != nullptr ? valueCallBacks.retain(nullptr, value) : value;
  }
  void DropKey(const void* key) const {
    if (keyCallBacks.release != nullptr) {
      keyCallBacks.release(nullptr, key);
    }
  }
  void DropValue(const void* value) const {
    if (valueCallBacks.release != nullptr) {
      valueCallBacks.release(nullptr, value);
    }
  }
  [[nodiscard]] bool SameValue(const void* a, const void* b) const {
    return a == b || (valueCallBacks.equal != nullptr && valueCallBacks.equal(a, b));
  }

  void Add(const void* key, const void* value) {
    if (table.find(key) == table.end()) {
      table.emplace(TakeKey(key), TakeValue(value));
    }
  }
  void Replace(Table::iterator it, const void* value) {
    // Take the new value before dropping the old: they may be the same object.
    const void* old = it->second;
    it->second = TakeValue(value);
    DropValue(old);
  }
  void Clear() {
    Table old(0, KeyHash{&keyCallBacks}, KeyEqual{&keyCallBacks});
    old.swap(table);
    for (const auto& [key, value] : old) {
      DropValue(value);
      DropKey(key);
    }
  }

  [[nodiscard]] bool Equal(const Object& other) const override {
    const auto& that = static_cast<const __CFDictionary&>(other);
    if (table.size() != that.table.size()) {
      return false;
    }
    for (const auto& [key, value] : table) {
      const auto it = that.table.find(key);
      if (it == that.table.end() || !SameValue(value, it->second)) {
        return false;
      }
    }
    return true;
  }
  // Equal dictionaries have equal counts; the platform hashes by count too.
  [[nodiscard]] CFHashCode Hash() const override { return table.size(); }
  [[nodiscard]] std::string Describe() const override {
    std::string text = "{\n";
    for (const auto& [key, value] : table) {
      text += "    " + veneer::cf::DescribeValue(key, keyCallBacks.copyDescription) + " = " +
              veneer::cf::DescribeValue(value, valueCallBacks.copyDescription) + ";\n";
    }
    return text + "}";
  }

  CFDictionaryKeyCallBacks keyCallBacks;
  CFDictionaryValueCallBacks valueCallBacks;
  Table table;
  bool isMutable;
};

namespace {

const __CFDictionary* AsDictionary(CFTypeRef ref) {
  return veneer::cf::Cast<__CFDictionary>(ref, veneer::cf::kDictionaryTypeId);
}

__CFDictionary* AsMutableDictionary(CFTypeRef ref) {
  auto* dict = veneer::cf::CastMutable<__CFDictionary>(ref, veneer::cf::kDictionaryTypeId);
  return dict != nullptr && dict->isMutable ? dict : nullptr;
}

__CFDictionary* CopyDictionary(const __CFDictionary& source, bool isMutable) {
  auto* copy = new __CFDictionary(&source.keyCallBacks, &source.valueCallBacks, isMutable);
  copy->table.reserve(source.table.size());
  for (const auto& [key, value] : source.table) {
    copy->Add(key, value);
  }
  return copy;
}

}  // namespace

extern "C" {

const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks = {0,
                                                                veneer::cf::RetainTypeCallBack,
                                                                veneer::cf::ReleaseTypeCallBack,
                                                                veneer::cf::CopyTypeDescriptionCallBack,
                                                                veneer::cf::EqualTypesCallBack,
                                                                veneer::cf::HashTypeCallBack};
const CFDictionaryKeyCallBacks kCFCopyStringDictionaryKeyCallBacks = {0,
                                                                      CopyStringKey,
                                                                      veneer::cf::ReleaseTypeCallBack,
                                                                      veneer::cf::CopyTypeDescriptionCallBack,
                                                                      veneer::cf::EqualTypesCallBack,
                                                                      veneer::cf::HashTypeCallBack};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks = {
    0, veneer::cf::RetainTypeCallBack, veneer::cf::ReleaseTypeCallBack, veneer::cf::CopyTypeDescriptionCallBack,
    veneer::cf::EqualTypesCallBack};

CFTypeID CFDictionaryGetTypeID(void) { return veneer::cf::kDictionaryTypeId; }

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values, CFIndex numValues,
                                   const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks) {
  if (numValues < 0 || ((keys == nullptr || values == nullptr) && numValues > 0)) {
    return nullptr;
  }
  auto* dict = new __CFDictionary(keyCallBacks, valueCallBacks, false);
  dict->table.reserve(static_cast<size_t>(numValues));
  for (CFIndex i = 0; i < numValues; ++i) {
    dict->Add(keys[i], values[i]);
  }
  return dict;
}

CFDictionaryRef CFDictionaryCreateCopy(CFAllocatorRef, CFDictionaryRef theDict) {
  const __CFDictionary* dict = AsDictionary(theDict);
  return dict == nullptr ? nullptr : CopyDictionary(*dict, false);
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks) {
  return capacity < 0 ? nullptr : new __CFDictionary(keyCallBacks, valueCallBacks, true);
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFDictionaryRef theDict) {
  const __CFDictionary* dict = AsDictionary(theDict);
  return dict == nullptr || capacity < 0 ? nullptr : CopyDictionary(*dict, true);
}

CFIndex CFDictionaryGetCount(CFDictionaryRef theDict) {
  const __CFDictionary* dict = AsDictionary(theDict);
  return dict == nullptr ? 0 : static_cast<CFIndex>(dict->table.size());
}

CFIndex CFDictionaryGetCountOfKey(CFDictionaryRef theDict, const void* key) {
  return CFDictionaryContainsKey(theDict, key) ? 1 : 0;
}

CFIndex CFDictionaryGetCountOfValue(CFDictionaryRef theDict, const void* value) {
  const __CFDictionary* dict = AsDictionary(theDict);
  if (dict == nullptr) {
    return 0;
  }
  CFIndex count = 0;
  for (const auto& entry : dict->table) {
    count += dict->SameValue(entry.second, value) ? 1 : 0;
  }
  return count;
}

Boolean CFDictionaryContainsKey(CFDictionaryRef theDict, const void* key) {
  const __CFDictionary* dict = AsDictionary(theDict);
  return dict != nullptr && dict->table.find(key) != dict->table.end();
}

Boolean CFDictionaryContainsValue(CFDictionaryRef theDict, const void* value) {
  return CFDictionaryGetCountOfValue(theDict, value) > 0;
}

Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef theDict, const void* key, const void** value) {
  const __CFDictionary* dict = AsDictionary(theDict);
  if (dict == nullptr) {
    return false;
  }
  const auto it = dict->table.find(key);
  if (it == dict->table.end()) {
    return false;
  }
  if (value != nullptr) {
    *value = it->second;
  }
  return true;
}

const void* CFDictionaryGetValue(CFDictionaryRef theDict, const void* key) {
  const void* value = nullptr;
  return CFDictionaryGetValueIfPresent(theDict, key, &value) ? value : nullptr;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef theDict, const void** keys, const void** values) {
  const __CFDictionary* dict = AsDictionary(theDict);
  if (dict == nullptr) {
    return;
  }
  size_t i = 0;
  for (const auto& [key, value] : dict->table) {
    if (keys != nullptr) {
      keys[i] = key;
    }
    if (values != nullptr) {
      values[i] = value;
    }
    ++i;
  }
}

void CFDictionaryApplyFunction(CFDictionaryRef theDict, CFDictionaryApplierFunction applier, void* context) {
  const __CFDictionary* dict = AsDictionary(theDict);
  if (dict == nullptr || applier == nullptr) {
    return;
  }
  // A snapshot, so that an applier that (wrongly) mutates cannot break the walk.
  const std::vector<std::pair<const void*, const void*>> entries(dict->table.begin(), dict->table.end());
  for (const auto& [key, value] : entries) {
    applier(key, value, context);
  }
}

void CFDictionaryAddValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
  if (__CFDictionary* dict = AsMutableDictionary(theDict)) {
    dict->Add(key, value);
  }
}

void CFDictionarySetValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
  __CFDictionary* dict = AsMutableDictionary(theDict);
  if (dict == nullptr) {
    return;
  }
  const auto it = dict->table.find(key);
  if (it != dict->table.end()) {
    dict->Replace(it, value);
  } else {
    dict->Add(key, value);
  }
}

void CFDictionaryReplaceValue(CFMutableDictionaryRef theDict, const void* key, const void* value) {
  __CFDictionary* dict = AsMutableDictionary(theDict);
  if (dict == nullptr) {
    return;
  }
  const auto it = dict->table.find(key);
  if (it != dict->table.end()) {
    dict->Replace(it, value);
  }
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef theDict, const void* key) {
  __CFDictionary* dict = AsMutableDictionary(theDict);
  if (dict == nullptr) {
    return;
  }
  const auto it = dict->table.find(key);
  if (it == dict->table.end()) {
    return;
  }
  const std::pair<const void*, const void*> entry = *it;
  dict->table.erase(it);
  dict->DropValue(entry.second);
  dict->DropKey(entry.first);
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef theDict) {
  if (__CFDictionary* dict = AsMutableDictionary(theDict)) {
    dict->Clear();
  }
}

}  // extern "C"
