#include "cf/Object.h"

#include <CoreFoundation/CFString.h>

#include <cstdio>
#include <cstdlib>

namespace veneer::cf {

std::string Object::Describe() const {
  char text[64];
  std::snprintf(text, sizeof text, "<CFType %p [type %lu]>", static_cast<const void*>(this), typeId_);
  return text;
}

void Object::Retain() {
  if (!immortal_) {
    refs_.fetch_add(1, std::memory_order_relaxed);
  }
}

void Object::Release() {
  if (immortal_) {
    return;
  }
  if (refs_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    delete this;
  }
}

CFIndex Object::RetainCount() const {
  // The platform reports a very large count for objects that never go away.
  return immortal_ ? static_cast<CFIndex>(0x7FFFFFFFFFFFFFFFL) : refs_.load(std::memory_order_relaxed);
}

}  // namespace veneer::cf

namespace {

using veneer::cf::AsMutableObject;
using veneer::cf::AsObject;

struct NullObject : veneer::cf::Object {
  NullObject() : Object(veneer::cf::kNullTypeId) { MakeImmortal(); }
  [[nodiscard]] std::string Describe() const override { return "<CFNull>"; }
};

}  // namespace

struct __CFNull : NullObject {};

struct __CFAllocator final : veneer::cf::Object {
  __CFAllocator() : Object(veneer::cf::kAllocatorTypeId) { MakeImmortal(); }
  [[nodiscard]] std::string Describe() const override { return "<CFAllocator>"; }
};

namespace {
__CFNull gNull;
__CFAllocator gSystemAllocator;
__CFAllocator gMallocAllocator;
__CFAllocator gNullAllocator;
}  // namespace

extern "C" {

const CFNullRef kCFNull = &gNull;
// kCFAllocatorDefault is NULL on the platform: "use the default allocator".
const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorSystemDefault = &gSystemAllocator;
const CFAllocatorRef kCFAllocatorMalloc = &gMallocAllocator;
const CFAllocatorRef kCFAllocatorNull = &gNullAllocator;

CFTypeID CFNullGetTypeID(void) { return veneer::cf::kNullTypeId; }
CFTypeID CFAllocatorGetTypeID(void) { return veneer::cf::kAllocatorTypeId; }
CFAllocatorRef CFAllocatorGetDefault(void) { return &gSystemAllocator; }

CFTypeID CFGetTypeID(CFTypeRef cf) { return cf == nullptr ? 0 : AsObject(cf)->TypeId(); }

CFTypeRef CFRetain(CFTypeRef cf) {
  if (cf != nullptr) {
    AsMutableObject(cf)->Retain();
  }
  return cf;
}

void CFRelease(CFTypeRef cf) {
  if (cf != nullptr) {
    AsMutableObject(cf)->Release();
  }
}

CFIndex CFGetRetainCount(CFTypeRef cf) { return cf == nullptr ? 0 : AsObject(cf)->RetainCount(); }

Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2) {
  if (cf1 == cf2) {
    return cf1 != nullptr;
  }
  if (cf1 == nullptr || cf2 == nullptr) {
    return false;
  }
  const auto* a = AsObject(cf1);
  const auto* b = AsObject(cf2);
  return a->TypeId() == b->TypeId() && a->Equal(*b);
}

CFHashCode CFHash(CFTypeRef cf) { return cf == nullptr ? 0 : AsObject(cf)->Hash(); }

CFStringRef CFCopyDescription(CFTypeRef cf) {
  if (cf == nullptr) {
    return nullptr;
  }
  return veneer::cf::CreateString(AsObject(cf)->Describe());
}

CFStringRef CFCopyTypeIDDescription(CFTypeID typeId) {
  static const char* const kNames[] = {"",       "CFNull",       "CFAllocator", "CFString", "CFNumber", "CFBoolean",
                                       "CFData", "CFDictionary", "CFArray",     "CFURL",    "CFBundle", "CFRunLoop"};
  if (typeId == 0 || typeId >= sizeof kNames / sizeof kNames[0]) {
    return nullptr;
  }
  return veneer::cf::CreateString(kNames[typeId]);
}

CFAllocatorRef CFGetAllocator(CFTypeRef cf) { return cf == nullptr ? nullptr : &gSystemAllocator; }

void CFShow(CFTypeRef obj) {
  if (obj == nullptr) {
    std::fputs("(null)\n", stderr);
    return;
  }
  std::fprintf(stderr, "%s\n", AsObject(obj)->Describe().c_str());
}

}  // extern "C"
