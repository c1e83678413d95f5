// CFString copies, mutation, character access, comparison and number parsing.
#include <algorithm>
#include <cctype>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>

#include "cf/String.h"
#include "cf/Unicode.h"

namespace {

using veneer::cf::AsString;

bool IsAscii(const __CFString& s) { return static_cast<CFIndex>(s.utf8.size()) == s.utf16Length; }

// Simple case folding for the scripts whose case pairs sit at fixed offsets.
char16_t FoldCase(char16_t c) {
  if (c >= u'A' && c <= u'Z') {
    return static_cast<char16_t>(c + 32);
  }
  if (c < 0xC0) {
    return c;
  }
  if ((c >= 0xC0 && c <= 0xDE && c != 0xD7) || (c >= 0x391 && c <= 0x3AB && c != 0x3A2) || (c >= 0x410 && c <= 0x42F)) {
    return static_cast<char16_t>(c + 32);
  }
  if (c == 0x178) {
    return 0xFF;
  }
  if (c >= 0x400 && c <= 0x40F) {
    return static_cast<char16_t>(c + 80);
  }
  if (c >= 0x100 && c <= 0x17F && c != 0x130 && c != 0x131 && c != 0x138 && c != 0x149 && c != 0x17F) {
    // Latin Extended-A alternates upper/lower; the run 0x139-0x148 and 0x179-0x17E starts odd.
    const bool oddStart = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
    return static_cast<char16_t>(oddStart ? (c % 2 == 1 ? c + 1 : c) : (c | 1));
  }
  return c;
}

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

CFComparisonResult Order(long a, long b) {
  return a < b ? kCFCompareLessThan : a > b ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

// Compares digit runs by their value: strip leading zeros, then longer is larger.
CFComparisonResult CompareDigitRuns(const std::u16string& a, size_t& i, const std::u16string& b, size_t& j) {
  const auto run = [](const std::u16string& s, size_t& k) {
    while (k < s.size() && s[k] == u'0' && k + 1 < s.size() && IsDigit(s[k + 1])) {
      ++k;
    }
    const size_t begin = k;
    while (k < s.size() && IsDigit(s[k])) {
      ++k;
    }
    return s.substr(begin, k - begin);
  };
  const std::u16string left = run(a, i);
  const std::u16string right = run(b, j);
  if (left.size() != right.size()) {
    return Order(static_cast<long>(left.size()), static_cast<long>(right.size()));
  }
  const int c = left.compare(right);
  return Order(c, 0);
}

bool HasPrefixUnits(const std::u16string& text, const std::u16string& prefix) {
  return text.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), text.begin());
}

}  // namespace

extern "C" {

CFStringRef CFStringCreateCopy(CFAllocatorRef, CFStringRef theString) {
  const __CFString* string = AsString(theString);
  if (string == nullptr) {
    return nullptr;
  }
  // An immutable string can be shared rather than copied, as the platform does.
  if (!string->isMutable) {
    return static_cast<CFStringRef>(CFRetain(theString));
  }
  return new __CFString(string->utf8);
}

CFStringRef CFStringCreateWithSubstring(CFAllocatorRef, CFStringRef str, CFRange range) {
  const __CFString* string = AsString(str);
  if (string == nullptr || range.location < 0 || range.length < 0 ||
      range.location + range.length > string->utf16Length) {
    return nullptr;
  }
  if (IsAscii(*string)) {
    return new __CFString(string->utf8.substr(static_cast<size_t>(range.location), static_cast<size_t>(range.length)));
  }
  const std::u16string units = veneer::cf::ToUtf16(string->utf8);
  return new __CFString(veneer::cf::FromUtf16(reinterpret_cast<const UniChar*>(units.data()) + range.location,
                                              static_cast<size_t>(range.length)));
}

CFMutableStringRef CFStringCreateMutable(CFAllocatorRef, CFIndex maxLength) {
  if (maxLength < 0) {
    return nullptr;
  }
  return new __CFString(std::string(), true);
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef, CFIndex maxLength, CFStringRef theString) {
  const __CFString* string = AsString(theString);
  if (string == nullptr || maxLength < 0) {
    return nullptr;
  }
  return new __CFString(string->utf8, true);
}

void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString) {
  auto* string = veneer::cf::CastMutable<__CFString>(theString, veneer::cf::kStringTypeId);
  const __CFString* tail = AsString(appendedString);
  if (string == nullptr || !string->isMutable || tail == nullptr) {
    return;
  }
  const std::string copy = tail->utf8;  // the string may be appended to itself
  veneer::cf::AppendStoredText(string->utf8, copy);
  string->TextChanged();
}

CFIndex CFStringGetLength(CFStringRef theString) {
  const __CFString* string = AsString(theString);
  return string == nullptr ? 0 : string->utf16Length;
}

UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx) {
  const __CFString* string = AsString(theString);
  if (string == nullptr || idx < 0 || idx >= string->utf16Length) {
    return 0;
  }
  if (IsAscii(*string)) {
    return static_cast<unsigned char>(string->utf8[static_cast<size_t>(idx)]);
  }
  return veneer::cf::ToUtf16(string->utf8)[static_cast<size_t>(idx)];
}

void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer) {
  const __CFString* string = AsString(theString);
  if (string == nullptr || buffer == nullptr || range.location < 0 || range.length < 0 ||
      range.location + range.length > string->utf16Length) {
    return;
  }
  const std::u16string units = veneer::cf::ToUtf16(string->utf8);
  std::memcpy(buffer, units.data() + range.location, static_cast<size_t>(range.length) * sizeof(UniChar));
}

CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                   CFStringCompareFlags compareOptions) {
  const __CFString* first = AsString(theString1);
  const __CFString* second = AsString(theString2);
  if (first == nullptr || second == nullptr) {
    return first == second ? kCFCompareEqualTo : first == nullptr ? kCFCompareLessThan : kCFCompareGreaterThan;
  }
  const std::u16string a = veneer::cf::ToUtf16(first->utf8);
  const std::u16string b = veneer::cf::ToUtf16(second->utf8);
  const bool caseless = (compareOptions & kCFCompareCaseInsensitive) != 0;
  const bool numeric = (compareOptions & kCFCompareNumerically) != 0;
  size_t i = 0;
  size_t j = 0;
  while (i < a.size() && j < b.size()) {
    if (numeric && IsDigit(a[i]) && IsDigit(b[j])) {
      const CFComparisonResult result = CompareDigitRuns(a, i, b, j);
      if (result != kCFCompareEqualTo) {
        return result;
      }
      continue;
    }
    const char16_t x = caseless ? FoldCase(a[i]) : a[i];
    const char16_t y = caseless ? FoldCase(b[j]) : b[j];
    if (x != y) {
      return Order(x, y);
    }
    ++i;
    ++j;
  }
  return Order(static_cast<long>(a.size() - i), static_cast<long>(b.size() - j));
}

Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix) {
  const __CFString* string = AsString(theString);
  const __CFString* start = AsString(prefix);
  if (string == nullptr || start == nullptr) {
    return false;
  }
  return HasPrefixUnits(veneer::cf::ToUtf16(string->utf8), veneer::cf::ToUtf16(start->utf8));
}

Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix) {
  const __CFString* string = AsString(theString);
  const __CFString* end = AsString(suffix);
  if (string == nullptr || end == nullptr) {
    return false;
  }
  const std::u16string text = veneer::cf::ToUtf16(string->utf8);
  const std::u16string tail = veneer::cf::ToUtf16(end->utf8);
  return text.size() >= tail.size() && std::equal(tail.rbegin(), tail.rend(), text.rbegin());
}

SInt32 CFStringGetIntValue(CFStringRef str) {
  const __CFString* string = AsString(str);
  if (string == nullptr) {
    return 0;
  }
  const std::string& text = string->utf8;
  size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) {
    ++i;
  }
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
    negative = text[i] == '-';
    ++i;
  }
  long long value = 0;
  for (; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])); ++i) {
    value = std::min(value * 10 + (text[i] - '0'), static_cast<long long>(INT_MAX) + 1);
  }
  // Out-of-range values saturate.
  value = negative ? -value : value;
  return static_cast<SInt32>(std::clamp(value, static_cast<long long>(INT_MIN), static_cast<long long>(INT_MAX)));
}

double CFStringGetDoubleValue(CFStringRef str) {
  const __CFString* string = AsString(str);
  if (string == nullptr) {
    return 0.0;
  }
  // Always '.' as the decimal separator, whatever the process locale.
  const std::string& text = string->utf8;
  size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) {
    ++i;
  }
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
    negative = text[i] == '-';
    ++i;
  }
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data() + i, text.data() + text.size(), value);
  if (error == std::errc::invalid_argument || (i < text.size() && text[i] == '-')) {
    return 0.0;
  }
  (void)end;
  return negative ? -value : value;
}

}  // extern "C"
