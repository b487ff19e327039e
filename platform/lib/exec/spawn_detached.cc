#include "lib/exec/spawn_detached.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vorn {

namespace {

// The program's environment: nothing of the request's (the CGI variables
// are the client's words), only where to find programs.
char kPath[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";

// In the intermediate child: starts the program and returns its spawn's
// error (0 when it runs).
int StartProgram(char* const argv[], int input)
{
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    if (input >= 0)
        posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    else
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    // Nothing of the caller's: the web server waits for its end of the
    // CGI's output to close.
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    char* environment[] = {kPath, nullptr};
    pid_t pid;
    const int error = posix_spawn(&pid, argv[0], &actions, &attributes, argv, environment);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return error;
}

}  // namespace

bool SpawnDetached(const std::vector<std::string>& argv, int input)
{
    if (argv.empty() || argv[0].empty() || argv[0][0] != '/') {
        errno = EINVAL;
        return false;
    }
    std::vector<char*> pointers;
    for (const std::string& argument : argv)
        pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    // The intermediate child only starts the program and ends: the
    // program becomes init's, and the caller reaps the child at once.
    const pid_t child = fork();
    if (child < 0)
        return false;
    if (child == 0)
        _exit(StartProgram(pointers.data(), input) == 0 ? 0 : 1);
    int status = 0;
    pid_t waited;
    while ((waited = waitpid(child, &status, 0)) < 0 && errno == EINTR) {
    }
    if (waited < 0)
        return errno == ECHILD;  // the caller ignores SIGCHLD: the child reaped itself
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        return true;
    errno = ECHILD;
    return false;
}

}  // namespace vorn
