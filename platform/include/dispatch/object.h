/* How dispatch object types are declared. In C++ they form a class hierarchy,
   as on the platform: a queue of a more specific kind (the main queue)
   converts implicitly to its base kind, never the other way round. The
   objects themselves are never C++ objects: they cannot be made, copied or
   destroyed from C++. In C every kind is the base pointer type.
   The implementation defines __DISPATCH_BUILDING_DISPATCH__ to give the
   structs its own contents. */
#ifndef VENEER_PLATFORM_DISPATCH_OBJECT_H
#define VENEER_PLATFORM_DISPATCH_OBJECT_H

#include <dispatch/base.h>

#if defined(__cplusplus) && !defined(__DISPATCH_BUILDING_DISPATCH__)
struct dispatch_object_s {
 private:
  dispatch_object_s();
  ~dispatch_object_s();
  dispatch_object_s(const dispatch_object_s&);
  void operator=(const dispatch_object_s&);
};
#define DISPATCH_DECL(name) typedef struct name##_s : public dispatch_object_s{} * name##_t
#define DISPATCH_DECL_SUBCLASS(name, base) typedef struct name##_s : public base##_s{} * name##_t
#else
#define DISPATCH_DECL(name) typedef struct name##_s* name##_t
#define DISPATCH_DECL_SUBCLASS(name, base) typedef base##_t name##_t
#endif

#endif
