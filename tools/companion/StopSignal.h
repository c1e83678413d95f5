// Ctrl-C / SIGTERM handling for the commands that run until interrupted.
#pragma once

namespace companion {

// Makes the first SIGINT or SIGTERM request a stop instead of killing the process. [main thread]
void InstallStopHandlers();

// [any thread]
bool StopRequested();

// Sleeps for `seconds`, waking within about 0.1 s of a stop request.
// Returns false when a stop was requested. [main thread]
bool SleepUnlessStopped(double seconds);

}  // namespace companion
