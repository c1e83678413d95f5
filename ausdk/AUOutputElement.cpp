#include "ausdk/AUOutputElement.h"

namespace ausdk {

OSStatus AUOutputElement::SetStreamFormat(const AudioStreamBasicDescription& format) {
  const OSStatus result = AUIOElement::SetStreamFormat(format);
  if (result == noErr) {
    AllocateBuffer();
  }
  return result;
}

}  // namespace ausdk
