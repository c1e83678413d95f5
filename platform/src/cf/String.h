// The CFString object: UTF-8 text with its UTF-16 length, as the platform counts.
#pragma once

#include <CoreFoundation/CFString.h>

#include <string>

#include "cf/Object.h"

struct __CFString final : veneer::cf::Object {
  explicit __CFString(std::string text, bool isMutable = false);

  [[nodiscard]] bool Equal(const Object& other) const override;
  [[nodiscard]] CFHashCode Hash() const override;
  [[nodiscard]] std::string Describe() const override { return utf8; }

  // Recounts the UTF-16 length after the text changed.
  void TextChanged();

  std::string utf8;
  CFIndex utf16Length = 0;
  bool isMutable;
};

namespace veneer::cf {

inline const __CFString* AsString(CFTypeRef ref) { return Cast<__CFString>(ref, kStringTypeId); }

// Number of UTF-16 code units of well-formed or not UTF-8 (bad bytes count one each).
CFIndex Utf16Length(const std::string& utf8);

// Decodes `count` bytes in `encoding` into stored text; false when the bytes are
// not valid in that encoding or the encoding is not supported.
bool DecodeBytes(const UInt8* bytes, CFIndex count, CFStringEncoding encoding, bool externalRepresentation,
                 std::string* text);

}  // namespace veneer::cf
