// CFArray: a vector of values whose ownership the array's callbacks decide.
#include <CoreFoundation/CFArray.h>

#include <vector>

#include "cf/Object.h"
#include "cf/TypeCallBacks.h"

struct __CFArray final : veneer::cf::Object {
  __CFArray(const CFArrayCallBacks* cb, bool isMutableArray)
      : Object(veneer::cf::kArrayTypeId),
        callBacks(cb != nullptr ? *cb : CFArrayCallBacks{}),
        isMutable(isMutableArray) {}
  ~__CFArray() override {
    for (const void* value : values) {
      Drop(value);
    }
  }

  const void* Take(const void* value) const {
    return callBacks.retain != nullptr ? callBacks.retain(nullptr, value) : value;
  }
  void Drop(const void* value) const {
    if (callBacks.release != nullptr) {
      callBacks.release(nullptr, value);
    }
  }
  [[nodiscard]] bool Same(const void* a, const void* b) const {
    return a == b || (callBacks.equal != nullptr && callBacks.equal(a, b));
  }

  [[nodiscard]] bool Equal(const Object& other) const override {
    const auto& that = static_cast<const __CFArray&>(other);
    if (values.size() != that.values.size()) {
      return false;
    }
    for (size_t i = 0; i < values.size(); ++i) {
      if (!Same(values[i], that.values[i])) {
        return false;
      }
    }
    return true;
  }
  // Equal arrays have equal counts; the platform hashes by count too.
  [[nodiscard]] CFHashCode Hash() const override { return values.size(); }
  [[nodiscard]] std::string Describe() const override {
    std::string text = "(\n";
    for (size_t i = 0; i < values.size(); ++i) {
      text += "    " + veneer::cf::DescribeValue(values[i], callBacks.copyDescription);
      text += i + 1 < values.size() ? ",\n" : "\n";
    }
    return text + ")";
  }

  CFArrayCallBacks callBacks;
  std::vector<const void*> values;
  bool isMutable;
};

namespace {

const __CFArray* AsArray(CFTypeRef ref) { return veneer::cf::Cast<__CFArray>(ref, veneer::cf::kArrayTypeId); }

__CFArray* AsMutableArray(CFTypeRef ref) {
  auto* array = veneer::cf::CastMutable<__CFArray>(ref, veneer::cf::kArrayTypeId);
  return array != nullptr && array->isMutable ? array : nullptr;
}

bool InRange(const __CFArray& array, CFRange range) {
  return range.location >= 0 && range.length >= 0 &&
         range.location + range.length <= static_cast<CFIndex>(array.values.size());
}

__CFArray* CopyArray(const __CFArray& source, bool isMutable) {
  auto* copy = new __CFArray(&source.callBacks, isMutable);
  copy->values.reserve(source.values.size());
  for (const void* value : source.values) {
    copy->values.push_back(copy->Take(value));
  }
  return copy;
}

}  // namespace

extern "C" {

const CFArrayCallBacks kCFTypeArrayCallBacks = {0, veneer::cf::RetainTypeCallBack, veneer::cf::ReleaseTypeCallBack,
                                                veneer::cf::CopyTypeDescriptionCallBack,
                                                veneer::cf::EqualTypesCallBack};

CFTypeID CFArrayGetTypeID(void) { return veneer::cf::kArrayTypeId; }

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex numValues, const CFArrayCallBacks* callBacks) {
  if (numValues < 0 || (values == nullptr && numValues > 0)) {
    return nullptr;
  }
  auto* array = new __CFArray(callBacks, false);
  array->values.reserve(static_cast<size_t>(numValues));
  for (CFIndex i = 0; i < numValues; ++i) {
    array->values.push_back(array->Take(values[i]));
  }
  return array;
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef, CFArrayRef theArray) {
  const __CFArray* array = AsArray(theArray);
  return array == nullptr ? nullptr : CopyArray(*array, false);
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex capacity, const CFArrayCallBacks* callBacks) {
  return capacity < 0 ? nullptr : new __CFArray(callBacks, true);
}

CFMutableArrayRef CFArrayCreateMutableCopy(CFAllocatorRef, CFIndex capacity, CFArrayRef theArray) {
  const __CFArray* array = AsArray(theArray);
  return array == nullptr || capacity < 0 ? nullptr : CopyArray(*array, true);
}

CFIndex CFArrayGetCount(CFArrayRef theArray) {
  const __CFArray* array = AsArray(theArray);
  return array == nullptr ? 0 : static_cast<CFIndex>(array->values.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef theArray, CFIndex idx) {
  const __CFArray* array = AsArray(theArray);
  if (array == nullptr || idx < 0 || idx >= static_cast<CFIndex>(array->values.size())) {
    return nullptr;
  }
  return array->values[static_cast<size_t>(idx)];
}

void CFArrayGetValues(CFArrayRef theArray, CFRange range, const void** values) {
  const __CFArray* array = AsArray(theArray);
  if (array == nullptr || values == nullptr || !InRange(*array, range)) {
    return;
  }
  for (CFIndex i = 0; i < range.length; ++i) {
    values[i] = array->values[static_cast<size_t>(range.location + i)];
  }
}

CFIndex CFArrayGetFirstIndexOfValue(CFArrayRef theArray, CFRange range, const void* value) {
  const __CFArray* array = AsArray(theArray);
  if (array == nullptr || !InRange(*array, range)) {
    return kCFNotFound;
  }
  for (CFIndex i = range.location; i < range.location + range.length; ++i) {
    if (array->Same(array->values[static_cast<size_t>(i)], value)) {
      return i;
    }
  }
  return kCFNotFound;
}

Boolean CFArrayContainsValue(CFArrayRef theArray, CFRange range, const void* value) {
  return CFArrayGetFirstIndexOfValue(theArray, range, value) != kCFNotFound;
}

void CFArrayApplyFunction(CFArrayRef theArray, CFRange range, CFArrayApplierFunction applier, void* context) {
  const __CFArray* array = AsArray(theArray);
  if (array == nullptr || applier == nullptr || !InRange(*array, range)) {
    return;
  }
  // The applier may not mutate the array; recheck the bounds anyway rather than crash.
  for (CFIndex i = range.location; i < range.location + range.length; ++i) {
    if (i >= static_cast<CFIndex>(array->values.size())) {
      return;
    }
    applier(array->values[static_cast<size_t>(i)], context);
  }
}

void CFArrayInsertValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value) {
  __CFArray* array = AsMutableArray(theArray);
  if (array == nullptr || idx < 0 || idx > static_cast<CFIndex>(array->values.size())) {
    return;
  }
  array->values.insert(array->values.begin() + idx, array->Take(value));
}

void CFArrayAppendValue(CFMutableArrayRef theArray, const void* value) {
  CFArrayInsertValueAtIndex(theArray, CFArrayGetCount(theArray), value);
}

void CFArraySetValueAtIndex(CFMutableArrayRef theArray, CFIndex idx, const void* value) {
  __CFArray* array = AsMutableArray(theArray);
  if (array == nullptr || idx < 0 || idx > static_cast<CFIndex>(array->values.size())) {
    return;
  }
  if (idx == static_cast<CFIndex>(array->values.size())) {
    array->values.push_back(array->Take(value));
    return;
  }
  // Take the new value before dropping the old: they may be the same object.
  const void* taken = array->Take(value);
  const void* old = array->values[static_cast<size_t>(idx)];
  array->values[static_cast<size_t>(idx)] = taken;
  array->Drop(old);
}

void CFArrayRemoveValueAtIndex(CFMutableArrayRef theArray, CFIndex idx) {
  __CFArray* array = AsMutableArray(theArray);
  if (array == nullptr || idx < 0 || idx >= static_cast<CFIndex>(array->values.size())) {
    return;
  }
  const void* old = array->values[static_cast<size_t>(idx)];
  array->values.erase(array->values.begin() + idx);
  array->Drop(old);
}

void CFArrayRemoveAllValues(CFMutableArrayRef theArray) {
  __CFArray* array = AsMutableArray(theArray);
  if (array == nullptr) {
    return;
  }
  std::vector<const void*> old;
  old.swap(array->values);
  for (const void* value : old) {
    array->Drop(value);
  }
}

}  // extern "C"
