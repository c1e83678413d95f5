// The root of every component object, the plug-in instance record that the
// factory hands to the system, and the factory template that fills it.
#pragma once

#include <AudioToolbox/AudioUnit.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <new>

namespace ausdk {

class ComponentBase {
 public:
  explicit ComponentBase(AudioComponentInstance inInstance) : mComponentInstance(inInstance) {}
  ComponentBase(const ComponentBase&) = delete;
  ComponentBase(ComponentBase&&) = delete;
  ComponentBase& operator=(const ComponentBase&) = delete;
  ComponentBase& operator=(ComponentBase&&) = delete;
  virtual ~ComponentBase() = default;

  // Hooks for subclasses, run after construction and before destruction.
  virtual void PostConstructor() {}
  virtual void PreDestructor() {}
  // The framework's own halves of those hooks.
  virtual void PostConstructorInternal() {}
  virtual void PreDestructorInternal() {}

  void DoPostConstructor() {
    PostConstructorInternal();
    PostConstructor();
  }
  void DoPreDestructor() {
    PreDestructor();
    PreDestructorInternal();
  }

  [[nodiscard]] AudioComponentInstance GetComponentInstance() const noexcept { return mComponentInstance; }
  // [any thread] The description of this instance's component, asked of the system.
  [[nodiscard]] AudioComponentDescription GetComponentDescription() const;

  // [any thread] Serialises the construction of component objects process-wide.
  static std::recursive_mutex& InitializationMutex();

  // [any thread] The system's open and close entries of the plug-in interface.
  // A failed open leaves an empty record that a later close frees, if one comes.
  static OSStatus AP_Open(void* self, AudioComponentInstance compInstance);
  static OSStatus AP_Close(void* self);

 private:
  AudioComponentInstance mComponentInstance;
};

// The block the factory allocates: the system's four interface words, the
// construct and destruct entries, two pad words, then the object itself.
struct AudioComponentPlugInInstance {
  AudioComponentPlugInInterface mPlugInInterface;
  ComponentBase* (*mConstruct)(void* memory, AudioComponentInstance instance);
  void (*mDestruct)(void* memory);
  std::array<void*, 2> mPad;
  alignas(16) std::byte mInstanceStorage[16];
};
static_assert(offsetof(AudioComponentPlugInInstance, mInstanceStorage) == 8 * sizeof(void*));

template <class Lookup, class Implementor>
class APFactory {
 public:
  // Builds the component object in place.
  static ComponentBase* Construct(void* memory, AudioComponentInstance compInstance) {
    return new (memory) Implementor(compInstance);
  }

  // Runs the object's destructor in place; the record is freed by the caller.
  static void Destruct(void* memory) { static_cast<Implementor*>(memory)->~Implementor(); }

  // The component's factory function: allocates and fills the record, constructs nothing.
  static AudioComponentPlugInInterface* Factory(const AudioComponentDescription* /*inDesc*/) {
    static_assert(alignof(Implementor) <= 16);
    constexpr size_t kSize = offsetof(AudioComponentPlugInInstance, mInstanceStorage) + sizeof(Implementor);
    auto* acpi = static_cast<AudioComponentPlugInInstance*>(std::malloc(kSize));
    if (acpi == nullptr) {
      return nullptr;
    }
    acpi->mPlugInInterface.Open = ComponentBase::AP_Open;
    acpi->mPlugInInterface.Close = ComponentBase::AP_Close;
    acpi->mPlugInInterface.Lookup = Lookup::Lookup;
    acpi->mPlugInInterface.reserved = nullptr;
    acpi->mConstruct = Construct;
    acpi->mDestruct = Destruct;
    acpi->mPad = {nullptr, nullptr};
    return &acpi->mPlugInInterface;
  }

  // Registers the component in this process under `description`.
  static AudioComponent Register(const AudioComponentDescription& description, CFStringRef name, UInt32 version) {
    return AudioComponentRegister(&description, name, version, Factory);
  }
};

}  // namespace ausdk
