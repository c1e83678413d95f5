// Ctrl-C / SIGTERM handling for the commands that run until interrupted.
#pragma once

#include <string>

namespace companion {

// Makes the first SIGINT or SIGTERM request a stop instead of killing the process; a
// second one ends it at once, as people expect. [main thread]
void InstallStopHandlers();

// A hidden file being written that a second stop signal removes before the process
// ends, so that nothing half-written is left behind; forgotten once it is renamed into
// place or removed. At most a few at a time. [main thread]
void RemoveIfKilled(const std::string& path);
void ForgetIfKilled(const std::string& path);

// [any thread]
bool StopRequested();

// Sleeps for `seconds`, waking within about 0.1 s of a stop request.
// Returns false when a stop was requested. [main thread]
bool SleepUnlessStopped(double seconds);

}  // namespace companion
