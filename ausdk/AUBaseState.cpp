// Saved state: the class-info dictionary that a host reads and writes through
// kAudioUnitProperty_ClassInfo, with its big-endian parameter blob, and the
// current preset.
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "ausdk/AUBase.h"

namespace ausdk {

namespace {

constexpr size_t kWordSize = 4;
constexpr size_t kEntrySize = 8;  // parameter id, value bits

void AppendBigEndian(CFMutableDataRef data, UInt32 value) {
  const UInt8 bytes[kWordSize] = {static_cast<UInt8>(value >> 24), static_cast<UInt8>(value >> 16),
                                  static_cast<UInt8>(value >> 8), static_cast<UInt8>(value)};
  CFDataAppendBytes(data, bytes, kWordSize);
}

UInt32 ReadBigEndian(const UInt8* bytes) {
  return (static_cast<UInt32>(bytes[0]) << 24) | (static_cast<UInt32>(bytes[1]) << 16) |
         (static_cast<UInt32>(bytes[2]) << 8) | static_cast<UInt32>(bytes[3]);
}

size_t Remaining(const UInt8* from, const UInt8* end) { return from < end ? static_cast<size_t>(end - from) : 0; }

// The key under which a scope's or an element's name is kept.
Owned<CFStringRef> NumberKey(UInt32 number) {
  return Owned<CFStringRef>::FromCreate(
      CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%u"), static_cast<unsigned>(number)));
}

// Accepts only a whole decimal number that fits 32 bits, so "1x" or "-1" name no element.
bool ParseElementKey(CFStringRef key, UInt32& outNumber) {
  char text[16];
  if (!CFStringGetCString(key, text, sizeof text, kCFStringEncodingASCII) || text[0] < '0' || text[0] > '9') {
    return false;
  }
  char* end = nullptr;
  const unsigned long long number = std::strtoull(text, &end, 10);
  if (*end != '\0' || number > 0xFFFFFFFFULL) {
    return false;
  }
  outNumber = static_cast<UInt32>(number);
  return true;
}

void SetNumber(CFMutableDictionaryRef dict, CFStringRef key, SInt32 value) {
  const auto number = Owned<CFNumberRef>::FromCreate(CFNumberCreate(nullptr, kCFNumberSInt32Type, &value));
  CFDictionarySetValue(dict, key, number.get());
}

template <typename Ref>
Ref GetTyped(CFDictionaryRef dict, CFStringRef key, CFTypeID typeID) {
  CFTypeRef value = CFDictionaryGetValue(dict, key);
  return value != nullptr && CFGetTypeID(value) == typeID ? static_cast<Ref>(value) : nullptr;
}

// A number equal in value to `code`, read as signed (as we write it) or as the
// unsigned four-character code, whatever type the writer stored it as.
bool NumberMatches(CFDictionaryRef dict, CFStringRef key, UInt32 code) {
  const auto* const number = GetTyped<CFNumberRef>(dict, key, CFNumberGetTypeID());
  if (number == nullptr) {
    return false;
  }
  if (CFNumberIsFloatType(number)) {
    Float64 real = 0;
    CFNumberGetValue(number, kCFNumberFloat64Type, &real);
    return real == static_cast<Float64>(static_cast<SInt32>(code)) || real == static_cast<Float64>(code);
  }
  SInt64 value = 0;
  if (!CFNumberGetValue(number, kCFNumberSInt64Type, &value)) {
    return false;
  }
  return value == static_cast<SInt32>(code) || value == static_cast<SInt64>(code);
}

}  // namespace

// ---- AUElement ----

void AUElement::SaveState(AudioUnitScope scope, CFMutableDataRef data) {
  const CFIndex countOffset = CFDataGetLength(data);
  AppendBigEndian(data, 0);  // patched below with the entries actually written

  std::vector<AudioUnitParameterID> ids(GetNumberOfParameters());
  if (!ids.empty()) {
    GetParameterList(ids.data());
  }
  UInt32 written = 0;
  for (const AudioUnitParameterID id : ids) {
    AudioUnitParameterInfo info{};
    if (mAudioUnit.GetParameterInfo(scope, id, info) == noErr) {
      if ((info.flags & kAudioUnitParameterFlag_CFNameRelease) != 0) {
        if (info.cfNameString != nullptr) {
          CFRelease(info.cfNameString);
        }
        if (info.unit == kAudioUnitParameterUnit_CustomUnit && info.unitName != nullptr) {
          CFRelease(info.unitName);
        }
      }
      if ((info.flags & (kAudioUnitParameterFlag_OmitFromPresets | kAudioUnitParameterFlag_MeterReadOnly)) != 0) {
        continue;
      }
    }
    AudioUnitParameterValue value = 0;
    if (GetParameter(id, value) != noErr) {
      continue;
    }
    AppendBigEndian(data, id);
    AppendBigEndian(data, std::bit_cast<UInt32>(value));
    ++written;
  }

  UInt8* count = CFDataGetMutableBytePtr(data) + countOffset;
  count[0] = static_cast<UInt8>(written >> 24);
  count[1] = static_cast<UInt8>(written >> 16);
  count[2] = static_cast<UInt8>(written >> 8);
  count[3] = static_cast<UInt8>(written);
}

// A count larger than the entries left applies the whole entries that are there;
// what remains then is shorter than an entry, so a truncated blob is read up to
// its end and no further.
const UInt8* AUElement::RestoreState(const UInt8* state, const UInt8* end) {
  if (Remaining(state, end) < kWordSize) {
    return end;
  }
  const UInt32 count = ReadBigEndian(state);
  state += kWordSize;
  const size_t entries = std::min<size_t>(count, Remaining(state, end) / kEntrySize);
  for (size_t i = 0; i < entries; ++i, state += kEntrySize) {
    const AudioUnitParameterID id = ReadBigEndian(state);
    const auto value = std::bit_cast<AudioUnitParameterValue>(ReadBigEndian(state + kWordSize));
    SetParameter(id, value, false);
  }
  return state;
}

// ---- AUScope ----

void AUScope::SaveState(CFMutableDataRef data) const {
  for (UInt32 i = 0; i < GetNumberOfElements(); ++i) {
    AUElement* element = GetElement(i);
    if (element == nullptr || element->GetNumberOfParameters() == 0) {
      continue;
    }
    AppendBigEndian(data, mScope);
    AppendBigEndian(data, i);
    element->SaveState(mScope, data);
  }
}

void AUScope::AddElementNamesToDict(CFMutableDictionaryRef nameDict) const {
  for (UInt32 i = 0; i < GetNumberOfElements(); ++i) {
    const AUElement* element = GetElement(i);
    if (element != nullptr && element->HasName()) {
      CFDictionarySetValue(nameDict, NumberKey(i).get(), element->GetName());
    }
  }
}

std::vector<AudioUnitElement> AUScope::RestoreElementNames(CFDictionaryRef nameDict) const {
  const CFIndex count = CFDictionaryGetCount(nameDict);
  std::vector<const void*> keys(static_cast<size_t>(count));
  std::vector<const void*> values(static_cast<size_t>(count));
  CFDictionaryGetKeysAndValues(nameDict, keys.data(), values.data());

  std::vector<AudioUnitElement> restored;
  for (CFIndex i = 0; i < count; ++i) {
    UInt32 elementNumber = 0;
    if (keys[i] == nullptr || values[i] == nullptr || CFGetTypeID(keys[i]) != CFStringGetTypeID() ||
        CFGetTypeID(values[i]) != CFStringGetTypeID() ||
        !ParseElementKey(static_cast<CFStringRef>(keys[i]), elementNumber)) {
      continue;
    }
    AUElement* element = GetElement(elementNumber);
    if (element == nullptr) {
      continue;
    }
    element->SetName(static_cast<CFStringRef>(values[i]));
    restored.push_back(elementNumber);
  }
  // Dictionary order is arbitrary; announce in element order.
  std::sort(restored.begin(), restored.end());
  return restored;
}

// ---- AUBase ----

OSStatus AUBase::SaveState(CFPropertyListRef* outData) {
  if (outData == nullptr) {
    return kAudio_ParamError;
  }
  const AudioComponentDescription description = GetComponentDescription();
  auto dict = Owned<CFMutableDictionaryRef>::FromCreate(
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));

  SetNumber(dict.get(), CFSTR(kAUPresetVersionKey), 0);
  SetNumber(dict.get(), CFSTR(kAUPresetTypeKey), static_cast<SInt32>(description.componentType));
  SetNumber(dict.get(), CFSTR(kAUPresetSubtypeKey), static_cast<SInt32>(description.componentSubType));
  SetNumber(dict.get(), CFSTR(kAUPresetManufacturerKey), static_cast<SInt32>(description.componentManufacturer));

  // Group-scope values are not part of the state; their names are.
  const auto data = Owned<CFMutableDataRef>::FromCreate(CFDataCreateMutable(nullptr, 0));
  for (const AudioUnitScope scope : {kAudioUnitScope_Global, kAudioUnitScope_Input, kAudioUnitScope_Output}) {
    mScopes[scope].SaveState(data.get());
  }
  SaveExtendedScopes(data.get());
  CFDictionarySetValue(dict.get(), CFSTR(kAUPresetDataKey), data.get());

  CFStringRef name = mCurrentPreset.presetName != nullptr ? mCurrentPreset.presetName : CFSTR("Untitled");
  CFDictionarySetValue(dict.get(), CFSTR(kAUPresetNameKey), name);

  UInt32 quality = 0;
  if (GetProperty(kAudioUnitProperty_RenderQuality, kAudioUnitScope_Global, 0, &quality) == noErr) {
    SetNumber(dict.get(), CFSTR(kAUPresetRenderQualityKey), static_cast<SInt32>(quality));
  }

  const auto nameDict = Owned<CFMutableDictionaryRef>::FromCreate(
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  for (UInt32 scope = 0; scope < kNumScopes; ++scope) {
    if (!mScopes[scope].HasElementWithName()) {
      continue;
    }
    const auto scopeNames = Owned<CFMutableDictionaryRef>::FromCreate(
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    mScopes[scope].AddElementNamesToDict(scopeNames.get());
    CFDictionarySetValue(nameDict.get(), NumberKey(scope).get(), scopeNames.get());
  }
  if (CFDictionaryGetCount(nameDict.get()) > 0) {
    CFDictionarySetValue(dict.get(), CFSTR(kAUPresetElementNameKey), nameDict.get());
  }

  *outData = dict.release();  // the caller's one reference
  return noErr;
}

OSStatus AUBase::RestoreState(CFPropertyListRef plist) {
  if (plist == nullptr || CFGetTypeID(plist) != CFDictionaryGetTypeID()) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  const auto* const dict = static_cast<CFDictionaryRef>(plist);

  // Every check comes before the first change.
  if (CFDictionaryContainsKey(dict, CFSTR(kAUPresetPartKey))) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  if (!NumberMatches(dict, CFSTR(kAUPresetVersionKey), 0)) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  // The type is not compared: state moves between an effect and its other flavours.
  const AudioComponentDescription description = GetComponentDescription();
  if (!NumberMatches(dict, CFSTR(kAUPresetSubtypeKey), description.componentSubType) ||
      !NumberMatches(dict, CFSTR(kAUPresetManufacturerKey), description.componentManufacturer)) {
    return kAudioUnitErr_InvalidPropertyValue;
  }

  // A trailing fragment shorter than a section header is ignored.
  if (const auto* const data = GetTyped<CFDataRef>(dict, CFSTR(kAUPresetDataKey), CFDataGetTypeID()); data != nullptr) {
    const UInt8* cursor = CFDataGetBytePtr(data);
    const UInt8* end = cursor != nullptr ? cursor + CFDataGetLength(data) : nullptr;
    while (Remaining(cursor, end) >= 3 * kWordSize) {
      AUScope& scope = GetScope(ReadBigEndian(cursor));  // throws for a scope that does not exist
      const UInt32 elementNumber = ReadBigEndian(cursor + kWordSize);
      cursor += 2 * kWordSize;
      if (AUElement* element = scope.GetElement(elementNumber); element != nullptr) {
        cursor = element->RestoreState(cursor, end);
      } else {
        const size_t count = ReadBigEndian(cursor);
        cursor += kWordSize;
        cursor = count > Remaining(cursor, end) / kEntrySize ? end : cursor + count * kEntrySize;
      }
    }
  }

  const auto* const name = GetTyped<CFStringRef>(dict, CFSTR(kAUPresetNameKey), CFStringGetTypeID());
  // Not the virtual: a subclass's preset handling is for presets the host chooses.
  AUBase::NewCustomPresetSet(AUPreset{-1, name != nullptr ? name : CFSTR("Untitled")});
  PropertyChanged(kAudioUnitProperty_PresentPreset, kAudioUnitScope_Global, 0);

  if (const auto* const quality = GetTyped<CFNumberRef>(dict, CFSTR(kAUPresetRenderQualityKey), CFNumberGetTypeID());
      quality != nullptr) {
    SInt32 value = 0;
    CFNumberGetValue(quality, kCFNumberSInt32Type, &value);
    const auto property = static_cast<UInt32>(value);
    DispatchSetProperty(kAudioUnitProperty_RenderQuality, kAudioUnitScope_Global, 0, &property, sizeof property);
  }

  if (const auto* const names =
          GetTyped<CFDictionaryRef>(dict, CFSTR(kAUPresetElementNameKey), CFDictionaryGetTypeID());
      names != nullptr) {
    for (UInt32 scope = 0; scope < kNumScopes; ++scope) {
      const auto* const scopeNames = GetTyped<CFDictionaryRef>(names, NumberKey(scope).get(), CFDictionaryGetTypeID());
      if (scopeNames == nullptr) {
        continue;
      }
      for (const AudioUnitElement element : mScopes[scope].RestoreElementNames(scopeNames)) {
        PropertyChanged(kAudioUnitProperty_ElementName, scope, element);
      }
    }
  }
  return noErr;
}

OSStatus AUBase::NewCustomPresetSet(const AUPreset& inNewCustomPreset) {
  if (inNewCustomPreset.presetName == nullptr) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  // Retained before the old name goes: the two may be the same string.
  CFRetain(inNewCustomPreset.presetName);
  CFStringRef oldName = mCurrentPreset.presetName;
  mCurrentPreset = inNewCustomPreset;
  if (oldName != nullptr) {
    CFRelease(oldName);
  }
  return noErr;
}

bool AUBase::SetAFactoryPresetAsCurrent(const AUPreset& preset) {
  if (preset.presetNumber < 0 || preset.presetName == nullptr) {
    return false;
  }
  return AUBase::NewCustomPresetSet(preset) == noErr;
}

}  // namespace ausdk
