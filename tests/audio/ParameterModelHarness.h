// Veneer initialised on a stand-in product with its link thread stopped, so a
// test alone drives the inner unit's parameters and the shell's snapshot.
#pragma once

#include <AudioToolbox/AudioUnit.h>
#include <gtest/gtest.h>

#include <limits>

#include "ShellFixture.h"
#include "standin/StandIn.h"

namespace parametertest {

class InnerUnitTest : public shelltest::ShellTest {
 protected:
  // [main thread] Registers `variant` and initialises `veneer` on it, as InitializeOn does.
  static standin::Unit* Load(const shelltest::HostedVeneer& veneer, standin::Variant variant) {
    standin::Register(variant);
    return InitializeOn(veneer);
  }

  // [main thread] Initialises `veneer` (which creates the inner unit at once on
  // the main thread) and stops its link thread. The stand-in behind the inner
  // unit, its creation's writes cleared; null if none.
  static standin::Unit* InitializeOn(const shelltest::HostedVeneer& veneer) {
    EXPECT_EQ(veneer.Initialize(), noErr);
    veneer->StopIpcThread();
    standin::Unit* inner = standin::Find(veneer->InnerUnit());
    if (inner != nullptr) {
      inner->ClearWrites();
    }
    return inner;
  }

  // [any thread] A parameter of the shell as a host reads it; NaN when the read fails.
  static AudioUnitParameterValue Read(const shelltest::HostedVeneer& veneer, AudioUnitParameterID id) {
    AudioUnitParameterValue value = 0.0F;
    const OSStatus status = AudioUnitGetParameter(veneer.unit(), id, kAudioUnitScope_Global, 0, &value);
    EXPECT_EQ(status, noErr) << "parameter " << id;
    return status == noErr ? value : std::numeric_limits<float>::quiet_NaN();
  }

  // [any thread] Sets a parameter of the shell as a host does.
  static OSStatus Write(const shelltest::HostedVeneer& veneer, AudioUnitParameterID id, AudioUnitParameterValue value) {
    return AudioUnitSetParameter(veneer.unit(), id, kAudioUnitScope_Global, 0, value, 0);
  }
};

}  // namespace parametertest
