#include "ausdk/ComponentBase.h"

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
    // The system does not close an instance whose open failed: whatever was
    // built is torn down here and the record goes back to the heap.
    if (object != nullptr) {
      acpi->mDestruct(&acpi->mInstanceStorage);
    }
    std::free(acpi);
  }
  return result;
}

OSStatus ComponentBase::AP_Close(void* self) {
  auto* acpi = static_cast<AudioComponentPlugInInstance*>(self);
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
