#include "ausdk/ComponentBase.h"

#include <mutex>
#include <new>
#include <vector>

#include "ausdk/AUUtility.h"

namespace ausdk {

std::recursive_mutex& ComponentBase::InitializationMutex() {
  static std::recursive_mutex mutex;
  return mutex;
}

AudioComponentDescription ComponentBase::GetComponentDescription() const {
  AudioComponentDescription description{};
  AudioComponent component = AudioComponentInstanceGetComponent(mComponentInstance);
  if (component != nullptr) {
    AudioComponentGetDescription(component, &description);
  }
  return description;
}

namespace {

// Records whose open failed. Whether the system closes such an instance is not
// promised: freeing the record at once would make a later Close free it twice,
// so it is kept, reachable, until a Close takes it. When none comes it stays for
// the life of the process, one record per failed open.
struct FailedOpens {
  std::mutex mutex;
  std::vector<AudioComponentPlugInInstance*> records;
};

FailedOpens& TheFailedOpens() {
  static auto* failed = new FailedOpens;  // never destroyed: a Close may come during exit
  return *failed;
}

}  // namespace

OSStatus ComponentBase::AP_Open(void* self, AudioComponentInstance compInstance) {
  auto* acpi = static_cast<AudioComponentPlugInInstance*>(self);
  ComponentBase* object = nullptr;
  const OSStatus result = CatchExceptions([&] {
    const std::lock_guard lock(InitializationMutex());
    object = acpi->mConstruct(&acpi->mInstanceStorage, compInstance);
    object->DoPostConstructor();
    return noErr;
  });
  if (result != noErr) {
    if (object != nullptr) {
      acpi->mDestruct(&acpi->mInstanceStorage);
    }
    // No object lives in the record any more: a Close only frees it.
    acpi->mConstruct = nullptr;
    acpi->mDestruct = nullptr;
    FailedOpens& failed = TheFailedOpens();
    const std::lock_guard lock(failed.mutex);
    try {
      failed.records.push_back(acpi);
    } catch (const std::bad_alloc&) {
      // No room to keep it reachable: a Close still frees it by the mark above.
    }
  }
  return result;
}

OSStatus ComponentBase::AP_Close(void* self) {
  auto* acpi = static_cast<AudioComponentPlugInInstance*>(self);
  if (acpi->mDestruct == nullptr) {
    FailedOpens& failed = TheFailedOpens();
    const std::lock_guard lock(failed.mutex);
    std::erase(failed.records, acpi);
    std::free(acpi);
    return noErr;
  }
  const OSStatus result = CatchExceptions([&] {
    auto* object = reinterpret_cast<ComponentBase*>(&acpi->mInstanceStorage);
    object->DoPreDestructor();
    return noErr;
  });
  // The object goes whatever its pre-destructor threw.
  CatchExceptions([&] {
    acpi->mDestruct(&acpi->mInstanceStorage);
    return noErr;
  });
  std::free(acpi);
  return result;
}

}  // namespace ausdk
