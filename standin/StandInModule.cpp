// The stand-ins' loadable module: one exported factory per product, each named
// by the factoryFunction key of that product's bundle.
#include "standin/StandIn.h"

namespace {

void* Create(standin::Variant variant, const AudioComponentDescription* description) {
  return standin::FactoryOf(variant)(description);
}

}  // namespace

// The module is built with hidden visibility; these are its only exports.
#pragma GCC visibility push(default)
extern "C" {

// [any thread]
void* StandInProFactory(const AudioComponentDescription* description) {
  return Create(standin::Variant::kPro, description);
}

// [any thread]
void* StandInAdvancedFactory(const AudioComponentDescription* description) {
  return Create(standin::Variant::kAdvanced, description);
}

// [any thread]
void* StandIn2026Factory(const AudioComponentDescription* description) {
  return Create(standin::Variant::k2026, description);
}

// [any thread]
void* StandInArtistFactory(const AudioComponentDescription* description) {
  return Create(standin::Variant::kArtist, description);
}

// [any thread]
void* StandInEfxFactory(const AudioComponentDescription* description) {
  return Create(standin::Variant::kEfx, description);
}

}  // extern "C"
#pragma GCC visibility pop
