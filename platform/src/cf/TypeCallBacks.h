// The callbacks that collections use to hold CF objects (kCFType...CallBacks).
#pragma once

#include <CoreFoundation/CFBase.h>

#include <string>

namespace veneer::cf {

const void* RetainTypeCallBack(CFAllocatorRef allocator, const void* value);
void ReleaseTypeCallBack(CFAllocatorRef allocator, const void* value);
CFStringRef CopyTypeDescriptionCallBack(const void* value);
Boolean EqualTypesCallBack(const void* value1, const void* value2);
CFHashCode HashTypeCallBack(const void* value);

// A collection element's text: its description callback's answer, else its address.
std::string DescribeValue(const void* value, CFStringRef (*copyDescription)(const void*));

}  // namespace veneer::cf
