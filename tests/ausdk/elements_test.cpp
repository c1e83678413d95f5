// Parameter storage in scopes and elements, the buffers of AUBase and its
// default stream format.
#include <gtest/gtest.h>

#include <stdexcept>

#include "LogCapture.h"
#include "TestUnits.h"

namespace {

using testunits::Instance;
using testunits::Param;
using testunits::TestEffect;

AudioComponent EffectComponent() { return testunits::Component<TestEffect, 'elm1'>(); }

class ElementsParameters : public ::testing::Test {
 protected:
  ElementsParameters() : unit_(EffectComponent()), effect_(testunits::UnitFor<TestEffect>(unit_)) {}
  Instance unit_;
  TestEffect* effect_;
};

TEST_F(ElementsParameters, UnknownIdsAreCreatedBySettingOnlyBeforeInitialization) {
  EXPECT_FLOAT_EQ(Param(unit_, 0), 1.0F);
  ASSERT_EQ(AudioUnitSetParameter(unit_, 0, kAudioUnitScope_Global, 0, 0.5F, 0), noErr);
  EXPECT_FLOAT_EQ(Param(unit_, 0), 0.5F);
  AudioUnitParameterValue value = 0;
  EXPECT_EQ(AudioUnitGetParameter(unit_, 7, kAudioUnitScope_Global, 0, &value), kAudioUnitErr_InvalidParameter);
  ASSERT_EQ(AudioUnitSetParameter(unit_, 7, kAudioUnitScope_Global, 0, 0.75F, 0), noErr);
  EXPECT_FLOAT_EQ(Param(unit_, 7), 0.75F);

  ASSERT_EQ(AudioUnitInitialize(unit_), noErr);
  testsupport::LogCapture capture;
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
  EXPECT_FLOAT_EQ(Param(unit_, 3, kAudioUnitScope_Input), 2.0F);
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
  EXPECT_EQ(std::vector<AudioUnitParameterID>(ids, ids + 3), (std::vector<AudioUnitParameterID>{0, 10, 30}));
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

TEST(ElementsIndexed, IndexedParametersAreBoundedAndGroupListTiesGoToTheLowerElement) {
  Instance unit(testunits::Component<IndexedUnit, 'elm2'>());
  auto* indexed = testunits::UnitFor<IndexedUnit>(unit);
  EXPECT_FLOAT_EQ(Param(unit, 3), 0.0F);
  ASSERT_EQ(AudioUnitSetParameter(unit, 3, kAudioUnitScope_Global, 0, 0.5F, 0), noErr);
  EXPECT_FLOAT_EQ(Param(unit, 3), 0.5F);
  // Unlike the map form, an id past the end is never created.
  AudioUnitParameterValue value = 0;
  EXPECT_EQ(AudioUnitSetParameter(unit, 4, kAudioUnitScope_Global, 0, 0.5F, 0), kAudioUnitErr_InvalidParameter);
  EXPECT_EQ(AudioUnitGetParameter(unit, 4, kAudioUnitScope_Global, 0, &value), kAudioUnitErr_InvalidParameter);
  UInt32 count = 0;
  AudioUnitParameterID ids[4] = {};
  ASSERT_EQ(indexed->GetParameterList(kAudioUnitScope_Global, ids, count), noErr);
  EXPECT_EQ(count, 4U);
  EXPECT_EQ(ids[3], 3U);

  ASSERT_EQ(AudioUnitSetParameter(unit, 5, kAudioUnitScope_Group, 0, 1.0F, 0), noErr);
  ASSERT_EQ(AudioUnitSetParameter(unit, 8, kAudioUnitScope_Group, 1, 1.0F, 0), noErr);
  ASSERT_EQ(indexed->GetParameterList(kAudioUnitScope_Group, ids, count), noErr);
  EXPECT_EQ(count, 1U);
  EXPECT_EQ(ids[0], 5U);
}

TEST(ElementsBuffers, AllocatorRoundsAndZeroesDataAndRefusesOversizedRequests) {
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

  try {
    allocator.Allocate(4097, 16, 0);
    FAIL() << "4097 buffers were allocated";
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ(e.what(), "AudioBuffers::Allocate: Too many buffers");
  }
  testsupport::LogCapture capture;
  EXPECT_THROW(allocator.Allocate(4096, 0x00200000, 0), std::bad_alloc);
  EXPECT_EQ(capture.Finish(), "AUBuffer throwing bad_alloc\n");
}

TEST(ElementsBuffers, InitializationAllocatesOutputsForTheMaximumFramesWhichThenReallocates) {
  Instance unit(EffectComponent());
  auto* effect = testunits::UnitFor<TestEffect>(unit);
  EXPECT_EQ(effect->CanSetMaxFrames(), noErr);
  effect->SetMaxFramesPerSlice(256);
  ASSERT_EQ(AudioUnitInitialize(unit), noErr);
  EXPECT_TRUE(effect->Output(0)->IOBuffer().HasData());
  EXPECT_EQ(effect->Output(0)->IOBuffer().GetAllocatedFrames(), 256U);
  EXPECT_FALSE(effect->Input(0)->IOBuffer().HasData());  // not fed by a callback
  EXPECT_EQ(effect->CanSetMaxFrames(), kAudioUnitErr_Initialized);
  effect->SetMaxFramesPerSlice(4096);
  EXPECT_EQ(effect->Output(0)->IOBuffer().GetAllocatedFrames(), 4096U);
  ASSERT_EQ(AudioUnitUninitialize(unit), noErr);
  EXPECT_EQ(effect->Output(0)->GetBufferList(), nullptr);
}

TEST(ElementsFormats, DefaultFormatIsStereoFloatNonInterleavedAt44100) {
  Instance unit(EffectComponent());
  auto* effect = testunits::UnitFor<TestEffect>(unit);
  for (const AudioUnitScope scope : {kAudioUnitScope_Input, kAudioUnitScope_Output, kAudioUnitScope_Global}) {
    const AudioStreamBasicDescription f = effect->GetStreamFormat(scope, 0);
    EXPECT_EQ(std::make_tuple(f.mSampleRate, f.mFormatID, f.mFormatFlags, f.mBytesPerPacket, f.mFramesPerPacket,
                              f.mBytesPerFrame, f.mChannelsPerFrame, f.mBitsPerChannel),
              std::make_tuple(44100.0, kAudioFormatLinearPCM, 41U, 4U, 1U, 4U, 2U, 32U))
        << scope;
  }
}

}  // namespace
