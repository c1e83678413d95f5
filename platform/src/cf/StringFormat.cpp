// CFStringCreateWithFormat and friends: printf conversions plus %@. The format is
// parsed first so that every argument, positional or not, is read by its type.
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <optional>
#include <string_view>
#include <vector>

#include "cf/String.h"
#include "cf/Unicode.h"

namespace {

using veneer::cf::AppendStoredText;
using veneer::cf::AsString;

enum class Length { kNone, kChar, kShort, kLong, kLongLong, kLongDouble, kSize, kPtrdiff, kIntmax };
enum class ArgKind { kNone, kInt, kLong, kLongLong, kSize, kPtrdiff, kIntmax, kDouble, kLongDouble, kPointer };

struct Conversion {
  std::string_view literal;  // text before the conversion
  std::string_view source;   // the conversion as written, printed as is when not understood
  std::string flags;
  int width = -1;
  int widthArg = -1;
  int precision = -1;
  int precisionArg = -1;
  Length length = Length::kNone;
  char conversion = 0;  // 0 for the trailing literal
  int valueArg = -1;
};

struct Argument {
  ArgKind kind = ArgKind::kNone;
  intmax_t integer = 0;
  double real = 0;
  long double longReal = 0;
  const void* pointer = nullptr;
};

ArgKind KindOf(const Conversion& c) {
  switch (c.conversion) {
    case 'd':
    case 'i':
    case 'o':
    case 'u':
    case 'x':
    case 'X':
      switch (c.length) {
        case Length::kLong:
          return ArgKind::kLong;
        case Length::kLongLong:
          return ArgKind::kLongLong;
        case Length::kSize:
          return ArgKind::kSize;
        case Length::kPtrdiff:
          return ArgKind::kPtrdiff;
        case Length::kIntmax:
          return ArgKind::kIntmax;
        default:
          return ArgKind::kInt;
      }
    case 'D':
    case 'U':
    case 'O':
      return ArgKind::kLong;
    case 'c':
    case 'C':
      return ArgKind::kInt;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      return c.length == Length::kLongDouble ? ArgKind::kLongDouble : ArgKind::kDouble;
    case 's':
    case 'S':
    case 'p':
    case '@':
    case 'n':
      return ArgKind::kPointer;
    default:
      return ArgKind::kNone;
  }
}

// Reads "123$" at `pos`; returns the zero-based argument index or -1.
int TakePosition(std::string_view f, size_t& pos) {
  size_t end = pos;
  int number = 0;
  while (end < f.size() && f[end] >= '0' && f[end] <= '9') {
    number = number * 10 + (f[end] - '0');
    ++end;
  }
  if (end == pos || end >= f.size() || f[end] != '$' || number == 0) {
    return -1;
  }
  pos = end + 1;
  return number - 1;
}

int TakeNumber(std::string_view f, size_t& pos) {
  int number = 0;
  while (pos < f.size() && f[pos] >= '0' && f[pos] <= '9') {
    number = number * 10 + (f[pos] - '0');
    ++pos;
  }
  return number;
}

std::vector<Conversion> Parse(std::string_view f) {
  std::vector<Conversion> pieces;
  int nextArg = 0;
  size_t literalStart = 0;
  size_t pos = 0;
  while ((pos = f.find('%', pos)) != std::string_view::npos) {
    Conversion c;
    c.literal = f.substr(literalStart, pos - literalStart);
    const size_t start = pos++;
    const int position = TakePosition(f, pos);
    while (pos < f.size() && std::strchr("-+ #0'", f[pos]) != nullptr) {
      c.flags += f[pos++];
    }
    if (pos < f.size() && f[pos] == '*') {
      ++pos;
      const int at = TakePosition(f, pos);
      c.widthArg = at >= 0 ? at : nextArg++;
    } else {
      c.width = TakeNumber(f, pos);
    }
    if (pos < f.size() && f[pos] == '.') {
      ++pos;
      if (pos < f.size() && f[pos] == '*') {
        ++pos;
        const int at = TakePosition(f, pos);
        c.precisionArg = at >= 0 ? at : nextArg++;
      } else {
        c.precision = TakeNumber(f, pos);
      }
    }
    const auto at = [&](std::string_view s) { return f.substr(pos, s.size()) == s; };
    if (at("hh")) {
      c.length = Length::kChar, pos += 2;
    } else if (at("ll")) {
      c.length = Length::kLongLong, pos += 2;
    } else if (at("h")) {
      c.length = Length::kShort, ++pos;
    } else if (at("l")) {
      c.length = Length::kLong, ++pos;
    } else if (at("q")) {
      c.length = Length::kLongLong, ++pos;
    } else if (at("L")) {
      c.length = Length::kLongDouble, ++pos;
    } else if (at("z")) {
      c.length = Length::kSize, ++pos;
    } else if (at("t")) {
      c.length = Length::kPtrdiff, ++pos;
    } else if (at("j")) {
      c.length = Length::kIntmax, ++pos;
    }
    c.conversion = pos < f.size() ? f[pos++] : '%';
    c.source = f.substr(start, pos - start);
    if (KindOf(c) != ArgKind::kNone) {
      c.valueArg = position >= 0 ? position : nextArg++;
    }
    pieces.push_back(std::move(c));
    literalStart = pos;
  }
  Conversion tail;
  tail.literal = f.substr(literalStart);
  pieces.push_back(std::move(tail));
  return pieces;
}

// Reads every argument in order of position; nullopt when a position's type is unknown.
std::optional<std::vector<Argument>> ReadArguments(const std::vector<Conversion>& pieces, va_list* args) {
  std::vector<Argument> values;
  const auto want = [&](int index, ArgKind kind) {
    if (index < 0) {
      return;
    }
    if (static_cast<size_t>(index) >= values.size()) {
      values.resize(static_cast<size_t>(index) + 1);
    }
    values[static_cast<size_t>(index)].kind = kind;
  };
  for (const Conversion& c : pieces) {
    want(c.widthArg, ArgKind::kInt);
    want(c.precisionArg, ArgKind::kInt);
    want(c.valueArg, KindOf(c));
  }
  for (Argument& a : values) {
    switch (a.kind) {
      case ArgKind::kNone:
        return std::nullopt;
      case ArgKind::kInt:
        a.integer = va_arg(*args, int);
        break;
      case ArgKind::kLong:
        a.integer = va_arg(*args, long);
        break;
      case ArgKind::kLongLong:
        a.integer = va_arg(*args, long long);
        break;
      case ArgKind::kSize:
        a.integer = static_cast<intmax_t>(va_arg(*args, size_t));
        break;
      case ArgKind::kPtrdiff:
        a.integer = va_arg(*args, ptrdiff_t);
        break;
      case ArgKind::kIntmax:
        a.integer = va_arg(*args, intmax_t);
        break;
      case ArgKind::kDouble:
        a.real = va_arg(*args, double);
        break;
      case ArgKind::kLongDouble:
        a.longReal = va_arg(*args, long double);
        break;
      case ArgKind::kPointer:
        a.pointer = va_arg(*args, const void*);
        break;
    }
  }
  return values;
}

long long AsSigned(intmax_t v, Length length) {
  switch (length) {
    case Length::kChar:
      return static_cast<signed char>(v);
    case Length::kShort:
      return static_cast<short>(v);
    case Length::kNone:
      return static_cast<int>(v);
    default:
      return static_cast<long long>(v);
  }
}

unsigned long long AsUnsigned(intmax_t v, Length length) {
  switch (length) {
    case Length::kChar:
      return static_cast<unsigned char>(v);
    case Length::kShort:
      return static_cast<unsigned short>(v);
    case Length::kNone:
      return static_cast<unsigned int>(v);
    default:
      return static_cast<unsigned long long>(v);
  }
}

// Pads to `width` UTF-16 units, as the platform counts string widths.
void AppendPadded(std::string& out, const std::string& text, int width, bool leftAlign) {
  const CFIndex length = veneer::cf::Utf16Length(text);
  const std::string padding(width > length ? static_cast<size_t>(width - length) : 0, ' ');
  if (!leftAlign) {
    out += padding;
  }
  AppendStoredText(out, text);
  if (leftAlign) {
    out += padding;
  }
}

std::string TruncateUnits(const std::string& text, int precision) {
  if (precision < 0 || veneer::cf::Utf16Length(text) <= precision) {
    return text;
  }
  const std::u16string units = veneer::cf::ToUtf16(text);
  return veneer::cf::FromUtf16(reinterpret_cast<const UniChar*>(units.data()), static_cast<size_t>(precision));
}

// C strings are read as UTF-8; bytes that are not UTF-8 are taken as Latin 1.
std::string FromCString(const char* s, int precision) {
  const size_t length = precision >= 0 ? strnlen(s, static_cast<size_t>(precision)) : std::strlen(s);
  const std::string_view bytes(s, length);
  if (veneer::cf::IsValidUtf8(bytes)) {
    return std::string(bytes);
  }
  std::string text;
  for (const char byte : bytes) {
    veneer::cf::AppendUtf8(text, static_cast<unsigned char>(byte));
  }
  return text;
}

std::string Describe(const void* object) {
  if (object == nullptr) {
    return "(null)";
  }
  return veneer::cf::AsObject(object)->FormattingDescription();
}

std::string CallSnprintf(const std::string& directive, auto value) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const int size = std::snprintf(nullptr, 0, directive.c_str(), value);
  if (size <= 0) {
    return {};
  }
  std::string text(static_cast<size_t>(size) + 1, '\0');
  std::snprintf(text.data(), text.size(), directive.c_str(), value);
#pragma GCC diagnostic pop
  text.resize(static_cast<size_t>(size));
  return text;
}

void Render(std::string& out, const Conversion& c, const std::vector<Argument>& args) {
  std::string flags = c.flags;
  int width = c.width;
  int precision = c.precision;
  if (c.widthArg >= 0) {
    width = static_cast<int>(args[static_cast<size_t>(c.widthArg)].integer);
    if (width < 0) {
      flags += '-';
      width = -width;
    }
  }
  if (c.precisionArg >= 0) {
    precision = static_cast<int>(args[static_cast<size_t>(c.precisionArg)].integer);
    precision = precision < 0 ? -1 : precision;
  }
  const bool leftAlign = flags.find('-') != std::string::npos;
  const Argument* value = c.valueArg >= 0 ? &args[static_cast<size_t>(c.valueArg)] : nullptr;
  std::string directive = "%" + flags;
  if (width > 0) {
    directive += std::to_string(width);
  }
  if (precision >= 0) {
    directive += "." + std::to_string(precision);
  }
  std::string text;
  switch (c.conversion) {
    case '%':
      out += '%';
      return;
    case 'n':
      return;
    case 'd':
    case 'i':
      out += CallSnprintf(directive + "lld", AsSigned(value->integer, c.length));
      return;
    case 'D':
      out += CallSnprintf(directive + "lld", static_cast<long long>(value->integer));
      return;
    case 'o':
    case 'u':
    case 'x':
    case 'X':
      out += CallSnprintf(directive + "ll" + c.conversion, AsUnsigned(value->integer, c.length));
      return;
    case 'O':
    case 'U':
      out += CallSnprintf(directive + "ll" + static_cast<char>(c.conversion + ('a' - 'A')),
                          static_cast<unsigned long long>(value->integer));
      return;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
      if (value->kind == ArgKind::kLongDouble) {
        out += CallSnprintf(directive + "L" + c.conversion, value->longReal);
      } else {
        out += CallSnprintf(directive + c.conversion, value->real);
      }
      return;
    case 'c':
      veneer::cf::AppendUtf8(text, c.length == Length::kLong ? static_cast<char32_t>(value->integer) & 0x1FFFFF
                                                             : static_cast<unsigned char>(value->integer));
      break;
    case 'C':
      veneer::cf::AppendUtf8(text, static_cast<UniChar>(value->integer));
      break;
    case 's':
      if (value->pointer == nullptr) {
        text = "(null)";
      } else if (c.length == Length::kLong) {
        const auto* wide = static_cast<const wchar_t*>(value->pointer);
        for (int i = 0; wide[i] != 0 && (precision < 0 || i < precision); ++i) {
          const auto cp = static_cast<char32_t>(wide[i]);
          veneer::cf::AppendUtf8(text, cp <= 0x10FFFF ? cp : 0xFFFD);
        }
      } else {
        text = FromCString(static_cast<const char*>(value->pointer), precision);
      }
      break;
    case 'S':
      if (value->pointer == nullptr) {
        text = "(null)";
      } else {
        const auto* units = static_cast<const UniChar*>(value->pointer);
        size_t count = 0;
        while (units[count] != 0 && (precision < 0 || count < static_cast<size_t>(precision))) {
          ++count;
        }
        text = veneer::cf::FromUtf16(units, count);
      }
      break;
    case '@':
      text = TruncateUnits(Describe(value->pointer), precision);
      break;
    case 'p':
      text = CallSnprintf(std::string("0x%llx"),
                          static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(value->pointer)));
      break;
    default:
      out.append(c.source);
      return;
  }
  AppendPadded(out, text, width, leftAlign);
}

std::optional<std::string> Format(CFStringRef format, va_list arguments) {
  const __CFString* formatString = AsString(format);
  if (formatString == nullptr) {
    return std::nullopt;
  }
  const std::vector<Conversion> pieces = Parse(formatString->utf8);
  va_list args;
  va_copy(args, arguments);
  const std::optional<std::vector<Argument>> values = ReadArguments(pieces, &args);
  va_end(args);
  if (!values) {
    return std::nullopt;
  }
  std::string out;
  for (const Conversion& c : pieces) {
    AppendStoredText(out, c.literal);
    if (c.conversion != 0) {
      Render(out, c, *values);
    }
  }
  return out;
}

}  // namespace

extern "C" {

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef, CFDictionaryRef, CFStringRef format,
                                                 va_list arguments) {
  std::optional<std::string> text = Format(format, arguments);
  return text ? new __CFString(std::move(*text)) : nullptr;
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions, CFStringRef format, ...) {
  va_list args;
  va_start(args, format);
  CFStringRef result = CFStringCreateWithFormatAndArguments(alloc, formatOptions, format, args);
  va_end(args);
  return result;
}

void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef, CFStringRef format, ...) {
  auto* string = veneer::cf::CastMutable<__CFString>(theString, veneer::cf::kStringTypeId);
  if (string == nullptr || !string->isMutable) {
    return;
  }
  va_list args;
  va_start(args, format);
  std::optional<std::string> text = Format(format, args);
  va_end(args);
  if (text) {
    AppendStoredText(string->utf8, *text);
    string->TextChanged();
  }
}

}  // extern "C"
