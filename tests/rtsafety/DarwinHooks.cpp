// On macOS: every allocation and free of every image goes through a malloc
// zone's function pointers, so the zones present at launch get wrappers; the
// mutex calls are interposed through dyld, which applies an __interpose table
// only from a library loaded at launch (so the guard is a shared library there).
#include "GuardHooks.h"

#if defined(VENEER_GUARD_HOOKS) && defined(__APPLE__)
#include <mach/mach.h>
#include <malloc/malloc.h>

#include <cstdlib>

namespace rtguard::detail {
namespace {

constexpr unsigned kMaxZones = 16;
// The wrapped zones; each one's original functions sit at its index in the hooks' tables.
malloc_zone_t* gZones[kMaxZones] = {};
unsigned gZoneCount = 0;
bool gInstalled = false;

// [any thread]
unsigned IndexOf(const malloc_zone_t* zone) {
  for (unsigned i = 0; i < gZoneCount; ++i) {
    if (gZones[i] == zone) {
      return i;
    }
  }
  std::abort();  // only wrapped zones reach a wrapper
}

template <typename First, typename... Rest>
bool FirstIsSet(First first, Rest... /*rest*/) {
  return first != nullptr;
}

// One function slot of the zone structure, wrapped whatever its parameters.
template <auto Slot, Event kEvent>
struct Hook;

template <typename R, typename... Args, R (*malloc_zone_t::*Slot)(malloc_zone_t*, Args...), Event kEvent>
struct Hook<Slot, kEvent> {
  using Function = R (*)(malloc_zone_t*, Args...);
  static inline Function original[kMaxZones] = {};

  // [any thread]
  static R Call(malloc_zone_t* zone, Args... args) {
    bool counts = true;
    if constexpr (kEvent == Event::kFree) {
      counts = FirstIsSet(args...);  // freeing null frees nothing
    }
    const CountedCall counted(kEvent, counts);
    return original[IndexOf(zone)](zone, args...);
  }

  static void Wrap(malloc_zone_t* zone, unsigned index) {
    original[index] = zone->*Slot;
    if (original[index] != nullptr) {
      zone->*Slot = &Call;
    }
  }
};

// Newer systems add entry points (try_free_default, the typed allocations); where
// this SDK declares them as zone functions and the zone's version has them, they
// are wrapped too.
template <typename Zone>
void WrapSlots(Zone* zone, unsigned index) {
  Hook<&Zone::malloc, Event::kAllocation>::Wrap(zone, index);
  Hook<&Zone::calloc, Event::kAllocation>::Wrap(zone, index);
  Hook<&Zone::valloc, Event::kAllocation>::Wrap(zone, index);
  Hook<&Zone::realloc, Event::kAllocation>::Wrap(zone, index);
  Hook<&Zone::free, Event::kFree>::Wrap(zone, index);
  if (zone->version >= 5) {
    Hook<&Zone::memalign, Event::kAllocation>::Wrap(zone, index);
  }
  if (zone->version >= 6) {
    Hook<&Zone::free_definite_size, Event::kFree>::Wrap(zone, index);
  }
  if constexpr (requires { Hook<&Zone::try_free_default, Event::kFree>::Wrap; }) {
    if (zone->version >= 13) {
      Hook<&Zone::try_free_default, Event::kFree>::Wrap(zone, index);
    }
  }
  if constexpr (requires { Hook<&Zone::malloc_with_options, Event::kAllocation>::Wrap; }) {
    if (zone->version >= 15) {
      Hook<&Zone::malloc_with_options, Event::kAllocation>::Wrap(zone, index);
    }
  }
  if constexpr (requires {
                  Hook<&Zone::malloc_type_malloc, Event::kAllocation>::Wrap;
                  Hook<&Zone::malloc_type_calloc, Event::kAllocation>::Wrap;
                  Hook<&Zone::malloc_type_realloc, Event::kAllocation>::Wrap;
                  Hook<&Zone::malloc_type_memalign, Event::kAllocation>::Wrap;
                }) {
    if (zone->version >= 16) {
      Hook<&Zone::malloc_type_malloc, Event::kAllocation>::Wrap(zone, index);
      Hook<&Zone::malloc_type_calloc, Event::kAllocation>::Wrap(zone, index);
      Hook<&Zone::malloc_type_realloc, Event::kAllocation>::Wrap(zone, index);
      Hook<&Zone::malloc_type_memalign, Event::kAllocation>::Wrap(zone, index);
    }
  }
}

// The system keeps zone structures read-only once set up: they are made writable
// for the wrapping, and their protection restored.
bool Wrap(malloc_zone_t* zone) {
  if (zone == nullptr || gZoneCount == kMaxZones) {
    return false;
  }
  for (unsigned i = 0; i < gZoneCount; ++i) {
    if (gZones[i] == zone) {
      return true;
    }
  }
  vm_address_t region = reinterpret_cast<vm_address_t>(zone);
  vm_size_t regionSize = 0;
  vm_region_basic_info_data_64_t info{};
  mach_msg_type_number_t infoCount = VM_REGION_BASIC_INFO_COUNT_64;
  mach_port_t object = MACH_PORT_NULL;
  if (vm_region_64(mach_task_self(), &region, &regionSize, VM_REGION_BASIC_INFO_64,
                   reinterpret_cast<vm_region_info_t>(&info), &infoCount, &object) != KERN_SUCCESS ||
      region > reinterpret_cast<vm_address_t>(zone)) {
    return false;
  }
  const auto address = reinterpret_cast<vm_address_t>(zone);
  const bool writable = (info.protection & VM_PROT_WRITE) != 0;
  if (!writable && vm_protect(mach_task_self(), address, sizeof(malloc_zone_t), false,
                              info.protection | VM_PROT_WRITE) != KERN_SUCCESS) {
    return false;
  }
  const unsigned index = gZoneCount;
  gZones[index] = zone;
  gZoneCount = index + 1;  // before any wrapper can look the zone up
  WrapSlots(zone, index);
  if (!writable) {
    vm_protect(mach_task_self(), address, sizeof(malloc_zone_t), false, info.protection);
  }
  return true;
}

// [main thread] Runs when the library is loaded, before the test program's own initialisers.
__attribute__((constructor)) void WrapZones() {
  // The default zone may be a front that hands each call to the first registered
  // zone; both are wrapped (a call counts once however many zones it passes), and
  // the first registered one, which does the work, must be.
  bool wrapped = Wrap(malloc_default_zone());
  vm_address_t* zones = nullptr;
  unsigned count = 0;
  if (malloc_get_all_zones(mach_task_self(), nullptr, &zones, &count) == KERN_SUCCESS) {
    for (unsigned i = 0; i < count; ++i) {
      const bool zoneWrapped = Wrap(reinterpret_cast<malloc_zone_t*>(zones[i]));
      wrapped = i == 0 ? zoneWrapped : wrapped;
    }
  }
  gInstalled = wrapped;
}

// [any thread]
int CountedMutexLock(pthread_mutex_t* mutex) {
  const CountedCall counted(Event::kLock);
  return pthread_mutex_lock(mutex);  // the interposing image itself reaches the real one
}

// [any thread]
int CountedMutexTrylock(pthread_mutex_t* mutex) {
  const CountedCall counted(Event::kLock);
  return pthread_mutex_trylock(mutex);
}

struct Interposition {
  const void* replacement;
  const void* replaced;
};

__attribute__((used, section("__DATA,__interpose"))) const Interposition kInterpositions[] = {
    {reinterpret_cast<const void*>(&CountedMutexLock), reinterpret_cast<const void*>(&pthread_mutex_lock)},
    {reinterpret_cast<const void*>(&CountedMutexTrylock), reinterpret_cast<const void*>(&pthread_mutex_trylock)},
};

}  // namespace

bool HooksInstalled() { return gInstalled; }

}  // namespace rtguard::detail
#endif
