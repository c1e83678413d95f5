// veneer-host validate, run as a user runs it on fresh home folders, and the
// validator itself on a unit that poses as Veneer but plays the wrong thing.
#include <AudioToolbox/AudioUnit.h>
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "InstalledProducts.h"
#include "RunProgram.h"
#include "Validation.h"

namespace {

namespace fs = std::filesystem;

// veneer-host registers a stand-in product in its own process on Linux only.
#if defined(__APPLE__)
constexpr bool kHostHasStandIns = false;
#else
constexpr bool kHostHasStandIns = true;
#endif

class VeneerHostValidateTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/veneer-validate-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root_ = pattern;
  }
  void TearDown() override { fs::remove_all(root_); }

  // A home folder where nothing has run yet.
  std::string FreshHome(const std::string& name) const {
    fs::create_directories(root_ + "/" + name);
    return root_ + "/" + name;
  }
  static std::string SettingsFile(const std::string& home) {
    return home + "/Library/Application Support/Tonvale/plugin_state.txt";
  }

  // Veneer comes from the build's bundle unless the arguments name another unit.
  testsupport::ProgramResult Validate(const std::string& home, std::vector<std::string> args) const {
    args.insert(args.begin(), {VENEER_HOST_PATH, "validate"});
    if (std::find(args.begin(), args.end(), "--module") == args.end()) {
      args.insert(args.end(), {"--module", VENEER_BUNDLE_PATH});
    }
    return testsupport::RunProgram(args, {"HOME=" + home}, root_);
  }

  std::string root_;
};

bool Has(const testsupport::ProgramResult& result, const std::string& text) {
  return result.out.find(text) != std::string::npos;
}

// The report without the line that times the opens.
std::string Verdicts(const std::string& out) {
  std::istringstream lines(out);
  std::string kept;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("PASS  open") && !line.starts_with("created the support folder")) {
      kept += line + "\n";
    }
  }
  return kept;
}

TEST_F(VeneerHostValidateTest, VeneerPassesOnEveryFreshHomeAndNoSettingsFileIsLeft) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  if (!kHostHasStandIns) {
    GTEST_SKIP() << "no stand-in product in veneer-host here";
  }
  // No companion ever ran on these homes: validate plays it, so no check depends on when
  // Veneer's link first looks for its heartbeat.
  for (int run = 1; run <= 5; ++run) {
    const std::string home = FreshHome("home" + std::to_string(run));
    const auto result = Validate(home, {});
    ASSERT_EQ(result.status, 0) << "run " << run << "\n" << result.out << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_TRUE(Has(result, "validation PASSED: 20 passed, 0 failed")) << result.out;
    EXPECT_TRUE(Has(result, "PASS  render above the maximum frames: refused with -10874")) << result.out;
    EXPECT_TRUE(Has(result, "PASS  required properties: 9 properties: input format, output format, sample rate"));
    EXPECT_TRUE(Has(result, "PASS  render 512 frames at 44100 Hz: 8 blocks, the output finite and following the input"))
        << result.out;
    EXPECT_TRUE(Has(result,
                    "PASS  host bypass: bypassed, Veneer played the input unchanged in 1 block and the block "
                    "it read last again in 3 blocks, sample for sample; then not, the output follows the input"))
        << result.out;
    std::size_t rendered = 0;
    std::size_t counted = 0;
    const std::size_t line = result.out.find("inner unit: rendered ");
    ASSERT_NE(line, std::string::npos) << result.out;
    ASSERT_EQ(std::sscanf(result.out.c_str() + line, "inner unit: rendered %zu of %zu", &rendered, &counted), 2);
    EXPECT_EQ(rendered, counted) << "run " << run << ": the companion alive, every block went through the product";
    EXPECT_GT(counted, 50U);
    EXPECT_FALSE(fs::exists(SettingsFile(home))) << "there was none before";
    EXPECT_TRUE(fs::is_directory(fs::path(SettingsFile(home)).parent_path())) << "the support folder it made stays";
  }
}

TEST_F(VeneerHostValidateTest, TheSettingsFileIsPutBackByteForByteWithItsTime) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  const std::string home = FreshHome("home");
  const std::string path = SettingsFile(home);
  fs::create_directories(fs::path(path).parent_path());
  // An application that quit an hour ago left its settings; validate sends others over them.
  const std::string before = "seq=41\r\nkey=3\nscale=2\nappRunning=0\nnot a setting\n";
  {
    std::ofstream file(path, std::ios::binary);
    file << before;
  }
  const auto anHourAgo = fs::file_time_type::clock::now() - std::chrono::hours(1);
  fs::last_write_time(path, anHourAgo);

  const auto result = Validate(home, {"--set", "key=2", "--standin", "none"});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  std::ifstream file(path, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), before);
  EXPECT_EQ(std::chrono::duration_cast<std::chrono::seconds>(fs::last_write_time(path) - anHourAgo).count(), 0)
      << "the heartbeat as stale as it was";
}

TEST_F(VeneerHostValidateTest, WithoutAProductVeneerReplaysItsLastBlockAndPassesEveryTime) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  // Without a product every block takes Veneer's bypass path: the first one plays the input,
  // every later one plays the block read last again, silence past its end.
  const auto first = Validate(FreshHome("first"), {"--standin", "none"});
  const auto second = Validate(FreshHome("second"), {"--standin", "none", "--no-companion"});
  ASSERT_EQ(first.status, 0) << first.out << first.err;
  EXPECT_EQ(second.status, 0) << second.out << second.err;
  EXPECT_TRUE(Has(first, "inner unit: rendered 0 of 89 blocks")) << first.out;
  EXPECT_TRUE(Has(first,
                  "PASS  maximum frames changed between renders: 256, 2048, then 128; 11 of 12 blocks "
                  "bypassed, each the block Veneer read last played again, sample for sample"))
      << first.out;
  EXPECT_TRUE(Has(first, "PASS  sliced renders: blocks of 1 to 512 frames in turn; 27 of 28 blocks bypassed"))
      << first.out;
  EXPECT_TRUE(Has(first, "then not, still bypassed, the block it read last played again in 4 blocks")) << first.out;
  EXPECT_TRUE(Has(first, "every block took Veneer's bypass path (it has no product)")) << first.out;
  EXPECT_TRUE(Has(second, "(no product, or no companion application: its files were left alone)")) << second.out;
  const std::string reason = "(no product, or no companion application: its files were left alone)";
  std::string secondVerdicts = Verdicts(second.out);
  secondVerdicts.replace(secondVerdicts.find(reason), reason.size(), "(it has no product)");
  EXPECT_EQ(Verdicts(first.out), secondVerdicts) << "the same verdicts, companion or not";
  EXPECT_FALSE(fs::exists(root_ + "/second/Library")) << "--no-companion leaves the support folder alone";
}

TEST_F(VeneerHostValidateTest, AUnitThatIsNotVeneerStillFailsAndBadOptionsAreRefused) {
  const std::string home = FreshHome("home");
  const auto bare = Validate(home, {"--module", BARE_MODULE_PATH, "--factory", "BundleTestFactory", "--component",
                                    "aufx:Bare:Test", "--standin", "none"});
  EXPECT_EQ(bare.status, 1);
  EXPECT_TRUE(Has(bare, "FAIL  required properties")) << bare.out;
  EXPECT_TRUE(Has(bare, "validation FAILED")) << bare.out;
  EXPECT_FALSE(Has(bare, "inner unit:")) << "only Veneer has an inner unit";
  EXPECT_FALSE(fs::exists(SettingsFile(home)));

  const auto clash = Validate(home, {"--no-companion", "--set", "key=2"});
  EXPECT_EQ(clash.status, 2);
  EXPECT_NE(clash.err.find("--no-companion leaves the link alone, so --set cannot send settings"), std::string::npos)
      << clash.err;
}

// A unit that answers Veneer's inner-unit property and reads its input on its first render
// only, as a bypassed Veneer does, but then plays that block at half its level: as if its
// product processed the held block. The output correlates fully with the input; it is still
// not what Veneer plays.
namespace poser {

constexpr AudioUnitPropertyID kInnerUnitProperty = 0x766E6975;  // 'vniu'

struct Instance {
  AudioComponentPlugInInterface interface;
  AURenderCallbackStruct input{};
  double sampleRate = 44100;
  UInt32 maxFrames = 512;
  std::vector<float> held;  // the first block read, first channel
};

Instance* Self(void* self) { return static_cast<Instance*>(self); }

OSStatus Open(void* /*self*/, AudioComponentInstance /*instance*/) { return noErr; }
OSStatus Close(void* self) {
  delete Self(self);
  return noErr;
}
OSStatus Nothing(void* /*self*/) { return noErr; }

OSStatus GetPropertyInfo(void* /*self*/, AudioUnitPropertyID id, AudioUnitScope /*scope*/, AudioUnitElement /*element*/,
                         UInt32* outSize, Boolean* outWritable) {
  if (id != kInnerUnitProperty) {
    return kAudioUnitErr_InvalidProperty;
  }
  *outSize = sizeof(AudioUnit);
  *outWritable = 0;
  return noErr;
}

OSStatus GetProperty(void* /*self*/, AudioUnitPropertyID id, AudioUnitScope /*scope*/, AudioUnitElement /*element*/,
                     void* outData, UInt32* ioDataSize) {
  if (id == kInnerUnitProperty && *ioDataSize >= sizeof(AudioUnit)) {
    *static_cast<AudioUnit*>(outData) = nullptr;
    *ioDataSize = sizeof(AudioUnit);
    return noErr;
  }
  return kAudioUnitErr_InvalidProperty;
}

OSStatus SetProperty(void* self, AudioUnitPropertyID id, AudioUnitScope /*scope*/, AudioUnitElement /*element*/,
                     const void* data, UInt32 /*size*/) {
  if (id == kAudioUnitProperty_StreamFormat) {
    Self(self)->sampleRate = static_cast<const AudioStreamBasicDescription*>(data)->mSampleRate;
  } else if (id == kAudioUnitProperty_MaximumFramesPerSlice) {
    Self(self)->maxFrames = *static_cast<const UInt32*>(data);
  } else if (id == kAudioUnitProperty_SetRenderCallback) {
    Self(self)->input = *static_cast<const AURenderCallbackStruct*>(data);
  }
  return noErr;
}

OSStatus Render(void* self, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* timeStamp, UInt32 /*bus*/,
                UInt32 frames, AudioBufferList* data) {
  Instance& unit = *Self(self);
  if (frames > unit.maxFrames) {
    return kAudioUnitErr_TooManyFramesToProcess;
  }
  if (unit.held.empty()) {
    const OSStatus status = unit.input.inputProc(unit.input.inputProcRefCon, flags, timeStamp, 0, frames, data);
    const auto* first = static_cast<const float*>(data->mBuffers[0].mData);
    unit.held.assign(first, first + frames);
    return status;
  }
  for (UInt32 b = 0; b < data->mNumberBuffers; ++b) {
    auto* samples = static_cast<float*>(data->mBuffers[b].mData);
    for (UInt32 i = 0; i < frames; ++i) {
      samples[i] = i < unit.held.size() ? 0.5F * unit.held[i] : 0.0F;
    }
  }
  return noErr;
}

AudioComponentMethod Lookup(SInt16 selector) {
  switch (selector) {
    case kAudioUnitInitializeSelect:
    case kAudioUnitUninitializeSelect:
      return reinterpret_cast<AudioComponentMethod>(Nothing);
    case kAudioUnitGetPropertyInfoSelect:
      return reinterpret_cast<AudioComponentMethod>(GetPropertyInfo);
    case kAudioUnitGetPropertySelect:
      return reinterpret_cast<AudioComponentMethod>(GetProperty);
    case kAudioUnitSetPropertySelect:
      return reinterpret_cast<AudioComponentMethod>(SetProperty);
    case kAudioUnitRenderSelect:
      return reinterpret_cast<AudioComponentMethod>(Render);
    default:
      return nullptr;
  }
}

AudioComponentPlugInInterface* Factory(const AudioComponentDescription* /*description*/) {
  auto* instance = new Instance{};
  instance->interface = {Open, Close, Lookup, nullptr};
  return &instance->interface;
}

}  // namespace poser

TEST(ValidatorTest, AVeneerThatPlaysItsLastBlockAlteredWhenItReadsNothingFails) {
  const AudioComponentDescription description{kAudioUnitType_Effect, 0x506F7372, 0x54657374, 0, 0};  // aufx:Posr:Test
  AudioComponent component = AudioComponentRegister(&description, CFSTR("Test: poser"), 1, poser::Factory);
  ASSERT_NE(component, nullptr);
  std::ostringstream out;
  EXPECT_FALSE(host::Validator(component, out).RunAll());
  EXPECT_NE(out.str().find("FAIL  render 512 frames at 44100 Hz: the output of block 2, in which Veneer read no input, "
                           "is not the block it read last played again"),
            std::string::npos)
      << out.str();
  EXPECT_NE(out.str().find("inner unit: rendered 0 of "), std::string::npos) << out.str();
}

}  // namespace
