// Conversions between the UTF-8 that CFString stores and the UTF-16 code units
// that its API counts in. Unpaired surrogates, which UTF-16 strings may hold,
// are stored as three-byte sequences so that no text is lost.
#pragma once

#include <MacTypes.h>

#include <string>
#include <string_view>

namespace veneer::cf {

// Appends `cp` (any value up to 0x10FFFF, surrogates included) as UTF-8.
void AppendUtf8(std::string& out, char32_t cp);

// Decodes the code point at `pos` of stored text, advancing `pos`; bad bytes
// decode as themselves (Latin-1) one at a time.
char32_t NextCodePoint(std::string_view text, size_t& pos);

// Strict UTF-8 check: no overlong forms, no surrogates, nothing past 0x10FFFF.
bool IsValidUtf8(std::string_view bytes);

std::u16string ToUtf16(std::string_view text);
std::string FromUtf16(const UniChar* units, size_t count);

// Appends stored text, pairing a trailing high surrogate with a leading low one.
void AppendStoredText(std::string& text, std::string_view tail);

inline bool IsHighSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
inline bool IsLowSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

}  // namespace veneer::cf
