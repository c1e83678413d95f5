#include "standin/LiveUnits.h"

#include <map>
#include <mutex>

#include "standin/StandIn.h"

namespace standin {
namespace {

std::mutex gLiveMutex;

std::map<AudioUnit, Unit*>& LiveMap() {
  static std::map<AudioUnit, Unit*> units;
  return units;
}

}  // namespace

namespace live {

void Add(AudioUnit handle, Unit* unit) {
  const std::lock_guard lock(gLiveMutex);
  LiveMap()[handle] = unit;
}

void Remove(AudioUnit handle) {
  const std::lock_guard lock(gLiveMutex);
  LiveMap().erase(handle);
}

}  // namespace live

Unit* Find(AudioUnit handle) {
  const std::lock_guard lock(gLiveMutex);
  const auto it = LiveMap().find(handle);
  return it == LiveMap().end() ? nullptr : it->second;
}

size_t LiveCount() {
  const std::lock_guard lock(gLiveMutex);
  return LiveMap().size();
}

}  // namespace standin
