/* The dispatch subset present here: the main queue and its clock. */
#ifndef VENEER_PLATFORM_DISPATCH_H
#define VENEER_PLATFORM_DISPATCH_H

#include <dispatch/base.h>
#include <dispatch/object.h>
#include <dispatch/queue.h>
#include <dispatch/time.h>

#endif
