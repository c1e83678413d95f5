// Ownership helper for the CoreFoundation tests: releases a create-rule reference.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>

#include <memory>
#include <string>
#include <type_traits>

struct CFReleaser {
  void operator()(const void* ref) const { CFRelease(ref); }
};

template <typename Ref>
using CFOwned = std::unique_ptr<std::remove_pointer_t<Ref>, CFReleaser>;

template <typename Ref>
CFOwned<Ref> Adopt(Ref ref) {
  return CFOwned<Ref>(ref);
}

inline CFOwned<CFStringRef> MakeString(const char* utf8) {
  return Adopt(CFStringCreateWithCString(nullptr, utf8, kCFStringEncodingUTF8));
}

// The string's UTF-8 text, or "<null>" when it cannot be read.
inline std::string Utf8(CFStringRef string) {
  if (string == nullptr) {
    return "<null>";
  }
  const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
  std::string text(static_cast<size_t>(size), '\0');
  if (!CFStringGetCString(string, text.data(), size, kCFStringEncodingUTF8)) {
    return "<unreadable>";
  }
  text.resize(std::char_traits<char>::length(text.c_str()));
  return text;
}

// The UTF-8 text of a string the caller owns (create or copy rule), which it releases.
inline std::string Utf8Of(CFStringRef owned) { return Utf8(Adopt(owned).get()); }
