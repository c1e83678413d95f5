// CFString conversions from and to byte encodings.
#include <algorithm>
#include <bit>
#include <cstring>

#include "cf/String.h"
#include "cf/Unicode.h"

namespace {

using veneer::cf::AsString;

// Windows code page 1252 differs from ISO Latin 1 only in 0x80-0x9F; zero marks a hole.
constexpr char16_t kWindowsLatin1High[32] = {0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                             0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
                                             0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                             0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

bool IsSingleByteEncoding(CFStringEncoding encoding) {
  return encoding == kCFStringEncodingASCII || encoding == kCFStringEncodingISOLatin1 ||
         encoding == kCFStringEncodingMacRoman || encoding == kCFStringEncodingWindowsLatin1;
}

bool IsUtf16(CFStringEncoding e) {
  return e == kCFStringEncodingUTF16 || e == kCFStringEncodingUTF16BE || e == kCFStringEncodingUTF16LE;
}
bool IsUtf32(CFStringEncoding e) {
  return e == kCFStringEncodingUTF32 || e == kCFStringEncodingUTF32BE || e == kCFStringEncodingUTF32LE;
}
bool IsBigEndian(CFStringEncoding e) {
  if (e == kCFStringEncodingUTF16BE || e == kCFStringEncodingUTF32BE) {
    return true;
  }
  if (e == kCFStringEncodingUTF16LE || e == kCFStringEncodingUTF32LE) {
    return false;
  }
  return std::endian::native == std::endian::big;
}

// Code point of `byte`, or -1 when the encoding has none. MacRoman is read as
// Latin 1: both agree on ASCII, which is all the project stores in it.
long DecodeSingleByte(UInt8 byte, CFStringEncoding encoding) {
  if (byte < 0x80) {
    return byte;
  }
  if (encoding == kCFStringEncodingASCII) {
    return -1;
  }
  if (encoding == kCFStringEncodingWindowsLatin1 && byte < 0xA0) {
    const char16_t cp = kWindowsLatin1High[byte - 0x80];
    return cp == 0 ? -1 : cp;
  }
  return byte;
}

long EncodeSingleByte(char32_t cp, CFStringEncoding encoding) {
  if (cp < 0x80) {
    return static_cast<long>(cp);
  }
  if (encoding == kCFStringEncodingASCII) {
    return -1;
  }
  if (encoding == kCFStringEncodingWindowsLatin1) {
    for (int i = 0; i < 32; ++i) {
      if (kWindowsLatin1High[i] == cp) {
        return 0x80 + i;
      }
    }
    return cp >= 0xA0 && cp <= 0xFF ? static_cast<long>(cp) : -1;
  }
  return cp <= 0xFF ? static_cast<long>(cp) : -1;
}

UInt32 ReadUnit(const UInt8* p, int width, bool bigEndian) {
  UInt32 value = 0;
  for (int i = 0; i < width; ++i) {
    const int shift = bigEndian ? 8 * (width - 1 - i) : 8 * i;
    value |= static_cast<UInt32>(p[i]) << shift;
  }
  return value;
}

void WriteUnit(UInt8* p, UInt32 value, int width, bool bigEndian) {
  for (int i = 0; i < width; ++i) {
    const int shift = bigEndian ? 8 * (width - 1 - i) : 8 * i;
    p[i] = static_cast<UInt8>(value >> shift);
  }
}

// Reads a byte order mark for the unmarked UTF-16/UTF-32 encodings; returns its size.
int TakeByteOrderMark(const UInt8* bytes, CFIndex count, int width, bool* bigEndian) {
  if (count < width) {
    return 0;
  }
  if (ReadUnit(bytes, width, true) == 0xFEFF) {
    *bigEndian = true;
    return width;
  }
  if (ReadUnit(bytes, width, false) == 0xFEFF) {
    *bigEndian = false;
    return width;
  }
  return 0;
}

// Bytes of one character (code point or lone surrogate) in `encoding`; empty when
// the encoding cannot represent it.
std::string EncodeCharacter(char32_t cp, CFStringEncoding encoding) {
  std::string out;
  const bool lone = cp >= 0xD800 && cp <= 0xDFFF;
  if (encoding == kCFStringEncodingUTF8) {
    if (!lone) {
      veneer::cf::AppendUtf8(out, cp);
    }
  } else if (IsSingleByteEncoding(encoding)) {
    const long byte = EncodeSingleByte(cp, encoding);
    if (byte >= 0) {
      out += static_cast<char>(byte);
    }
  } else if (IsUtf16(encoding)) {
    UInt8 unit[4];
    if (cp >= 0x10000) {
      WriteUnit(unit, 0xD800 + ((cp - 0x10000) >> 10), 2, IsBigEndian(encoding));
      WriteUnit(unit + 2, 0xDC00 + ((cp - 0x10000) & 0x3FF), 2, IsBigEndian(encoding));
      out.assign(reinterpret_cast<const char*>(unit), 4);
    } else {
      WriteUnit(unit, cp, 2, IsBigEndian(encoding));
      out.assign(reinterpret_cast<const char*>(unit), 2);
    }
  } else if (IsUtf32(encoding) && !lone) {
    UInt8 unit[4];
    WriteUnit(unit, cp, 4, IsBigEndian(encoding));
    out.assign(reinterpret_cast<const char*>(unit), 4);
  }
  return out;
}

bool IsSupported(CFStringEncoding e) {
  return e == kCFStringEncodingUTF8 || IsSingleByteEncoding(e) || IsUtf16(e) || IsUtf32(e);
}

}  // namespace

namespace veneer::cf {

bool DecodeBytes(const UInt8* bytes, CFIndex count, CFStringEncoding encoding, bool externalRepresentation,
                 std::string* text) {
  (void)externalRepresentation;  // marks are honoured whenever the encoding leaves the order open
  text->clear();
  if (count < 0 || (bytes == nullptr && count > 0)) {
    return false;
  }
  if (encoding == kCFStringEncodingUTF8) {
    std::string_view view(reinterpret_cast<const char*>(bytes), static_cast<size_t>(count));
    if (view.substr(0, 3) == "\xEF\xBB\xBF") {
      view.remove_prefix(3);
    }
    if (!IsValidUtf8(view)) {
      return false;
    }
    text->assign(view);
    return true;
  }
  if (IsSingleByteEncoding(encoding)) {
    for (CFIndex i = 0; i < count; ++i) {
      const long cp = DecodeSingleByte(bytes[i], encoding);
      if (cp < 0) {
        return false;
      }
      AppendUtf8(*text, static_cast<char32_t>(cp));
    }
    return true;
  }
  if (IsUtf16(encoding) || IsUtf32(encoding)) {
    const int width = IsUtf16(encoding) ? 2 : 4;
    bool bigEndian = IsBigEndian(encoding);
    CFIndex offset = 0;
    if (encoding == kCFStringEncodingUTF16 || encoding == kCFStringEncodingUTF32) {
      offset = TakeByteOrderMark(bytes, count, width, &bigEndian);
    }
    if ((count - offset) % width != 0) {
      return false;
    }
    if (width == 2) {
      std::u16string units;
      for (CFIndex i = offset; i < count; i += 2) {
        units += static_cast<char16_t>(ReadUnit(bytes + i, 2, bigEndian));
      }
      *text = FromUtf16(reinterpret_cast<const UniChar*>(units.data()), units.size());
      return true;
    }
    for (CFIndex i = offset; i < count; i += 4) {
      const UInt32 cp = ReadUnit(bytes + i, 4, bigEndian);
      if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
        return false;
      }
      AppendUtf8(*text, cp);
    }
    return true;
  }
  return false;
}

}  // namespace veneer::cf

extern "C" {

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8* bytes, CFIndex numBytes, CFStringEncoding encoding,
                                    Boolean isExternalRepresentation) {
  std::string text;
  if (!veneer::cf::DecodeBytes(bytes, numBytes, encoding, isExternalRepresentation != 0, &text)) {
    return nullptr;
  }
  return new __CFString(std::move(text));
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding) {
  if (cStr == nullptr) {
    return nullptr;
  }
  return CFStringCreateWithBytes(alloc, reinterpret_cast<const UInt8*>(cStr), static_cast<CFIndex>(std::strlen(cStr)),
                                 encoding, false);
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef, const UniChar* chars, CFIndex numChars) {
  if (numChars < 0 || (chars == nullptr && numChars > 0)) {
    return nullptr;
  }
  return new __CFString(veneer::cf::FromUtf16(chars, static_cast<size_t>(numChars)));
}

void CFStringAppendCString(CFMutableStringRef theString, const char* cStr, CFStringEncoding encoding) {
  auto* string = veneer::cf::CastMutable<__CFString>(theString, veneer::cf::kStringTypeId);
  std::string text;
  if (string == nullptr || !string->isMutable || cStr == nullptr ||
      !veneer::cf::DecodeBytes(reinterpret_cast<const UInt8*>(cStr), static_cast<CFIndex>(std::strlen(cStr)), encoding,
                               false, &text)) {
    return;
  }
  veneer::cf::AppendStoredText(string->utf8, text);
  string->TextChanged();
}

CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                         Boolean isExternalRepresentation, UInt8* buffer, CFIndex maxBufLen, CFIndex* usedBufLen) {
  if (usedBufLen != nullptr) {
    *usedBufLen = 0;
  }
  const __CFString* string = AsString(theString);
  if (string == nullptr || !IsSupported(encoding) || range.location < 0 || range.length < 0 ||
      range.location + range.length > string->utf16Length) {
    return 0;
  }
  const std::u16string units = veneer::cf::ToUtf16(string->utf8);
  CFIndex used = 0;
  const auto emit = [&](const std::string& bytes) {
    if (buffer != nullptr) {
      if (used + static_cast<CFIndex>(bytes.size()) > maxBufLen) {
        return false;
      }
      std::memcpy(buffer + used, bytes.data(), bytes.size());
    }
    used += static_cast<CFIndex>(bytes.size());
    return true;
  };
  if (isExternalRepresentation && (encoding == kCFStringEncodingUTF16 || encoding == kCFStringEncodingUTF32)) {
    if (!emit(EncodeCharacter(0xFEFF, encoding))) {
      return 0;
    }
  }
  const CFIndex end = range.location + range.length;
  CFIndex converted = 0;
  for (CFIndex i = range.location; i < end;) {
    char32_t cp = units[static_cast<size_t>(i)];
    CFIndex consumed = 1;
    if (veneer::cf::IsHighSurrogate(cp) && i + 1 < end && veneer::cf::IsLowSurrogate(units[i + 1])) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (units[i + 1] - 0xDC00);
      consumed = 2;
    }
    std::string bytes = EncodeCharacter(cp, encoding);
    if (bytes.empty()) {
      if (lossByte == 0) {
        break;
      }
      bytes = EncodeCharacter(lossByte, encoding);
      if (bytes.empty()) {
        bytes.assign(1, static_cast<char>(lossByte));
      }
    }
    if (!emit(bytes)) {
      break;
    }
    converted += consumed;
    i += consumed;
  }
  if (usedBufLen != nullptr) {
    *usedBufLen = used;
  }
  return converted;
}

Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize, CFStringEncoding encoding) {
  const __CFString* string = AsString(theString);
  if (buffer == nullptr || bufferSize <= 0) {
    return false;
  }
  buffer[0] = '\0';
  if (string == nullptr) {
    return false;
  }
  CFIndex used = 0;
  const CFIndex converted = CFStringGetBytes(theString, CFRangeMake(0, string->utf16Length), encoding, 0, false,
                                             reinterpret_cast<UInt8*>(buffer), bufferSize - 1, &used);
  if (converted != string->utf16Length) {
    buffer[0] = '\0';
    return false;
  }
  buffer[used] = '\0';
  return true;
}

const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding) {
  const __CFString* string = AsString(theString);
  if (string == nullptr) {
    return nullptr;
  }
  const bool ascii = std::all_of(string->utf8.begin(), string->utf8.end(),
                                 [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (encoding == kCFStringEncodingUTF8 ? (ascii || veneer::cf::IsValidUtf8(string->utf8))
                                        : (ascii && IsSingleByteEncoding(encoding))) {
    return string->utf8.c_str();
  }
  return nullptr;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  if (length < 0) {
    return kCFNotFound;
  }
  // Per UTF-16 code unit: three UTF-8 bytes at most (a pair takes four for two units).
  CFIndex perUnit = 0;
  if (encoding == kCFStringEncodingUTF8) {
    perUnit = 3;
  } else if (IsSingleByteEncoding(encoding)) {
    perUnit = 1;
  } else if (IsUtf16(encoding)) {
    perUnit = 2;
  } else if (IsUtf32(encoding)) {
    perUnit = 4;
  } else {
    return kCFNotFound;
  }
  if (length > static_cast<CFIndex>(0x7FFFFFFFFFFFFFFFL) / perUnit) {
    return kCFNotFound;
  }
  return length * perUnit;
}

}  // extern "C"
