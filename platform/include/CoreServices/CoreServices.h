/* The Component Manager statuses that the component calls answer with. */
#ifndef VENEER_PLATFORM_CORESERVICES_H
#define VENEER_PLATFORM_CORESERVICES_H

#include <MacTypes.h>

enum { badComponentInstance = (int)0x80008001, badComponentSelector = (int)0x80008002 };

#endif
