// One run of a program: spawned from an argument vector, its output read
// while it runs, waited for within a time limit.
#ifndef VORN_PLATFORM_EXEC_SPAWN_H
#define VORN_PLATFORM_EXEC_SPAWN_H

#include <stddef.h>

#include <string>

namespace vorn {

struct SpawnRequest {
    const char* program = nullptr;
    const char* const* argv = nullptr;
    const char* const* environment = nullptr;  // nullptr: the plain one
    int seconds = 0;
    bool captureOutput = false;
    size_t outputLimit = 0;  // bytes of standard output kept
};

struct SpawnResult {
    bool started = false;
    bool timedOut = false;
    bool reaped = false;  // its status is known (not with SIGCHLD ignored)
    int waitStatus = 0;
    std::string output;
    std::string firstErrorLine;  // of standard error
};

// false when the program could not be started (errno says why); otherwise
// it has ended (killed with its process group when its time was up).
bool Spawn(const SpawnRequest& request, SpawnResult& result);

// The exit status, or -1 with the last error set and a log line.
int ExitStatusOf(const SpawnRequest& request, const SpawnResult& result);

}  // namespace vorn

#endif
