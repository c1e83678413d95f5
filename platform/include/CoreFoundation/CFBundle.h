/* CFBundle: the loaded plug-in bundles, found by identifier. */
#ifndef VENEER_PLATFORM_CFBUNDLE_H
#define VENEER_PLATFORM_CFBUNDLE_H

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFURL.h>

CF_EXTERN_C_BEGIN

typedef struct __CFBundle* CFBundleRef;

CF_EXPORT CFTypeID CFBundleGetTypeID(void);

/* [any thread] Get rule: not retained. NULL when no loaded bundle carries the identifier. */
CF_EXPORT CFBundleRef CFBundleGetBundleWithIdentifier(CFStringRef bundleID);
/* [any thread] Get rule. The directory of the running executable; NULL if it cannot be found. */
CF_EXPORT CFBundleRef CFBundleGetMainBundle(void);

/* [any thread] Get rule; NULL for a bundle without an identifier. */
CF_EXPORT CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);
/* [any thread] Create rule. */
CF_EXPORT CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);
CF_EXPORT CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle);
CF_EXPORT CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle);

CF_EXTERN_C_END

#endif
