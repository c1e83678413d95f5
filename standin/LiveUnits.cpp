#include "standin/LiveUnits.h"

#include "standin/LiveRegistry.h"
#include "standin/StandIn.h"

namespace standin {
namespace {

LiveRegistry<Unit>& LiveUnits() {
  static LiveRegistry<Unit> units;
  return units;
}

}  // namespace

namespace live {

void Add(AudioUnit handle, Unit* unit) { LiveUnits().Add(handle, unit); }

void Remove(AudioUnit handle) { LiveUnits().Remove(handle); }

}  // namespace live

Unit* Find(AudioUnit handle) { return LiveUnits().Find(handle); }

size_t LiveCount() { return LiveUnits().Count(); }

}  // namespace standin
