// Creation, constants, identity and C-string access of CFString.
#include <cstring>
#include <mutex>
#include <string_view>
#include <unordered_map>

#include "cf/String.h"

__CFString::__CFString(std::string text, bool isMutableString)
    : Object(veneer::cf::kStringTypeId), utf8(std::move(text)), isMutable(isMutableString) {
  TextChanged();
}

void __CFString::TextChanged() { utf16Length = veneer::cf::Utf16Length(utf8); }

bool __CFString::Equal(const Object& other) const { return utf8 == static_cast<const __CFString&>(other).utf8; }

CFHashCode __CFString::Hash() const { return std::hash<std::string>{}(utf8); }

namespace veneer::cf {

CFIndex Utf16Length(const std::string& utf8) {
  CFIndex units = 0;
  for (size_t i = 0; i < utf8.size();) {
    const auto lead = static_cast<unsigned char>(utf8[i]);
    size_t width = 1;
    if (lead >= 0xF0 && lead <= 0xF4) {
      width = 4;
    } else if (lead >= 0xE0) {
      width = 3;
    } else if (lead >= 0xC2 && lead < 0xE0) {
      width = 2;
    }
    if (i + width > utf8.size()) {
      width = 1;
    }
    units += width == 4 ? 2 : 1;
    i += width;
  }
  return units;
}

CFStringRef CreateString(const std::string& text) { return new __CFString(text); }

}  // namespace veneer::cf

extern "C" {

CFTypeID CFStringGetTypeID(void) { return veneer::cf::kStringTypeId; }

CFStringRef __CFStringMakeConstantString(const char* cStr) {
  if (cStr == nullptr) {
    return nullptr;
  }
  // One immortal string per distinct text, as the platform's constant strings.
  static std::mutex mutex;
  static auto* table = new std::unordered_map<std::string, __CFString*>();  // lives for the process
  const std::lock_guard lock(mutex);
  auto [it, inserted] = table->try_emplace(cStr, nullptr);
  if (inserted) {
    it->second = new __CFString(cStr);
    it->second->MakeImmortal();
  }
  return it->second;
}

}  // extern "C"
