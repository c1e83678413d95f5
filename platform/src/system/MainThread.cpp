#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" {

// The initial thread's id is the process id. Not cached: after fork() the
// child's only thread is its initial thread.
int pthread_main_np(void) { return syscall(SYS_gettid) == getpid() ? 1 : 0; }

}  // extern "C"
