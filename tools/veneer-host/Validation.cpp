#include "Validation.h"

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>
#include <ostream>
#include <random>

#include "ValidationUnit.h"
#include "VeneerWatch.h"

namespace host {

namespace {

using Clock = std::chrono::steady_clock;

// Parameter ids tried one by one when a unit lists none.
constexpr AudioUnitParameterID kProbedParameters = 1024;

CheckResult Fail(std::string detail) { return {false, std::move(detail)}; }

std::string Status(OSStatus status) { return std::to_string(status); }

double MillisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

std::string Fixed(double value, int decimals) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", decimals, value);
  return text;
}

struct Releaser {
  void operator()(const void* object) const { CFRelease(object); }
};
using Owned = std::unique_ptr<const void, Releaser>;

// A plain render's output must follow its input this closely (normalised correlation).
constexpr double kFollowing = 0.9;

// Renders `blocks` blocks of each size in turn; the first problem, or nothing.
std::optional<std::string> RenderBlocks(ValidationUnit& unit, const std::vector<UInt32>& sizes, int blocks = 4,
                                        std::vector<ValidationUnit::BlockFacts>* seen = nullptr) {
  for (int i = 0; i < blocks; ++i) {
    for (const UInt32 frames : sizes) {
      ValidationUnit::BlockFacts facts;
      if (const OSStatus status = unit.Render(frames, &facts); status != noErr) {
        return "render of " + std::to_string(frames) + " frames failed with " + Status(status);
      }
      if (!facts.finite) {
        return "output of " + std::to_string(frames) + " frames holds NaN or infinity";
      }
      if (seen != nullptr) {
        seen->push_back(facts);
      }
    }
  }
  return std::nullopt;
}

// Expected failures may make a framework log to standard error; the report stays clean of them.
class QuietStandardError {
 public:
  QuietStandardError() {
    std::fflush(stderr);
    saved_ = dup(STDERR_FILENO);
    const int null = open("/dev/null", O_WRONLY);
    if (null >= 0) {
      dup2(null, STDERR_FILENO);
      close(null);
    }
  }
  ~QuietStandardError() {
    std::fflush(stderr);
    if (saved_ >= 0) {
      dup2(saved_, STDERR_FILENO);
      close(saved_);
    }
  }
  QuietStandardError(const QuietStandardError&) = delete;
  QuietStandardError& operator=(const QuietStandardError&) = delete;

 private:
  int saved_ = -1;
};

std::optional<std::string> Configure(ValidationUnit& unit, double rate, UInt32 channels, UInt32 maxFrames) {
  if (!unit.Ok()) {
    return "open failed with " + Status(unit.OpenStatus());
  }
  std::string step;
  if (const OSStatus status = unit.Configure(rate, channels, maxFrames, &step); status != noErr) {
    return step + " failed with " + Status(status) + " (" + Fixed(rate, 0) + " Hz, " + std::to_string(channels) +
           " channels, " + std::to_string(maxFrames) + " frames)";
  }
  return std::nullopt;
}

CheckResult FromProblem(const std::optional<std::string>& problem, std::string detail = "") {
  return problem ? Fail(*problem) : CheckResult{true, std::move(detail)};
}

std::string Blocks(int count) { return std::to_string(count) + (count == 1 ? " block" : " blocks"); }

}  // namespace

Validator::Validator(AudioComponent component, std::ostream& out, ValidationHooks hooks)
    : component_(component), out_(out), hooks_(std::move(hooks)) {}

bool Validator::GoOn() {
  interrupted_ = interrupted_ || !hooks_.goOn();
  return !interrupted_;
}

void Validator::Run(const std::string& name, const Check& check) {
  if (!GoOn()) {
    return;
  }
  const CheckResult result = check();
  (result.passed ? passed_ : failed_) += 1;
  out_ << (result.passed ? "PASS  " : "FAIL  ") << name << (result.detail.empty() ? "" : ": " + result.detail)
       << std::endl;
}

bool Validator::RunAll() {
  {
    const ValidationUnit probe(component_);
    isVeneer_ = probe.Ok() && HandsOutInnerUnit(probe.Unit());
  }
  Run("open (cold and warm)", [this] { return OpenTimes(); });
  Run("required properties", [this] { return RequiredProperties(); });
  Run("default formats and channel table", [this] { return DefaultFormatsAndChannels(); });
  constexpr struct {
    UInt32 frames;
    double rate;
  } kRenders[] = {{64, 22050}, {137, 96000}, {4096, 48000}, {4096, 192000}, {4096, 11025}, {512, 44100}};
  for (const auto& render : kRenders) {
    Run("render " + std::to_string(render.frames) + " frames at " + Fixed(render.rate, 0) + " Hz",
        [this, render] { return RenderAt(render.frames, render.rate, 2); });
  }
  Run("render mono", [this] { return RenderAt(512, 44100, 1); });
  Run("sliced renders", [this] { return SlicedRenders(); });
  Run("render above the maximum frames", [this] { return TooManyFrames(); });
  Run("maximum frames changed between renders", [this] { return MaximumFramesChanged(); });
  Run("reset", [this] { return ResetBetweenRenders(); });
  Run("parameters set and scheduled", [this] { return ParametersSetAndScheduled(); });
  Run("MIDI", [this] { return Midi(); });
  Run("class info round trip", [this] { return ClassInfoRoundTrip(); });
  Run("a megabyte of random state refused", [this] { return RandomStateRefused(); });
  Run("repeated open, initialize, close", [this] { return RepeatedOpenClose(); });
  Run("host bypass", [this] { return HostBypass(); });
  ReportInnerUnit();
  const char* verdict = interrupted_   ? "validation INTERRUPTED: "
                        : failed_ == 0 ? "validation PASSED: "
                                       : "validation FAILED: ";
  out_ << verdict << passed_ << " passed, " << failed_ << " failed" << std::endl;
  return failed_ == 0 && !interrupted_;
}

Validator::Followed Validator::RenderFollowing(ValidationUnit& unit, const std::vector<UInt32>& sizes, int blocks,
                                               bool counted, bool bypassed) {
  std::vector<ValidationUnit::BlockFacts> seen;
  Followed followed;
  followed.problem = RenderBlocks(unit, sizes, blocks, &seen);
  const bool rendered = !followed.problem;
  followed.blocks = static_cast<int>(seen.size());
  for (std::size_t i = 0; i < seen.size(); ++i) {
    const ValidationUnit::BlockFacts& facts = seen[i];
    if (counted && !facts.first) {
      ++countedBlocks_;
      readingBlocks_ += facts.pulled ? 1 : 0;
    }
    followed.replayed += facts.replayed ? 1 : 0;
    followed.passed += facts.passed ? 1 : 0;
    if (!rendered || followed.problem) {
      continue;
    }
    const std::string block = "the output of block " + std::to_string(i + 1);
    if (isVeneer_ && !facts.pulled && !facts.replayed) {
      followed.problem = block + ", in which Veneer read no input, is not the block it read last played again";
    } else if (isVeneer_ && bypassed && facts.first && !facts.passed) {
      followed.problem = block + ", Veneer's first, is not its input unchanged";
    } else if (isVeneer_ && bypassed && !facts.first && !facts.replayed) {
      followed.problem = block + " is not the block Veneer read last played again";
    } else if ((facts.pulled || !isVeneer_) && facts.follows < kFollowing) {
      followed.problem = block + " does not follow the input (correlation " + Fixed(facts.follows, 2) + ", at least " +
                         Fixed(kFollowing, 2) + " expected)";
    }
  }
  return followed;
}

CheckResult Validator::FromFollowed(const Followed& followed, std::string detail) {
  if (followed.problem) {
    return Fail(*followed.problem);
  }
  if (followed.replayed > 0) {
    detail += (detail.empty() ? "" : "; ") + std::to_string(followed.replayed) + " of " + Blocks(followed.blocks) +
              " bypassed, each the block Veneer read last played again, sample for sample";
  }
  return {true, std::move(detail)};
}

void Validator::ReportInnerUnit() {
  if (!isVeneer_) {
    return;
  }
  out_ << "inner unit: rendered " << readingBlocks_ << " of " << countedBlocks_
       << " blocks of the render checks (counted after each instance's first block)";
  if (readingBlocks_ == 0) {
    out_ << "; every block took Veneer's bypass path"
         << (hooks_.companionPlayed ? " (it has no product)"
                                    : " (no product, or no companion application: its files were left alone)");
  } else if (readingBlocks_ < countedBlocks_) {
    out_ << "; the others took Veneer's bypass path";
  }
  out_ << std::endl;
}

CheckResult Validator::HostBypass() {
  ValidationUnit unit(component_);
  if (auto problem = Configure(unit, 44100, 2, 512)) {
    return Fail(*problem);
  }
  UInt32 size = 0;
  Boolean writable = false;
  if (AudioUnitGetPropertyInfo(unit.Unit(), kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, &size,
                               &writable) != noErr) {
    return {true, "the unit has no bypass"};
  }
  Followed followed[2];  // by the switch's value
  for (const UInt32 bypass : {1U, 0U}) {
    if (const OSStatus status = AudioUnitSetProperty(unit.Unit(), kAudioUnitProperty_BypassEffect,
                                                     kAudioUnitScope_Global, 0, &bypass, sizeof bypass);
        status != noErr) {
      return Fail("setting the bypass to " + std::to_string(bypass) + " failed with " + Status(status));
    }
    UInt32 readBack = 2;
    size = sizeof readBack;
    if (AudioUnitGetProperty(unit.Unit(), kAudioUnitProperty_BypassEffect, kAudioUnitScope_Global, 0, &readBack,
                             &size) != noErr ||
        readBack != bypass) {
      return Fail("the bypass set to " + std::to_string(bypass) + " reads back as " + std::to_string(readBack));
    }
    followed[bypass] = RenderFollowing(unit, {512}, 4, false, bypass != 0);
    if (followed[bypass].problem) {
      return Fail(std::string(bypass != 0 ? "bypassed: " : "after the bypass: ") + *followed[bypass].problem);
    }
  }
  if (!isVeneer_) {
    return {true, "bypassed and then not, the output follows the input"};
  }
  // Bypassed from its first block, Veneer plays that block's input unchanged, then that block again.
  const Followed& on = followed[1];
  const Followed& off = followed[0];
  return {true,
          "bypassed, Veneer played the input unchanged in " + Blocks(on.passed) +
              " and the block it read last again in " + Blocks(on.replayed) + ", sample for sample; then not, " +
              (off.replayed == 0 ? "the output follows the input"
                                 : "still bypassed, the block it read last played again in " + Blocks(off.replayed))};
}

CheckResult Validator::OpenTimes() {
  double times[2] = {0, 0};
  for (double& time : times) {
    const Clock::time_point start = Clock::now();
    ValidationUnit unit(component_);
    time = MillisecondsSince(start);
    if (!unit.Ok()) {
      return Fail("open failed with " + Status(unit.OpenStatus()));
    }
  }
  return {true, "cold " + Fixed(times[0], 2) + " ms, warm " + Fixed(times[1], 2) + " ms"};
}

CheckResult Validator::RequiredProperties() {
  ValidationUnit unit(component_);
  if (!unit.Ok()) {
    return Fail("open failed with " + Status(unit.OpenStatus()));
  }
  constexpr struct {
    AudioUnitPropertyID id;
    AudioUnitScope scope;
    UInt32 size;  // 0: any multiple of 4
    const char* name;
  } kRequired[] = {
      {kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, sizeof(AudioStreamBasicDescription), "input format"},
      {kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, sizeof(AudioStreamBasicDescription), "output format"},
      {kAudioUnitProperty_SampleRate, kAudioUnitScope_Output, sizeof(Float64), "sample rate"},
      {kAudioUnitProperty_MaximumFramesPerSlice, kAudioUnitScope_Global, sizeof(UInt32), "maximum frames"},
      {kAudioUnitProperty_Latency, kAudioUnitScope_Global, sizeof(Float64), "latency"},
      {kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, sizeof(CFPropertyListRef), "class info"},
      {kAudioUnitProperty_ElementCount, kAudioUnitScope_Input, sizeof(UInt32), "element count"},
      {kAudioUnitProperty_SupportedNumChannels, kAudioUnitScope_Global, 0, "channel table"},
      {kAudioUnitProperty_ParameterList, kAudioUnitScope_Global, 0, "parameter list"},
  };
  std::string problems;
  for (const auto& property : kRequired) {
    UInt32 size = 0;
    Boolean writable = false;
    const OSStatus status = AudioUnitGetPropertyInfo(unit.Unit(), property.id, property.scope, 0, &size, &writable);
    if (status != noErr) {
      problems += std::string(problems.empty() ? "" : "; ") + property.name + " answers " + Status(status);
    } else if (property.size != 0 ? size != property.size : size % 4 != 0) {
      problems += std::string(problems.empty() ? "" : "; ") + property.name + " has size " + std::to_string(size);
    }
  }
  std::string names;
  for (const auto& property : kRequired) {
    names += std::string(names.empty() ? "" : ", ") + property.name;
  }
  return problems.empty() ? CheckResult{true, std::to_string(std::size(kRequired)) + " properties: " + names}
                          : Fail(problems);
}

CheckResult Validator::DefaultFormatsAndChannels() {
  ValidationUnit unit(component_);
  if (!unit.Ok()) {
    return Fail("open failed with " + Status(unit.OpenStatus()));
  }
  AudioStreamBasicDescription format{};
  UInt32 size = sizeof format;
  if (const OSStatus status =
          AudioUnitGetProperty(unit.Unit(), kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0, &format, &size);
      status != noErr) {
    return Fail("output format answers " + Status(status));
  }
  if (format.mFormatID != kAudioFormatLinearPCM || (format.mFormatFlags & kAudioFormatFlagIsFloat) == 0 ||
      format.mBitsPerChannel != 32 || !(format.mSampleRate > 0)) {
    return Fail("the default output format is not 32-bit float linear PCM");
  }
  UInt32 tableSize = 0;
  Boolean writable = false;
  if (AudioUnitGetPropertyInfo(unit.Unit(), kAudioUnitProperty_SupportedNumChannels, kAudioUnitScope_Global, 0,
                               &tableSize, &writable) != noErr ||
      tableSize == 0) {
    return {true, "default " + Fixed(format.mSampleRate, 0) + " Hz, " + std::to_string(format.mChannelsPerFrame) +
                      " channels; no channel table (any matching counts)"};
  }
  std::vector<AUChannelInfo> table(tableSize / sizeof(AUChannelInfo));
  if (AudioUnitGetProperty(unit.Unit(), kAudioUnitProperty_SupportedNumChannels, kAudioUnitScope_Global, 0,
                           table.data(), &tableSize) != noErr) {
    return Fail("the channel table cannot be read");
  }
  std::string entries;
  for (const AUChannelInfo& entry : table) {
    entries +=
        (entries.empty() ? "" : ", ") + std::to_string(entry.inChannels) + "->" + std::to_string(entry.outChannels);
  }
  return {true, "default " + Fixed(format.mSampleRate, 0) + " Hz, " + std::to_string(format.mChannelsPerFrame) +
                    " channels; channel table " + entries};
}

CheckResult Validator::RenderAt(UInt32 frames, double sampleRate, UInt32 channels) {
  ValidationUnit unit(component_);
  if (auto problem = Configure(unit, sampleRate, channels, frames)) {
    return Fail(*problem);
  }
  const Followed followed = RenderFollowing(unit, {frames}, 8);
  return FromFollowed(followed, followed.replayed == 0 ? "8 blocks, the output finite and following the input"
                                                       : "8 blocks, the output finite");
}

CheckResult Validator::SlicedRenders() {
  ValidationUnit unit(component_);
  if (auto problem = Configure(unit, 44100, 2, 512)) {
    return Fail(*problem);
  }
  return FromFollowed(RenderFollowing(unit, {512, 1, 17, 256, 511, 100, 64}, 4), "blocks of 1 to 512 frames in turn");
}

CheckResult Validator::TooManyFrames() {
  ValidationUnit unit(component_);
  if (auto problem = Configure(unit, 44100, 2, 512)) {
    return Fail(*problem);
  }
  ValidationUnit::BlockFacts facts;
  OSStatus status = noErr;
  {
    const QuietStandardError quiet;
    status = unit.Render(1024, &facts);
  }
  if (status == noErr) {
    return Fail("1024 frames rendered with a maximum of 512");
  }
  if (auto problem = RenderBlocks(unit, {512}, 2)) {
    return Fail("after the refusal: " + *problem);
  }
  return {true, "refused with " + Status(status) + ", and renders again afterwards"};
}

CheckResult Validator::MaximumFramesChanged() {
  ValidationUnit unit(component_);
  Followed all;
  for (const UInt32 maximum : {256U, 2048U, 128U}) {
    if (auto problem = Configure(unit, 48000, 2, maximum)) {
      return Fail(*problem);
    }
    const Followed followed = RenderFollowing(unit, {maximum, maximum / 2}, 2);
    if (followed.problem) {
      return Fail(*followed.problem);
    }
    all.blocks += followed.blocks;
    all.replayed += followed.replayed;
  }
  return FromFollowed(all, "256, 2048, then 128");
}

CheckResult Validator::ResetBetweenRenders() {
  ValidationUnit unit(component_);
  if (auto problem = Configure(unit, 44100, 2, 512)) {
    return Fail(*problem);
  }
  if (auto problem = RenderBlocks(unit, {512}, 2)) {
    return Fail(*problem);
  }
  if (const OSStatus status = AudioUnitReset(unit.Unit(), kAudioUnitScope_Global, 0); status != noErr) {
    return Fail("reset failed with " + Status(status));
  }
  return FromFollowed(RenderFollowing(unit, {512}, 2), "");
}

CheckResult Validator::ParametersSetAndScheduled() {
  ValidationUnit unit(component_);
  if (auto problem = Configure(unit, 44100, 2, 512)) {
    return Fail(*problem);
  }
  UInt32 size = 0;
  Boolean writable = false;
  if (AudioUnitGetPropertyInfo(unit.Unit(), kAudioUnitProperty_ParameterList, kAudioUnitScope_Global, 0, &size,
                               &writable) != noErr) {
    size = 0;
  }
  std::vector<AudioUnitParameterID> ids(size / sizeof(AudioUnitParameterID));
  if (!ids.empty() && AudioUnitGetProperty(unit.Unit(), kAudioUnitProperty_ParameterList, kAudioUnitScope_Global, 0,
                                           ids.data(), &size) != noErr) {
    return Fail("the parameter list cannot be read");
  }
  // A unit may publish no list and still answer for parameters reached by number.
  const bool probed = ids.empty();
  for (AudioUnitParameterID id = 0; probed && id < kProbedParameters; ++id) {
    AudioUnitParameterInfo info{};
    UInt32 infoSize = sizeof info;
    if (AudioUnitGetProperty(unit.Unit(), kAudioUnitProperty_ParameterInfo, kAudioUnitScope_Global, id, &info,
                             &infoSize) == noErr) {
      if ((info.flags & kAudioUnitParameterFlag_CFNameRelease) != 0 && info.cfNameString != nullptr) {
        CFRelease(info.cfNameString);
      }
      ids.push_back(id);
    }
  }
  int refused = 0;
  for (const AudioUnitParameterID id : ids) {
    AudioUnitParameterInfo info{};
    UInt32 infoSize = sizeof info;
    if (const OSStatus status = AudioUnitGetProperty(unit.Unit(), kAudioUnitProperty_ParameterInfo,
                                                     kAudioUnitScope_Global, id, &info, &infoSize);
        status != noErr) {
      return Fail("parameter " + std::to_string(id) + " has no info (" + Status(status) + ")");
    }
    if ((info.flags & kAudioUnitParameterFlag_CFNameRelease) != 0 && info.cfNameString != nullptr) {
      CFRelease(info.cfNameString);
    }
    if (!(info.minValue <= info.defaultValue && info.defaultValue <= info.maxValue)) {
      return Fail("parameter " + std::to_string(id) + ": default outside its range");
    }
    // Only a parameter that says it is writable must take every value of its range.
    const bool markedWritable = (info.flags & kAudioUnitParameterFlag_IsWritable) != 0;
    for (const AudioUnitParameterValue value : {info.minValue, info.maxValue, info.defaultValue}) {
      if (const OSStatus status = AudioUnitSetParameter(unit.Unit(), id, kAudioUnitScope_Global, 0, value, 0);
          status != noErr) {
        if (markedWritable) {
          return Fail("parameter " + std::to_string(id) + " refused " + Fixed(value, 3) + " (" + Status(status) + ")");
        }
        ++refused;
      }
      AudioUnitParameterValue readBack = 0;
      if (AudioUnitGetParameter(unit.Unit(), id, kAudioUnitScope_Global, 0, &readBack) != noErr ||
          !std::isfinite(readBack)) {
        return Fail("parameter " + std::to_string(id) + " cannot be read back");
      }
    }
    AudioUnitParameterEvent events[2]{};
    events[0].scope = kAudioUnitScope_Global;
    events[0].parameter = id;
    events[0].eventType = kParameterEvent_Immediate;
    events[0].eventValues.immediate = {64, info.maxValue};
    events[1] = events[0];
    events[1].eventType = kParameterEvent_Ramped;
    events[1].eventValues.ramp = {128, 256, info.maxValue, info.minValue};
    if (const OSStatus status = AudioUnitScheduleParameters(unit.Unit(), events, 2); status != noErr) {
      return Fail("scheduling parameter " + std::to_string(id) + " failed with " + Status(status));
    }
    if (auto problem = RenderBlocks(unit, {512}, 1)) {
      return Fail("after scheduling parameter " + std::to_string(id) + ": " + *problem);
    }
  }
  return {true, std::to_string(ids.size()) + " parameters" + (probed ? " (found by number; the list is empty)" : "") +
                    " set to their minimum, maximum and default (" + std::to_string(refused) +
                    " values refused by parameters not marked writable), scheduled immediate and ramped"};
}

CheckResult Validator::Midi() {
  ValidationUnit unit(component_);
  if (auto problem = Configure(unit, 44100, 2, 512)) {
    return Fail(*problem);
  }
  const OSStatus noteOn = MusicDeviceMIDIEvent(unit.Unit(), 0x90, 60, 100, 0);
  const OSStatus noteOff = MusicDeviceMIDIEvent(unit.Unit(), 0x80, 60, 0, 0);
  // A unit that takes no MIDI answers that it has no such call, or that it does nothing with it.
  for (const OSStatus status : {noteOn, noteOff}) {
    if (status != noErr && status != badComponentSelector && status != kAudio_UnimplementedError) {
      return Fail("a MIDI event answered " + Status(status));
    }
  }
  return FromProblem(RenderBlocks(unit, {512}, 2),
                     noteOn == noErr ? "note on and off accepted" : "the unit takes no MIDI");
}

CheckResult Validator::ClassInfoRoundTrip() {
  ValidationUnit unit(component_);
  if (!unit.Ok()) {
    return Fail("open failed with " + Status(unit.OpenStatus()));
  }
  CFPropertyListRef saved = nullptr;
  UInt32 size = sizeof saved;
  if (const OSStatus status =
          AudioUnitGetProperty(unit.Unit(), kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0, &saved, &size);
      status != noErr || saved == nullptr) {
    return Fail("class info answers " + Status(status));
  }
  const Owned first(saved);
  if (const OSStatus status =
          AudioUnitSetProperty(unit.Unit(), kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0, &saved, size);
      status != noErr) {
    return Fail("its own class info refused with " + Status(status));
  }
  CFPropertyListRef again = nullptr;
  if (AudioUnitGetProperty(unit.Unit(), kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0, &again, &size) !=
          noErr ||
      again == nullptr) {
    return Fail("class info cannot be read after the restore");
  }
  const Owned second(again);
  if (CFEqual(first.get(), second.get()) == 0) {
    return Fail("the class info read after the restore differs");
  }
  return {true, "saved, restored and saved again unchanged"};
}

CheckResult Validator::RandomStateRefused() {
  ValidationUnit unit(component_);
  if (auto problem = Configure(unit, 44100, 2, 512)) {
    return Fail(*problem);
  }
  std::vector<UInt8> bytes(1 << 20);
  std::mt19937 random(1);
  for (UInt8& byte : bytes) {
    byte = static_cast<UInt8>(random());
  }
  const Owned data(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(bytes.size())));
  const CFPropertyListRef notADictionary = data.get();
  OSStatus status = noErr;
  {
    const QuietStandardError quiet;
    status = AudioUnitSetProperty(unit.Unit(), kAudioUnitProperty_ClassInfo, kAudioUnitScope_Global, 0, &notADictionary,
                                  sizeof notADictionary);
  }
  if (status == noErr) {
    return Fail("a megabyte of random bytes was taken as the unit's state");
  }
  if (auto problem = RenderBlocks(unit, {512}, 2)) {
    return Fail("after the refusal: " + *problem);
  }
  return {true, "refused with " + Status(status) + ", and renders on"};
}

CheckResult Validator::RepeatedOpenClose() {
  constexpr int kCycles = 20;
  for (int i = 0; i < kCycles; ++i) {
    if (!GoOn()) {
      return Fail("interrupted after " + std::to_string(i) + " cycles");
    }
    ValidationUnit unit(component_);
    if (auto problem = Configure(unit, 44100, 2, 512)) {
      return Fail("cycle " + std::to_string(i + 1) + ": " + *problem);
    }
    if (auto problem = RenderBlocks(unit, {512}, 1)) {
      return Fail("cycle " + std::to_string(i + 1) + ": " + *problem);
    }
  }
  return {true, std::to_string(kCycles) + " cycles"};
}

}  // namespace host
