// Scopes, elements, parameter storage, buffers, stream formats, channel
// layouts and the lifecycle of AUBase.
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "CaptureStderr.h"
#include "TestUnits.h"

namespace {

using testunits::Instance;
using testunits::MultiBusUnit;
using testunits::TestEffect;

AudioComponent EffectComponent() {
  static AudioComponent component = testunits::Register<ausdk::AUBaseLookup, TestEffect>(kAudioUnitType_Effect, 'elm1');
  return component;
}

class ElementsParameters : public ::testing::Test {
 protected:
  ElementsParameters() : unit_(EffectComponent()), effect_(testunits::UnitFor<TestEffect>(unit_)) {}
  Instance unit_;
  TestEffect* effect_;
};

TEST_F(ElementsParameters, GlobalParameterReadAndWrittenThroughTheApi) {
  AudioUnitParameterValue value = 0;
  ASSERT_EQ(AudioUnitGetParameter(unit_, 0, kAudioUnitScope_Global, 0, &value), noErr);
  EXPECT_FLOAT_EQ(value, 1.0F);
  ASSERT_EQ(AudioUnitSetParameter(unit_, 0, kAudioUnitScope_Global, 0, 0.5F, 0), noErr);
  ASSERT_EQ(AudioUnitGetParameter(unit_, 0, kAudioUnitScope_Global, 0, &value), noErr);
  EXPECT_FLOAT_EQ(value, 0.5F);
}

TEST_F(ElementsParameters, SettingAnUnknownIdCreatesItOnlyBeforeInitialization) {
  AudioUnitParameterValue value = 0;
  EXPECT_EQ(AudioUnitGetParameter(unit_, 7, kAudioUnitScope_Global, 0, &value), kAudioUnitErr_InvalidParameter);
  ASSERT_EQ(AudioUnitSetParameter(unit_, 7, kAudioUnitScope_Global, 0, 0.75F, 0), noErr);
  ASSERT_EQ(AudioUnitGetParameter(unit_, 7, kAudioUnitScope_Global, 0, &value), noErr);
  EXPECT_FLOAT_EQ(value, 0.75F);

  ASSERT_EQ(AudioUnitInitialize(unit_), noErr);
  testsupport::CaptureStderr capture;
  EXPECT_EQ(AudioUnitSetParameter(unit_, 9, kAudioUnitScope_Global, 0, 0.25F, 0), kAudioUnitErr_InvalidParameter);
  EXPECT_EQ(capture.Finish(), "Warning: " + effect_->GetLoggingString() +
                                  " SetParameter for undefined param ID 9 while initialized. Ignoring.\n");
  EXPECT_EQ(AudioUnitGetParameter(unit_, 9, kAudioUnitScope_Global, 0, &value), kAudioUnitErr_InvalidParameter);
  // Known ids stay writable while initialized.
  EXPECT_EQ(AudioUnitSetParameter(unit_, 7, kAudioUnitScope_Global, 0, 0.5F, 0), noErr);
}

TEST_F(ElementsParameters, MissingScopesAndElementsAnswerTheirStatuses) {
  AudioUnitParameterValue value = 0;
  EXPECT_EQ(AudioUnitGetParameter(unit_, 0, kAudioUnitScope_Part, 0, &value), kAudioUnitErr_InvalidScope);
  EXPECT_EQ(AudioUnitGetParameter(unit_, 0, kAudioUnitScope_Global, 1, &value), kAudioUnitErr_InvalidElement);
  EXPECT_EQ(AudioUnitGetParameter(unit_, 0, kAudioUnitScope_Input, 1, &value), kAudioUnitErr_InvalidElement);
  EXPECT_EQ(AudioUnitSetParameter(unit_, 0, kAudioUnitScope_Output, 4, 1.0F, 0), kAudioUnitErr_InvalidElement);
  EXPECT_EQ(AudioUnitSetParameter(unit_, 0, 99, 0, 1.0F, 0), kAudioUnitErr_InvalidScope);
  // Input elements hold parameters of their own.
  ASSERT_EQ(AudioUnitSetParameter(unit_, 3, kAudioUnitScope_Input, 0, 2.0F, 0), noErr);
  ASSERT_EQ(AudioUnitGetParameter(unit_, 3, kAudioUnitScope_Input, 0, &value), noErr);
  EXPECT_FLOAT_EQ(value, 2.0F);
  EXPECT_EQ(AudioUnitGetParameter(unit_, 3, kAudioUnitScope_Global, 0, &value), kAudioUnitErr_InvalidParameter);
}

TEST_F(ElementsParameters, ParameterListComesFromTheElementWithTheMostParameters) {
  ASSERT_EQ(AudioUnitSetParameter(unit_, 30, kAudioUnitScope_Global, 0, 1.0F, 0), noErr);
  ASSERT_EQ(AudioUnitSetParameter(unit_, 10, kAudioUnitScope_Global, 0, 1.0F, 0), noErr);
  UInt32 count = 0;
  ASSERT_EQ(effect_->GetParameterList(kAudioUnitScope_Global, nullptr, count), noErr);
  ASSERT_EQ(count, 3U);
  AudioUnitParameterID ids[3] = {};
  ASSERT_EQ(effect_->GetParameterList(kAudioUnitScope_Global, ids, count), noErr);
  EXPECT_EQ(ids[0], 0U);
  EXPECT_EQ(ids[1], 10U);
  EXPECT_EQ(ids[2], 30U);

  ASSERT_EQ(effect_->GetParameterList(kAudioUnitScope_Output, nullptr, count), noErr);
  EXPECT_EQ(count, 0U);
}

// Global parameters in the indexed form: ids 0 to 3 only.
class IndexedUnit : public TestEffect {
 public:
  explicit IndexedUnit(AudioComponentInstance instance) : TestEffect(instance, 1, 1, 2) {
    Globals()->UseIndexedParameters(4);
  }
};

TEST(ElementsIndexed, IndexedParametersAreAddressedByIdAndBounded) {
  Instance unit(testunits::Register<ausdk::AUBaseLookup, IndexedUnit>(kAudioUnitType_Effect, 'elm2'));
  AudioUnitParameterValue value = -1;
  ASSERT_EQ(AudioUnitGetParameter(unit, 3, kAudioUnitScope_Global, 0, &value), noErr);
  EXPECT_FLOAT_EQ(value, 0.0F);
  ASSERT_EQ(AudioUnitSetParameter(unit, 3, kAudioUnitScope_Global, 0, 0.5F, 0), noErr);
  ASSERT_EQ(AudioUnitGetParameter(unit, 3, kAudioUnitScope_Global, 0, &value), noErr);
  EXPECT_FLOAT_EQ(value, 0.5F);
  // Unlike the map form, an id past the end is never created.
  EXPECT_EQ(AudioUnitSetParameter(unit, 4, kAudioUnitScope_Global, 0, 0.5F, 0), kAudioUnitErr_InvalidParameter);
  EXPECT_EQ(AudioUnitGetParameter(unit, 4, kAudioUnitScope_Global, 0, &value), kAudioUnitErr_InvalidParameter);

  auto* indexed = testunits::UnitFor<IndexedUnit>(unit);
  UInt32 count = 0;
  AudioUnitParameterID ids[4] = {};
  ASSERT_EQ(indexed->GetParameterList(kAudioUnitScope_Global, ids, count), noErr);
  EXPECT_EQ(count, 4U);
  EXPECT_EQ(ids[3], 3U);
}

TEST(ElementsIndexed, GroupScopeTieGoesToTheLowerElement) {
  Instance unit(testunits::Register<ausdk::AUBaseLookup, IndexedUnit>(kAudioUnitType_Effect, 'elm3'));
  ASSERT_EQ(AudioUnitSetParameter(unit, 5, kAudioUnitScope_Group, 0, 1.0F, 0), noErr);
  ASSERT_EQ(AudioUnitSetParameter(unit, 8, kAudioUnitScope_Group, 1, 1.0F, 0), noErr);
  auto* indexed = testunits::UnitFor<IndexedUnit>(unit);
  UInt32 count = 0;
  AudioUnitParameterID id = 0;
  ASSERT_EQ(indexed->GetParameterList(kAudioUnitScope_Group, &id, count), noErr);
  EXPECT_EQ(count, 1U);
  EXPECT_EQ(id, 5U);
}

TEST(ElementsBuffers, AllocatorRefusesTooManyBuffersAndOversizedData) {
  auto& allocator = ausdk::BufferAllocator::instance();
  try {
    allocator.Allocate(4097, 16, 0);
    FAIL() << "4097 buffers were allocated";
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ(e.what(), "AudioBuffers::Allocate: Too many buffers");
  }
  testsupport::CaptureStderr capture;
  EXPECT_THROW(allocator.Allocate(4096, 0x00200000, 0), std::bad_alloc);
  EXPECT_EQ(capture.Finish(), "AUBuffer throwing bad_alloc\n");
}

TEST(ElementsBuffers, AllocatedDataIsRoundedToSixteenBytesAndZeroed) {
  auto& allocator = ausdk::BufferAllocator::instance();
  ausdk::AllocatedBuffer* buffer = allocator.Allocate(3, 10, 0);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(buffer->mMaximumBytesPerBuffer, 16U);
  EXPECT_EQ(buffer->mBufferDataSize, 48U);
  for (size_t i = 0; i < buffer->mBufferDataSize; ++i) {
    ASSERT_EQ(buffer->mBufferData[i], std::byte{0});
  }
  AudioBufferList& list = buffer->Prepare(1, 8, 3);
  EXPECT_EQ(list.mNumberBuffers, 3U);
  EXPECT_EQ(static_cast<std::byte*>(list.mBuffers[2].mData) - static_cast<std::byte*>(list.mBuffers[0].mData), 32);
  allocator.Deallocate(buffer);
}

TEST(ElementsBuffers, InitializationGivesOutputsMemoryAndInputsOnlyWhenFedByACallback) {
  Instance unit(EffectComponent());
  auto* effect = testunits::UnitFor<TestEffect>(unit);
  ASSERT_EQ(AudioUnitInitialize(unit), noErr);
  EXPECT_TRUE(effect->Output(0)->IOBuffer().HasData());
  EXPECT_EQ(effect->Output(0)->IOBuffer().GetAllocatedFrames(), ausdk::AUBase::kDefaultMaxFramesPerSlice);
  EXPECT_FALSE(effect->Input(0)->IOBuffer().HasData());
  ASSERT_EQ(AudioUnitUninitialize(unit), noErr);
  EXPECT_EQ(effect->Output(0)->GetBufferList(), nullptr);
}

TEST(ElementsBuffers, MaximumFramesChangeReallocatesAllocatedBuffers) {
  Instance unit(EffectComponent());
  auto* effect = testunits::UnitFor<TestEffect>(unit);
  EXPECT_EQ(effect->CanSetMaxFrames(), noErr);
  effect->SetMaxFramesPerSlice(256);
  ASSERT_EQ(AudioUnitInitialize(unit), noErr);
  EXPECT_EQ(effect->Output(0)->IOBuffer().GetAllocatedFrames(), 256U);
  EXPECT_EQ(effect->CanSetMaxFrames(), kAudioUnitErr_Initialized);
  effect->SetMaxFramesPerSlice(4096);
  EXPECT_EQ(effect->Output(0)->IOBuffer().GetAllocatedFrames(), 4096U);
}

TEST(ElementsFormats, DefaultFormatIsStereoFloatNonInterleavedAt44100) {
  Instance unit(EffectComponent());
  auto* effect = testunits::UnitFor<TestEffect>(unit);
  for (const AudioUnitScope scope : {kAudioUnitScope_Input, kAudioUnitScope_Output, kAudioUnitScope_Global}) {
    const AudioStreamBasicDescription format = effect->GetStreamFormat(scope, 0);
    EXPECT_EQ(format.mSampleRate, 44100.0);
    EXPECT_EQ(format.mFormatID, kAudioFormatLinearPCM);
    EXPECT_EQ(format.mFormatFlags, 41U);
    EXPECT_EQ(format.mBytesPerPacket, 4U);
    EXPECT_EQ(format.mFramesPerPacket, 1U);
    EXPECT_EQ(format.mBytesPerFrame, 4U);
    EXPECT_EQ(format.mChannelsPerFrame, 2U);
    EXPECT_EQ(format.mBitsPerChannel, 32U);
  }
}

TEST(ElementsFormats, OnlyThirtyTwoBitFloatPcmInOneFramePacketsIsValid) {
  const auto valid = testunits::FloatFormat(48000, 2);
  EXPECT_TRUE(ausdk::AUBase::IsValidFormat(valid));
  auto interleavedMono = testunits::FloatFormat(48000, 1);
  interleavedMono.mFormatFlags &= ~static_cast<UInt32>(kAudioFormatFlagIsNonInterleaved);
  EXPECT_TRUE(ausdk::AUBase::IsValidFormat(interleavedMono));

  auto change = [&](auto&& edit) {
    auto format = valid;
    edit(format);
    return ausdk::AUBase::IsValidFormat(format);
  };
  EXPECT_FALSE(change([](auto& f) { f.mFormatID = kAudioFormatAppleLossless; }));
  EXPECT_FALSE(change([](auto& f) { f.mFramesPerPacket = 2; }));
  EXPECT_FALSE(change([](auto& f) { f.mBytesPerPacket = 8; }));
  EXPECT_FALSE(change([](auto& f) { f.mFormatFlags &= ~static_cast<UInt32>(kAudioFormatFlagIsFloat); }));
  EXPECT_FALSE(change([](auto& f) { f.mFormatFlags |= kAudioFormatFlagIsBigEndian; }));
  EXPECT_FALSE(change([](auto& f) { f.mBitsPerChannel = 64; }));
  EXPECT_FALSE(change([](auto& f) {
    f.mFormatFlags &= ~static_cast<UInt32>(kAudioFormatFlagIsNonInterleaved);  // interleaved stereo
  }));
  EXPECT_FALSE(change([](auto& f) {
    f.mBytesPerFrame = 8;
    f.mBytesPerPacket = 8;
  }));
}

TEST(ElementsFormats, ChangingTheFormatUpdatesTheElementAndKeepsEqualFormatsQuiet) {
  Instance unit(EffectComponent());
  auto* effect = testunits::UnitFor<TestEffect>(unit);
  const auto stereo = effect->GetStreamFormat(kAudioUnitScope_Output, 0);
  const auto mono = testunits::FloatFormat(48000, 1);
  ASSERT_EQ(effect->ChangeStreamFormat(kAudioUnitScope_Output, 0, stereo, mono), noErr);
  EXPECT_EQ(effect->GetStreamFormat(kAudioUnitScope_Output, 0).mChannelsPerFrame, 1U);
  EXPECT_EQ(effect->GetStreamFormat(kAudioUnitScope_Global, 0).mSampleRate, 48000.0);
  EXPECT_EQ(effect->GetStreamFormat(kAudioUnitScope_Input, 0).mChannelsPerFrame, 2U);
  // Global changes land on output element 0.
  ASSERT_EQ(effect->ChangeStreamFormat(kAudioUnitScope_Global, 0, mono, testunits::FloatFormat(96000, 1)), noErr);
  EXPECT_EQ(effect->GetStreamFormat(kAudioUnitScope_Output, 0).mSampleRate, 96000.0);
}

TEST(ElementsLayouts, LayoutMustMatchTheChannelCountAndGoesWhenTheFormatChanges) {
  Instance unit(EffectComponent());
  auto* effect = testunits::UnitFor<TestEffect>(unit);
  bool writable = false;
  EXPECT_EQ(effect->GetAudioChannelLayout(kAudioUnitScope_Output, 0, nullptr, writable), 0U);

  AudioChannelLayout mono{};
  mono.mChannelLayoutTag = kAudioChannelLayoutTag_Mono;
  EXPECT_EQ(effect->SetAudioChannelLayout(kAudioUnitScope_Output, 0, &mono), kAudioUnitErr_InvalidPropertyValue);

  AudioChannelLayout bitmap{};
  bitmap.mChannelLayoutTag = kAudioChannelLayoutTag_UseChannelBitmap;
  bitmap.mChannelBitmap = kAudioChannelBit_Left | kAudioChannelBit_Right;
  ASSERT_EQ(effect->SetAudioChannelLayout(kAudioUnitScope_Output, 0, &bitmap), noErr);
  AudioChannelLayout copy{};
  EXPECT_EQ(effect->GetAudioChannelLayout(kAudioUnitScope_Output, 0, &copy, writable), 12U + 20U * 0U);
  EXPECT_TRUE(writable);
  EXPECT_EQ(copy.mChannelBitmap, bitmap.mChannelBitmap);

  // Two descriptions: the layout is stored whole.
  alignas(AudioChannelLayout) std::byte storage[12 + 2 * 20] = {};
  auto* described = reinterpret_cast<AudioChannelLayout*>(storage);
  described->mChannelLayoutTag = kAudioChannelLayoutTag_UseChannelDescriptions;
  described->mNumberChannelDescriptions = 2;
  described->mChannelDescriptions[0].mChannelLabel = kAudioChannelLabel_Left;
  described->mChannelDescriptions[1].mChannelLabel = kAudioChannelLabel_Right;
  ASSERT_EQ(effect->SetAudioChannelLayout(kAudioUnitScope_Input, 0, described), noErr);
  EXPECT_EQ(effect->GetAudioChannelLayout(kAudioUnitScope_Input, 0, nullptr, writable), 52U);

  // A mono format no longer fits the stereo layouts.
  const auto stereo = effect->GetStreamFormat(kAudioUnitScope_Output, 0);
  ASSERT_EQ(effect->ChangeStreamFormat(kAudioUnitScope_Output, 0, stereo, testunits::FloatFormat(44100, 1)), noErr);
  EXPECT_EQ(effect->GetAudioChannelLayout(kAudioUnitScope_Output, 0, nullptr, writable), 0U);
  // Same channel count, other rate: the layout stays.
  ASSERT_EQ(effect->ChangeStreamFormat(kAudioUnitScope_Input, 0, stereo, testunits::FloatFormat(48000, 2)), noErr);
  EXPECT_EQ(effect->GetAudioChannelLayout(kAudioUnitScope_Input, 0, nullptr, writable), 52U);
  EXPECT_EQ(effect->RemoveAudioChannelLayout(kAudioUnitScope_Input, 0), noErr);
  EXPECT_EQ(effect->GetAudioChannelLayout(kAudioUnitScope_Input, 0, nullptr, writable), 0U);
  EXPECT_TRUE(effect->GetChannelLayoutTags(kAudioUnitScope_Output, 0).empty());
}

TEST(ElementsScopes, BusCountsChangeOnlyWhileUninitializedAndGlobalStaysAtOne) {
  Instance unit(testunits::Register<ausdk::AUBaseLookup, MultiBusUnit>(kAudioUnitType_Effect, 'elm4'));
  auto* multi = testunits::UnitFor<MultiBusUnit>(unit);
  EXPECT_EQ(multi->GetScope(kAudioUnitScope_Input).GetNumberOfElements(), 2U);
  EXPECT_EQ(multi->GetScope(kAudioUnitScope_Output).GetNumberOfElements(), 3U);
  EXPECT_EQ(multi->GetScope(kAudioUnitScope_Group).GetNumberOfElements(), 2U);

  ASSERT_EQ(multi->SetBusCount(kAudioUnitScope_Output, 5), noErr);
  EXPECT_NE(multi->GetElement(kAudioUnitScope_Output, 4)->AsIOElement(), nullptr);
  ASSERT_EQ(multi->SetBusCount(kAudioUnitScope_Input, 1), noErr);
  EXPECT_EQ(multi->GetElement(kAudioUnitScope_Input, 1), nullptr);
  try {
    multi->SetBusCount(kAudioUnitScope_Global, 2);
    FAIL() << "a second global element was made";
  } catch (const ausdk::AUException& e) {
    EXPECT_EQ(e.mError, kAudioUnitErr_InvalidScope);
  }
  ASSERT_EQ(AudioUnitInitialize(unit), noErr);
  EXPECT_EQ(multi->SetBusCount(kAudioUnitScope_Output, 1), kAudioUnitErr_Initialized);
  EXPECT_THROW((void)multi->GetScope(7), ausdk::AUException);
  EXPECT_THROW((void)multi->IOElement(kAudioUnitScope_Group, 0), ausdk::AUException);
}

}  // namespace
