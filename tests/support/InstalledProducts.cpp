#include "InstalledProducts.h"

#include <AudioToolbox/AudioUnit.h>

#include "standin/StandIn.h"

namespace testsupport {

std::string InstalledProducts() {
  std::string installed;
  for (const standin::Variant variant : standin::kAllVariants) {
    const AudioComponentDescription description = standin::DescriptionOf(variant);
    if (AudioComponentFindNext(nullptr, &description) != nullptr) {
      installed += (installed.empty() ? "" : ", ") + std::string(standin::NameOf(variant));
    }
  }
  return installed;
}

}  // namespace testsupport
