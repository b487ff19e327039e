// Starting programs without a shell.
#ifndef VORN_PLATFORM_EXEC_SPAWN_DETACHED_H
#define VORN_PLATFORM_EXEC_SPAWN_DETACHED_H

#include <string>
#include <vector>

namespace vorn {

// Starts argv[0] (an absolute path) with the arguments argv, detached: a
// grandchild of the caller in a session of its own, so that the caller
// neither waits for it nor leaves it behind as a zombie.  Its standard
// input is input (a descriptor the child reads from where it stands; -1
// for /dev/null), standard output and error /dev/null, no other
// descriptor, signals at their defaults and a bare environment (PATH
// only).  true once the program was started; false with errno otherwise.
bool SpawnDetached(const std::vector<std::string>& argv, int input);

}  // namespace vorn

#endif
