#include "cf/Unicode.h"

namespace veneer::cf {

void AppendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

char32_t NextCodePoint(std::string_view text, size_t& pos) {
  const auto lead = static_cast<unsigned char>(text[pos]);
  size_t width = 0;
  char32_t cp = 0;
  if (lead < 0x80) {
    ++pos;
    return lead;
  }
  if (lead >= 0xC2 && lead < 0xE0) {
    width = 2;
    cp = lead & 0x1F;
  } else if (lead >= 0xE0 && lead < 0xF0) {
    width = 3;
    cp = lead & 0x0F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    width = 4;
    cp = lead & 0x07;
  }
  if (width == 0 || pos + width > text.size()) {
    ++pos;
    return lead;
  }
  for (size_t i = 1; i < width; ++i) {
    const auto next = static_cast<unsigned char>(text[pos + i]);
    if ((next & 0xC0) != 0x80) {
      ++pos;
      return lead;
    }
    cp = (cp << 6) | (next & 0x3F);
  }
  pos += width;
  return cp;
}

bool IsValidUtf8(std::string_view bytes) {
  for (size_t i = 0; i < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    size_t width = 0;
    if (lead < 0x80) {
      ++i;
      continue;
    }
    if (lead >= 0xC2 && lead < 0xE0) {
      width = 2;
    } else if (lead >= 0xE0 && lead < 0xF0) {
      width = 3;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
      width = 4;
    } else {
      return false;
    }
    size_t pos = i;
    const char32_t cp = NextCodePoint(bytes, pos);
    if (pos != i + width) {
      return false;
    }
    const char32_t minimum = width == 2 ? 0x80 : width == 3 ? 0x800 : 0x10000;
    if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
      return false;
    }
    i = pos;
  }
  return true;
}

std::u16string ToUtf16(std::string_view text) {
  std::u16string units;
  units.reserve(text.size());
  for (size_t pos = 0; pos < text.size();) {
    const char32_t cp = NextCodePoint(text, pos);
    if (cp >= 0x10000) {
      units += static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
      units += static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF));
    } else {
      units += static_cast<char16_t>(cp);
    }
  }
  return units;
}

std::string FromUtf16(const UniChar* units, size_t count) {
  std::string text;
  text.reserve(count);
  for (size_t i = 0; i < count; ++i) {
    const char32_t unit = units[i];
    if (IsHighSurrogate(unit) && i + 1 < count && IsLowSurrogate(units[i + 1])) {
      AppendUtf8(text, 0x10000 + ((unit - 0xD800) << 10) + (units[i + 1] - 0xDC00));
      ++i;
    } else {
      AppendUtf8(text, unit);
    }
  }
  return text;
}

void AppendStoredText(std::string& text, std::string_view tail) {
  // A lone high surrogate is stored as ED A0..AF xx, a lone low one as ED B0..BF xx.
  const auto isLone = [](std::string_view s, size_t at, unsigned char low, unsigned char high) {
    return s.size() >= at + 3 && static_cast<unsigned char>(s[at]) == 0xED &&
           static_cast<unsigned char>(s[at + 1]) >= low && static_cast<unsigned char>(s[at + 1]) <= high;
  };
  if (text.size() >= 3 && isLone(text, text.size() - 3, 0xA0, 0xAF) && isLone(tail, 0, 0xB0, 0xBF)) {
    size_t pos = text.size() - 3;
    const char32_t highUnit = NextCodePoint(text, pos);
    pos = 0;
    const char32_t lowUnit = NextCodePoint(tail, pos);
    text.resize(text.size() - 3);
    AppendUtf8(text, 0x10000 + ((highUnit - 0xD800) << 10) + (lowUnit - 0xDC00));
    text.append(tail.substr(3));
    return;
  }
  text.append(tail);
}

}  // namespace veneer::cf
