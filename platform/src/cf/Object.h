// The object model behind every CoreFoundation reference: a reference count
// and a type whose virtual functions answer CFEqual, CFHash and CFCopyDescription.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <string>

namespace veneer::cf {

// Type ids handed out by the ...GetTypeID functions.
enum TypeId : CFTypeID {
  kNullTypeId = 1,
  kAllocatorTypeId,
  kStringTypeId,
  kNumberTypeId,
  kBooleanTypeId,
  kDataTypeId,
  kDictionaryTypeId,
  kArrayTypeId,
  kURLTypeId,
  kBundleTypeId,
  kRunLoopTypeId,
};

class Object {
 public:
  explicit Object(CFTypeID typeId) : typeId_(typeId) {}
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object() = default;

  [[nodiscard]] CFTypeID TypeId() const { return typeId_; }

  // Objects of the same type id are compared with this; the default is identity.
  [[nodiscard]] virtual bool Equal(const Object& other) const { return this == &other; }
  [[nodiscard]] virtual CFHashCode Hash() const { return reinterpret_cast<CFHashCode>(this); }
  [[nodiscard]] virtual std::string Describe() const;
  // What %@ prints; numbers print their bare value, most types their description.
  [[nodiscard]] virtual std::string FormattingDescription() const { return Describe(); }

  // [any thread]
  void Retain();
  // [any thread] Deletes the object when the last reference goes.
  void Release();
  // [any thread]
  [[nodiscard]] CFIndex RetainCount() const;

  // Constants (CFSTR strings, kCFBooleanTrue, the main run loop) live for the
  // whole process: retain and release leave them alone.
  void MakeImmortal() { immortal_ = true; }

 private:
  CFTypeID typeId_;
  std::atomic<CFIndex> refs_{1};
  bool immortal_ = false;
};

inline const Object* AsObject(CFTypeRef ref) { return static_cast<const Object*>(ref); }
inline Object* AsMutableObject(CFTypeRef ref) {
  return const_cast<Object*>(static_cast<const Object*>(ref));  // NOLINT(cppcoreguidelines-pro-type-const-cast)
}

// Downcast after checking the type id; null when `ref` is null or of another type.
template <typename T>
const T* Cast(CFTypeRef ref, CFTypeID typeId) {
  if (ref == nullptr || AsObject(ref)->TypeId() != typeId) {
    return nullptr;
  }
  return static_cast<const T*>(AsObject(ref));
}
template <typename T>
T* CastMutable(CFTypeRef ref, CFTypeID typeId) {
  return const_cast<T*>(Cast<T>(ref, typeId));  // NOLINT(cppcoreguidelines-pro-type-const-cast)
}

// Hands out a new CFString holding `text` (UTF-8); the caller owns it.
CFStringRef CreateString(const std::string& text);

}  // namespace veneer::cf
