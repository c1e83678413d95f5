// CFNumber (value compared across types) and the CFBoolean constants.
#include <CoreFoundation/CFNumber.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>

#include "cf/Object.h"

namespace {

constexpr double kTwoTo63 = 9223372036854775808.0;

struct NumberValue {
  bool isFloat = false;
  int64_t integer = 0;
  double real = 0;
};

CFComparisonResult Order(bool less, bool greater) {
  return less ? kCFCompareLessThan : greater ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

CFComparisonResult CompareIntegerToReal(int64_t i, double d) {
  if (std::isnan(d)) {
    return kCFCompareGreaterThan;  // NaN sorts below every other number
  }
  if (d >= kTwoTo63) {
    return kCFCompareLessThan;
  }
  if (d < -kTwoTo63) {
    return kCFCompareGreaterThan;
  }
  const double whole = std::floor(d);
  const auto wholeInt = static_cast<int64_t>(whole);
  if (i != wholeInt) {
    return Order(i<wholeInt, i> wholeInt);
  }
  return Order(d > whole, false);
}

CFComparisonResult CompareValues(const NumberValue& a, const NumberValue& b) {
  if (!a.isFloat && !b.isFloat) {
    return Order(a.integer<b.integer, a.integer> b.integer);
  }
  if (a.isFloat && b.isFloat) {
    if (std::isnan(a.real) || std::isnan(b.real)) {
      return Order(!std::isnan(b.real) ? true : false, !std::isnan(a.real) ? true : false);
    }
    return Order(a.real<b.real, a.real> b.real);
  }
  if (!a.isFloat) {
    return CompareIntegerToReal(a.integer, b.real);
  }
  const CFComparisonResult reversed = CompareIntegerToReal(b.integer, a.real);
  return static_cast<CFComparisonResult>(-reversed);
}

// The fixed-size type each C type is stored as.
CFNumberType StorageType(CFNumberType type) {
  switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
      return kCFNumberSInt8Type;
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
      return kCFNumberSInt16Type;
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
      return kCFNumberSInt32Type;
    case kCFNumberSInt64Type:
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
    case kCFNumberNSIntegerType:
      return kCFNumberSInt64Type;
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
      return kCFNumberFloat32Type;
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
    case kCFNumberCGFloatType:
      return kCFNumberFloat64Type;
    default:
      return static_cast<CFNumberType>(0);
  }
}

CFIndex ByteSize(CFNumberType storage) {
  switch (storage) {
    case kCFNumberSInt8Type:
      return 1;
    case kCFNumberSInt16Type:
      return 2;
    case kCFNumberSInt32Type:
    case kCFNumberFloat32Type:
      return 4;
    default:
      return 8;
  }
}

template <typename T>
T Load(const void* p) {
  T value;
  std::memcpy(&value, p, sizeof value);
  return value;
}

template <typename T>
void Store(void* p, T value) {
  std::memcpy(p, &value, sizeof value);
}

// Integer of `bytes` width from `v`; wraps like a C cast, lossless only when in range.
bool StoreInteger(const NumberValue& v, int bytes, void* out) {
  const int bits = bytes * 8;
  const int64_t high = bits == 64 ? std::numeric_limits<int64_t>::max() : (int64_t{1} << (bits - 1)) - 1;
  const int64_t low = -high - 1;
  int64_t value = v.integer;
  bool exact = true;
  if (v.isFloat) {
    if (std::isnan(v.real)) {
      value = 0;
      exact = false;
    } else {
      const double whole = std::trunc(v.real);
      exact = whole == v.real;
      // Out-of-range reals saturate: a C cast would be undefined.
      if (whole >= static_cast<double>(high)) {
        value = high;
        exact = exact && whole == static_cast<double>(high) && bits < 64;
      } else if (whole <= static_cast<double>(low)) {
        value = low;
        exact = exact && whole == static_cast<double>(low);
      } else {
        value = static_cast<int64_t>(whole);
      }
    }
  } else {
    exact = value >= low && value <= high;
  }
  switch (bytes) {
    case 1:
      Store(out, static_cast<int8_t>(value));
      break;
    case 2:
      Store(out, static_cast<int16_t>(value));
      break;
    case 4:
      Store(out, static_cast<int32_t>(value));
      break;
    default:
      Store(out, value);
      break;
  }
  return exact;
}

bool StoreFloat32(const NumberValue& v, void* out) {
  const double source = v.isFloat ? v.real : static_cast<double>(v.integer);
  float value = 0;
  if (std::isfinite(source) && std::fabs(source) > std::numeric_limits<float>::max()) {
    value = source > 0 ? std::numeric_limits<float>::infinity() : -std::numeric_limits<float>::infinity();
  } else {
    value = static_cast<float>(source);
  }
  Store(out, value);
  if (std::isnan(source)) {
    return true;
  }
  return v.isFloat ? static_cast<double>(value) == v.real
                   : CompareIntegerToReal(v.integer, static_cast<double>(value)) == kCFCompareEqualTo;
}

bool StoreFloat64(const NumberValue& v, void* out) {
  const double value = v.isFloat ? v.real : static_cast<double>(v.integer);
  Store(out, value);
  return v.isFloat || CompareIntegerToReal(v.integer, value) == kCFCompareEqualTo;
}

const char* TypeName(CFNumberType type) {
  static const char* const kNames[] = {"kCFNumberSInt8Type",  "kCFNumberSInt16Type",  "kCFNumberSInt32Type",
                                       "kCFNumberSInt64Type", "kCFNumberFloat32Type", "kCFNumberFloat64Type"};
  return type >= 1 && type <= 6 ? kNames[type - 1] : "?";
}

}  // namespace

struct __CFNumber final : veneer::cf::Object {
  __CFNumber(CFNumberType storageType, NumberValue numberValue)
      : Object(veneer::cf::kNumberTypeId), type(storageType), value(numberValue) {}

  [[nodiscard]] bool Equal(const Object& other) const override {
    return CompareValues(value, static_cast<const __CFNumber&>(other).value) == kCFCompareEqualTo;
  }

  // Integral reals hash as the integer they equal, so equal numbers hash alike.
  [[nodiscard]] CFHashCode Hash() const override {
    if (!value.isFloat) {
      return std::hash<int64_t>{}(value.integer);
    }
    if (std::trunc(value.real) == value.real && value.real >= -kTwoTo63 && value.real < kTwoTo63) {
      return std::hash<int64_t>{}(static_cast<int64_t>(value.real));
    }
    return std::hash<double>{}(std::isnan(value.real) ? std::numeric_limits<double>::quiet_NaN() : value.real);
  }

  [[nodiscard]] std::string FormattingDescription() const override {
    if (!value.isFloat) {
      return std::to_string(value.integer);
    }
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, value.real);
    return std::string(text, result.ptr);
  }

  [[nodiscard]] std::string Describe() const override {
    char text[160];
    std::snprintf(text, sizeof text, "<CFNumber %p [%p]>{value = %s%s, type = %s}", static_cast<const void*>(this),
                  static_cast<const void*>(this), (value.isFloat ? value.real >= 0 : value.integer >= 0) ? "+" : "",
                  FormattingDescription().c_str(), TypeName(type));
    return text;
  }

  CFNumberType type;
  NumberValue value;
};

struct __CFBoolean final : veneer::cf::Object {
  explicit __CFBoolean(bool booleanValue) : Object(veneer::cf::kBooleanTypeId), value(booleanValue) { MakeImmortal(); }
  [[nodiscard]] std::string Describe() const override {
    char text[96];
    std::snprintf(text, sizeof text, "<CFBoolean %p [%p]>{value = %s}", static_cast<const void*>(this),
                  static_cast<const void*>(this), value ? "true" : "false");
    return text;
  }
  bool value;
};

namespace {
__CFBoolean gTrue(true);
__CFBoolean gFalse(false);

const __CFNumber* AsNumber(CFTypeRef ref) { return veneer::cf::Cast<__CFNumber>(ref, veneer::cf::kNumberTypeId); }
}  // namespace

extern "C" {

const CFBooleanRef kCFBooleanTrue = &gTrue;
const CFBooleanRef kCFBooleanFalse = &gFalse;

CFTypeID CFBooleanGetTypeID(void) { return veneer::cf::kBooleanTypeId; }

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
  const auto* b = veneer::cf::Cast<__CFBoolean>(boolean, veneer::cf::kBooleanTypeId);
  return b != nullptr && b->value;
}

CFTypeID CFNumberGetTypeID(void) { return veneer::cf::kNumberTypeId; }

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType theType, const void* valuePtr) {
  const CFNumberType storage = StorageType(theType);
  if (valuePtr == nullptr || storage == 0) {
    return nullptr;
  }
  NumberValue value;
  switch (storage) {
    case kCFNumberSInt8Type:
      value.integer = Load<int8_t>(valuePtr);
      break;
    case kCFNumberSInt16Type:
      value.integer = Load<int16_t>(valuePtr);
      break;
    case kCFNumberSInt32Type:
      value.integer = Load<int32_t>(valuePtr);
      break;
    case kCFNumberSInt64Type:
      value.integer = Load<int64_t>(valuePtr);
      break;
    case kCFNumberFloat32Type:
      value.isFloat = true, value.real = Load<float>(valuePtr);
      break;
    default:
      value.isFloat = true, value.real = Load<double>(valuePtr);
      break;
  }
  return new __CFNumber(storage, value);
}

CFNumberType CFNumberGetType(CFNumberRef number) {
  const __CFNumber* n = AsNumber(number);
  return n == nullptr ? static_cast<CFNumberType>(0) : n->type;
}

CFIndex CFNumberGetByteSize(CFNumberRef number) {
  const __CFNumber* n = AsNumber(number);
  return n == nullptr ? 0 : ByteSize(n->type);
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
  const __CFNumber* n = AsNumber(number);
  return n != nullptr && n->value.isFloat;
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType theType, void* valuePtr) {
  const __CFNumber* n = AsNumber(number);
  const CFNumberType storage = StorageType(theType);
  if (n == nullptr || valuePtr == nullptr || storage == 0) {
    return false;
  }
  switch (storage) {
    case kCFNumberFloat32Type:
      return StoreFloat32(n->value, valuePtr);
    case kCFNumberFloat64Type:
      return StoreFloat64(n->value, valuePtr);
    default:
      return StoreInteger(n->value, static_cast<int>(ByteSize(storage)), valuePtr);
  }
}

CFComparisonResult CFNumberCompare(CFNumberRef number, CFNumberRef otherNumber, void*) {
  const __CFNumber* a = AsNumber(number);
  const __CFNumber* b = AsNumber(otherNumber);
  if (a == nullptr || b == nullptr) {
    return Order(a == nullptr && b != nullptr, a != nullptr && b == nullptr);
  }
  return CompareValues(a->value, b->value);
}

}  // extern "C"
