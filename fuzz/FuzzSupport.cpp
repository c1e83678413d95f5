#include "FuzzSupport.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <limits>

#include "ausdk/AUPlugInDispatch.h"
#include "ausdk/ComponentBase.h"
#include "harness/TempHome.h"
#include "shell/DebugLog.h"
#include "shell/SupportFolder.h"
#include "shell/Veneer.h"
#include "standin/StandIn.h"

namespace fuzzing {
namespace {

namespace fs = std::filesystem;

harness::TempHome* gHome = nullptr;
AudioComponent gStandIns[std::size(standin::kAllVariants)] = {};

fs::path SupportFolder() { return gHome->SupportFolder(); }

void RemoveHome() { delete gHome; }

}  // namespace

float TakeValue(Bytes& in) {
  switch (in.Below(12)) {
    case 0:
      return in.Take<float>();
    case 1:
      return static_cast<float>(in.Take<uint8_t>()) / 255.0F;
    case 2:
      return std::numeric_limits<float>::quiet_NaN();
    case 3:
      return std::numeric_limits<float>::infinity();
    case 4:
      return -std::numeric_limits<float>::infinity();
    case 5:
      return FLT_MAX;
    case 6:
      return -FLT_MAX;
    case 7:
      return std::numeric_limits<float>::denorm_min();
    case 8:
      return -0.0F;
    case 9:
      return -1.0F;
    case 10:
      return static_cast<float>(in.Take<int16_t>());
    default:
      return 1e30F;
  }
}

double TakeSampleRate(Bytes& in) {
  static constexpr double kRates[] = {48000.0, 44100.0, 96000.0, 192000.0, 8000.0, 1.0, 0.0, -48000.0, 1e-300, 1e300};
  switch (in.Below(14)) {
    case 10:
      return std::numeric_limits<double>::quiet_NaN();
    case 11:
      return std::numeric_limits<double>::infinity();
    case 12:
      return -std::numeric_limits<double>::infinity();
    case 13:
      return in.Take<double>();
    default:
      return kRates[in.Below(std::size(kRates))];
  }
}

AudioUnitParameterID TakeParameterId(Bytes& in) {
  switch (in.Below(4)) {
    case 0:
      return in.Below(11);
    case 1:
      return 200 + in.Below(21);
    case 2: {
      const auto parameters = standin::ParametersOf(standin::kAllVariants[in.Below(std::size(standin::kAllVariants))]);
      return parameters.empty() ? 0 : parameters[in.Below(static_cast<uint32_t>(parameters.size()))].id;
    }
    default:
      return in.Take<uint32_t>();
  }
}

void Fail(const char* why) {
  std::fprintf(stderr, "fuzz check failed: %s\n", why);
  std::abort();
}

AudioComponent SetUpProcess() {
  static const AudioComponent veneer = [] {
    try {
      gHome = new harness::TempHome("veneer-fuzz");
    } catch (const std::exception&) {
      Fail("cannot make a temporary HOME");
    }
    std::atexit(RemoveHome);
    // Every instance logs a few lines per call; written nowhere, they cost a syscall each.
    fs::create_symlink("/dev/null", SupportFolder() / "veneer_debug.log");
    unsetenv("VENEER_COMPONENT_PATH");

    for (size_t i = 0; i < std::size(standin::kAllVariants); ++i) {
      gStandIns[i] = standin::Register(standin::kAllVariants[i]);
    }
    return ausdk::APFactory<ausdk::AUMIDILookup, veneer::Veneer>::Register(
        {kAudioUnitType_Effect, 'Vnr1', 'Tnvl', 0, 0}, CFSTR("Tonvale: Veneer"), 0x00010000);
  }();
  if (veneer == nullptr) {
    Fail("Veneer did not register");
  }
  return veneer;
}

size_t OpenProducts() { return standin::LiveCount(); }

void CheckProductsClosed(size_t mayStayOpen) {
  if (standin::LiveCount() > mayStayOpen) {
    Fail("a product instance outlived every unit the host had open");
  }
}

AudioComponent StandInComponent(standin::Variant variant) { return gStandIns[static_cast<size_t>(variant)]; }

void WriteSupportFile(const std::string& name, const std::string& text, Age age) {
  constexpr std::time_t kYear = 365L * 24 * 3600;
  gHome->WriteSupportFile(name, text, std::time(nullptr) + (age == Age::kFresh ? 10 * kYear : -60));
}

void RemoveSupportFile(const std::string& name) { unlink((SupportFolder() / name).c_str()); }

CFStringRef CreateText(std::span<const uint8_t> bytes) {
  if (bytes.empty()) {
    return CFStringCreateWithCString(nullptr, "", kCFStringEncodingUTF8);
  }
  CFStringRef text =
      CFStringCreateWithBytes(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8, false);
  return text != nullptr ? text : CFStringCreateWithCString(nullptr, "?", kCFStringEncodingUTF8);
}

CFNumberRef CreateInt(SInt64 value) { return CFNumberCreate(nullptr, kCFNumberSInt64Type, &value); }

}  // namespace fuzzing
