// The plug-in as a host loads it: the module file, its one exported factory,
// and an instance that finds and drives an installed product.
#include <dlfcn.h>

#include <gtest/gtest.h>

#include "InstalledProducts.h"

#include "ShellFixture.h"
#include "shell/LogTexts.h"
#include "standin/StandIn.h"

namespace logtext = veneer::logtext;

namespace {

using shelltest::ShellTest;

class ModuleTest : public ShellTest {};

TEST_F(ModuleTest, LoadedModuleRegistersAndRunsThroughItsFactory) {
  SKIP_WHERE_PRODUCTS_ARE_INSTALLED();
  void* module = dlopen(VENEER_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(module, nullptr) << dlerror();
  auto* factory = reinterpret_cast<AudioComponentFactoryFunction>(dlsym(module, "VeneerFactory"));
  ASSERT_NE(factory, nullptr);
  EXPECT_EQ(dlsym(module, "_ZN6veneer6VeneerC1EP23ComponentInstanceRecord"), nullptr);

  standin::Register(standin::Variant::kArtist);
  const AudioComponentDescription description{kAudioUnitType_Effect, 'Vnrm', 'Tnvl', 0, 0};
  AudioComponent component = AudioComponentRegister(&description, CFSTR("Tonvale: Veneer"), 0x00010000, factory);
  AudioUnit unit = nullptr;
  ASSERT_EQ(AudioComponentInstanceNew(component, &unit), noErr);
  ASSERT_EQ(AudioUnitInitialize(unit), noErr);
  EXPECT_EQ(standin::LiveCount(), 1U);
  EXPECT_TRUE(Logged(std::string(logtext::kFoundVariant) + "Auto-Tune Artist"));
  EXPECT_EQ(AudioComponentInstanceDispose(unit), noErr);
  EXPECT_EQ(standin::LiveCount(), 0U);
}

}  // namespace
