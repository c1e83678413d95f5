// A class-info dictionary built from the input, set on Veneer or on a stand-in
// product (which keeps its parameters in elements, so the blob does real
// work): each key present or not, of the right type or not, with the right or a
// wrong value, and a parameter blob with cut sections, oversized counts and
// unknown scopes and elements. The unit's own state must then restore and save
// again unchanged.
#include <AudioToolbox/AudioUnit.h>

#include <bit>
#include <vector>

#include "FuzzSupport.h"
#include "standin/StandIn.h"

namespace {

using fuzzing::Bytes;
using fuzzing::CF;
using fuzzing::CreateInt;
using fuzzing::CreateText;

CFNumberRef CreateInt32(SInt32 value) { return CFNumberCreate(nullptr, kCFNumberSInt32Type, &value); }
CFNumberRef CreateReal(double value) { return CFNumberCreate(nullptr, kCFNumberFloat64Type, &value); }

CFTypeRef CreateText(const char* text) { return CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8); }

// Sets `key` to `value` (taking it over) unless value is null.
void Put(CFMutableDictionaryRef dict, const char* key, CFTypeRef value) {
  const CF owned(value);
  const CF name(CreateText(key));
  if (value != nullptr) {
    CFDictionarySetValue(dict, name.get(), value);
  }
}

// A value for a key that should hold `code`: absent (null), the code as the
// unit writes it or as the unsigned code, another number, a float, or no number.
CFTypeRef CodeValue(Bytes& in, UInt32 code) {
  switch (in.Below(9)) {
    case 0:
    case 1:
      return CreateInt32(static_cast<SInt32>(code));
    case 2:
      return CreateInt(static_cast<SInt64>(code));
    case 3:
      return CreateInt(in.Take<SInt64>());
    case 4:
      return CreateInt32(static_cast<SInt32>(code ^ (1U << in.Below(32))));
    case 5:
      return CreateReal(static_cast<double>(code));
    case 6:
      return CreateText("0");
    case 7: {
      const UInt8 bytes[4] = {static_cast<UInt8>(code >> 24), static_cast<UInt8>(code >> 16),
                              static_cast<UInt8>(code >> 8), static_cast<UInt8>(code)};
      return CFDataCreate(nullptr, bytes, sizeof bytes);
    }
    default:
      return nullptr;
  }
}

void AppendWord(std::vector<UInt8>& blob, UInt32 word) {
  for (const int shift : {24, 16, 8, 0}) {
    blob.push_back(static_cast<UInt8>(word >> shift));
  }
}

// The parameter blob: sections of scope, element, count and (id, value) pairs;
// scopes and elements that exist or not, counts that match or overstate, ids
// the unit has or not, and the end cut off.
std::vector<UInt8> Blob(Bytes& in, const std::vector<AudioUnitParameterID>& ids) {
  std::vector<UInt8> blob;
  for (uint32_t section = 1 + in.Below(4); section > 0; --section) {
    const uint32_t scopeChoice = in.Below(6);
    AppendWord(blob, scopeChoice < 4 ? scopeChoice : in.Take<UInt32>());
    const uint32_t elementChoice = in.Below(4);
    AppendWord(blob, elementChoice < 3 ? elementChoice : in.Take<UInt32>());
    const uint32_t entries = in.Below(17);
    switch (in.Below(4)) {
      case 2:
        AppendWord(blob, entries + 1 + in.Below(4));
        break;
      case 3:
        AppendWord(blob, in.Take<UInt32>());
        break;
      default:
        AppendWord(blob, entries);
    }
    for (uint32_t i = 0; i < entries; ++i) {
      AppendWord(blob, in.Below(4) != 3 && !ids.empty() ? ids[in.Below(static_cast<uint32_t>(ids.size()))]
                                                        : in.Take<UInt32>());
      AppendWord(blob, in.Flag() ? in.Take<UInt32>() : std::bit_cast<UInt32>(fuzzing::TakeValue(in)));
    }
  }
  if (in.Below(4) == 3) {
    blob.resize(blob.size() - std::min<size_t>(blob.size(), 1 + in.Below(12)));
  }
  return blob;
}

// Element names: scope keys and element keys that are numbers or not, values
// that are strings or not.
CFTypeRef ElementNames(Bytes& in) {
  static constexpr const char* kScopeKeys[] = {"0", "1", "2", "3", "4", "-1", "x", "01"};
  static constexpr const char* kElementKeys[] = {"0", "1", "4294967295", "4294967296", "1x", "", "007", " 1"};
  const uint32_t choice = in.Below(4);
  if (choice == 0) {
    return nullptr;
  }
  if (choice == 3) {
    return CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks);
  }
  CFMutableDictionaryRef names =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  for (uint32_t scopes = 1 + in.Below(3); scopes > 0; --scopes) {
    CFMutableDictionaryRef scope =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (uint32_t elements = in.Below(4); elements > 0; --elements) {
      const CF key(in.Below(9) == 8 ? static_cast<CFTypeRef>(CreateInt(1)) : CreateText(kElementKeys[in.Below(8)]));
      const CF value(in.Below(4) == 3 ? static_cast<CFTypeRef>(CreateInt(5)) : CreateText(in.TakeSpan(in.Below(24))));
      CFDictionarySetValue(scope, key.get(), value.get());
    }
    const CF key(in.Below(9) == 8 ? static_cast<CFTypeRef>(CreateInt(0)) : CreateText(kScopeKeys[in.Below(8)]));
    const CF value(in.Below(8) == 7 ? CreateText("scope") : static_cast<CFTypeRef>(scope));
    if (value.get() != scope) {
      CFRelease(scope);
    }
    CFDictionarySetValue(names, key.get(), value.get());
  }
  return names;
}

// The class info to restore: mostly a dictionary, now and then something else.
CFTypeRef ClassInfo(Bytes& in, const AudioComponentDescription& own, const std::vector<AudioUnitParameterID>& ids) {
  switch (in.Below(32)) {
    case 29:
      return CreateText("not a dictionary");
    case 30:
      return CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks);
    case 31:
      return nullptr;
    default:
      break;
  }
  CFMutableDictionaryRef dict =
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
  Put(dict, kAUPresetVersionKey, CodeValue(in, 0));
  Put(dict, kAUPresetTypeKey, CodeValue(in, own.componentType));
  Put(dict, kAUPresetSubtypeKey, CodeValue(in, own.componentSubType));
  Put(dict, kAUPresetManufacturerKey, CodeValue(in, own.componentManufacturer));
  switch (in.Below(8)) {
    case 0:
    case 1:
    case 2:
    case 3: {
      const std::vector<UInt8> blob = Blob(in, ids);
      Put(dict, kAUPresetDataKey, CFDataCreate(nullptr, blob.data(), static_cast<CFIndex>(blob.size())));
      break;
    }
    case 4:
      break;
    case 5:
      Put(dict, kAUPresetDataKey, CreateText("data"));
      break;
    default:
      break;  // the rest of the input becomes the blob below
  }
  switch (in.Below(4)) {
    case 0:
    case 1:
      Put(dict, kAUPresetNameKey, CreateText(in.TakeSpan(in.Below(40))));
      break;
    case 2:
      Put(dict, kAUPresetNameKey, CreateInt(7));
      break;
    default:
      break;
  }
  switch (in.Below(5)) {
    case 1:
      Put(dict, kAUPresetRenderQualityKey, CreateInt32(in.Take<SInt32>()));
      break;
    case 2:
      Put(dict, kAUPresetRenderQualityKey, CreateReal(in.Take<double>()));
      break;
    case 3:
      Put(dict, kAUPresetRenderQualityKey, CreateText("127"));
      break;
    default:
      break;
  }
  Put(dict, kAUPresetElementNameKey, ElementNames(in));
  if (in.Below(8) == 7) {
    Put(dict, kAUPresetPartKey, in.Flag() ? CreateInt(0) : CreateText("part"));
  }
  if (!CFDictionaryContainsKey(dict, CF(CreateText(kAUPresetDataKey)).get())) {
    const auto rest = in.Rest();
    if (!rest.empty()) {
      Put(dict, kAUPresetDataKey, CFDataCreate(nullptr, rest.data(), static_cast<CFIndex>(rest.size())));
    }
  }
  return dict;
}

// Reads an element name back while the restore announces it, as a host's view would.
void OnNameChanged(void* /*refCon*/, AudioUnit unit, AudioUnitPropertyID id, AudioUnitScope scope,
                   AudioUnitElement element) {
  if (id != kAudioUnitProperty_ElementName) {
    return;
  }
  CFStringRef name = nullptr;
  UInt32 size = sizeof name;
  if (AudioUnitGetProperty(unit, id, scope, element, &name, &size) == noErr && name != nullptr) {
    CFRelease(name);
  }
}

CFPropertyListRef SaveState(AudioUnit unit) {
  CFPropertyListRef state = nullptr;
  UInt32 size = sizeof state;
  if (AudioUnitGetProperty(unit, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0, &state, &size) != noErr ||
      state == nullptr) {
    fuzzing::Fail("the unit cannot save its state");
  }
  return state;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const AudioComponent veneer = fuzzing::SetUpProcess();
  Bytes in(data, size);

  // Veneer, or one of the five products.
  const uint32_t which = in.Below(1 + std::size(standin::kAllVariants));
  const AudioComponent component = which == 0 ? veneer : fuzzing::StandInComponent(standin::kAllVariants[which - 1]);
  std::vector<AudioUnitParameterID> ids;
  if (which == 0) {
    for (AudioUnitParameterID id = 0; id <= 10; ++id) {
      ids.push_back(id);
    }
  } else {
    for (const standin::ParameterModel& parameter : standin::ParametersOf(standin::kAllVariants[which - 1])) {
      ids.push_back(parameter.id);
    }
  }
  AudioComponentDescription own{};
  AudioComponentGetDescription(component, &own);

  AudioUnit unit = nullptr;
  if (AudioComponentInstanceNew(component, &unit) != noErr || unit == nullptr) {
    fuzzing::Fail("the unit did not open");
  }
  AudioUnitAddPropertyListener(unit, kAudioUnitProperty_ElementName, OnNameChanged, nullptr);
  if (in.Below(4) == 3) {
    AudioUnitInitialize(unit);
  }

  {
    const CF state(ClassInfo(in, own, ids));
    const CFTypeRef value = state.get();
    // The property's value is the reference itself; now and then with a wrong size.
    const UInt32 sizes[] = {sizeof value, sizeof value, sizeof value, 4, 16};
    const UInt32 given = sizes[in.Below(std::size(sizes))];
    std::vector<std::byte> payload(given);
    std::memcpy(payload.data(), &value, std::min<size_t>(given, sizeof value));
    AudioUnitSetProperty(unit, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0, payload.data(), given);
  }

  const CF saved(SaveState(unit));
  const CFTypeRef savedRef = saved.get();
  if (AudioUnitSetProperty(unit, kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0, &savedRef, sizeof savedRef) !=
      noErr) {
    fuzzing::Fail("the unit refused its own saved state");
  }
  const CF again(SaveState(unit));
  if (!CFEqual(saved.get(), again.get())) {
    fuzzing::Fail("restoring its own state changed what the unit saves");
  }

  AudioComponentInstanceDispose(unit);
  fuzzing::CheckProductsClosed();
  return 0;
}
