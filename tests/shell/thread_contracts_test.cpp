// The thread contracts that debug builds check, and the guard around the entry
// points of our own threads and queued work.
#include <AudioToolbox/AudioUnit.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <span>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ShellFixture.h"
#include "shell/LogTexts.h"
#include "shell/ThreadContracts.h"

namespace logtext = veneer::logtext;

namespace {

using shelltest::HostedVeneer;

class ThreadContracts : public shelltest::ShellTest {};

// Debug builds only; the instances below start threads, hence the threadsafe style.
#define SKIP_WITHOUT_THREAD_CHECKS()                                \
  if (!veneer::kThreadChecks) {                                     \
    GTEST_SKIP() << "release builds compile the thread checks out"; \
  }                                                                 \
  GTEST_FLAG_SET(death_test_style, "threadsafe")

// The host's input callback, which runs inside Veneer's render call: a host (or
// a careless view) calling the link's work from there breaks its contract.
OSStatus CallTheLinkFromTheRenderThread(void* refCon, AudioUnitRenderActionFlags* /*flags*/,
                                        const AudioTimeStamp* /*stamp*/, UInt32 /*bus*/, UInt32 /*frames*/,
                                        AudioBufferList* /*ioData*/) {
  static_cast<veneer::Veneer*>(refCon)->ApplyFileToInner();
  return noErr;
}

void RenderOnce(const HostedVeneer& veneer) {
  // Null data: the unit renders into buffers of its own.
  std::vector<std::byte> storage(offsetof(AudioBufferList, mBuffers) + 2 * sizeof(AudioBuffer));
  auto* output = reinterpret_cast<AudioBufferList*>(storage.data());
  output->mNumberBuffers = 2;
  for (AudioBuffer& buffer : std::span(output->mBuffers, 2)) {
    buffer = {1, 64 * sizeof(float), nullptr};
  }
  AudioTimeStamp stamp{};
  stamp.mFlags = kAudioTimeStampSampleTimeValid;
  AudioUnitRenderActionFlags flags = 0;
  AudioUnitRender(veneer.unit(), &flags, &stamp, 0, 64, output);
}

void RenderWithTheLinkInTheInputCallback() {
  HostedVeneer veneer;
  AURenderCallbackStruct input{CallTheLinkFromTheRenderThread, veneer.get()};
  AudioUnitSetProperty(veneer.unit(), kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0, &input,
                       sizeof input);
  AudioUnitInitialize(veneer.unit());
  RenderOnce(veneer);
}

void CreateTheInnerUnitOnAWorker() {
  HostedVeneer veneer;
  shelltest::OnWorker([&veneer] { veneer->CreateInnerUnit(); });
}

TEST_F(ThreadContracts, LinkWorkCalledInsideARenderStopsTheProcess) {
  SKIP_WITHOUT_THREAD_CHECKS();
  EXPECT_DEATH(RenderWithTheLinkInTheInputCallback(),
               "thread contract broken: ApplyFileToInner must not run on the render thread");
}

TEST_F(ThreadContracts, InnerUnitCreatedOffTheMainThreadStopsTheProcess) {
  SKIP_WITHOUT_THREAD_CHECKS();
  EXPECT_DEATH(CreateTheInnerUnitOnAWorker(), "thread contract broken: CreateInnerUnit must run on the main thread");
}

TEST_F(ThreadContracts, WhatReachesOurOwnEntryPointsIsLoggedAndStopsThere) {
  veneer::RunGuarded("the test's entry", [] { throw std::runtime_error("out of tape"); });
  veneer::RunGuarded("the test's entry", [] { throw 42; });
  EXPECT_TRUE(Logged(std::string(logtext::kExceptionCaught) + "the test's entry: out of tape"));
  EXPECT_TRUE(Logged(std::string(logtext::kExceptionCaught) + "the test's entry: not a standard exception"));
}

std::atomic<int> gThrowingClockReads{0};
std::time_t ThrowingClock() {
  ++gThrowingClockReads;
  throw std::runtime_error("no clock");
}

TEST_F(ThreadContracts, ALinkPassThatThrowsEveryTimeStillWaitsItsSecond) {
  KeepCompanionAlive();
  HostedVeneer veneer;
  veneer->SetLinkClock(ThrowingClock);
  ASSERT_EQ(veneer.Initialize(), noErr);
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  ASSERT_EQ(veneer.Uninitialize(), noErr);
  // Two passes in a second and a half, three on a slow start; a pass that
  // skipped its pause would have run thousands.
  EXPECT_GE(gThrowingClockReads.load(), 1);
  EXPECT_LE(gThrowingClockReads.load(), 3);
  const std::string caught = std::string(logtext::kExceptionCaught) + "link thread: no clock";
  const auto lines = LogLines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), caught), gThrowingClockReads.load());
}

}  // namespace
