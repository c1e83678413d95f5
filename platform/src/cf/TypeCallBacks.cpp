#include "cf/TypeCallBacks.h"

#include <cstdio>

#include "cf/String.h"

namespace veneer::cf {

const void* RetainTypeCallBack(CFAllocatorRef, const void* value) { return CFRetain(value); }
void ReleaseTypeCallBack(CFAllocatorRef, const void* value) { CFRelease(value); }
CFStringRef CopyTypeDescriptionCallBack(const void* value) { return CFCopyDescription(value); }
Boolean EqualTypesCallBack(const void* value1, const void* value2) { return CFEqual(value1, value2); }
CFHashCode HashTypeCallBack(const void* value) { return CFHash(value); }

std::string DescribeValue(const void* value, CFStringRef (*copyDescription)(const void*)) {
  if (copyDescription != nullptr) {
    CFStringRef description = copyDescription(value);
    if (const __CFString* text = AsString(description)) {
      std::string result = text->utf8;
      CFRelease(description);
      return result;
    }
    CFRelease(description);
  }
  char text[32];
  std::snprintf(text, sizeof text, "<%p>", value);
  return text;
}

}  // namespace veneer::cf
