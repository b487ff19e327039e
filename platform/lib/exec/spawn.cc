// Spawning a program and waiting for it within its time limit.

#include "lib/exec/spawn.h"

#include <errno.h>
#include <algorithm>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include <vorn/err.h>
#include <vorn/log.h>

#include "lib/exec/child_identity.h"

namespace vorn {
namespace {

constexpr size_t kErrorKept = 4096;
const char* const kPlainEnvironment[] = {"PATH=/usr/bin:/bin", "LANG=C", nullptr};

long long NowMs()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<long long>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

struct Pipe {
    int read = -1;
    int write = -1;
    bool Open() { return pipe2(&read, O_CLOEXEC) == 0; }
    void CloseWrite()
    {
        if (write >= 0)
            close(write);
        write = -1;
    }
    ~Pipe()
    {
        CloseWrite();
        if (read >= 0)
            close(read);
    }
};

class SpawnAttributes {
public:
    SpawnAttributes()
    {
        posix_spawnattr_init(&attr_);
        posix_spawn_file_actions_init(&actions_);
    }
    ~SpawnAttributes()
    {
        posix_spawnattr_destroy(&attr_);
        posix_spawn_file_actions_destroy(&actions_);
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    // Own process group, default signal dispositions, nothing blocked;
    // stdin from /dev/null, stdout to the output pipe or /dev/null, stderr
    // to the error pipe, every other descriptor closed.
    bool Set(int outputFd, int errorFd)
    {
        sigset_t none, all;
        sigemptyset(&none);
        sigfillset(&all);
        bool ok = posix_spawnattr_setflags(&attr_, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK |
                                                       POSIX_SPAWN_SETSIGDEF) == 0 &&
                  posix_spawnattr_setpgroup(&attr_, 0) == 0 && posix_spawnattr_setsigmask(&attr_, &none) == 0 &&
                  posix_spawnattr_setsigdefault(&attr_, &all) == 0;
        ok = ok && posix_spawn_file_actions_addopen(&actions_, 0, "/dev/null", O_RDONLY, 0) == 0;
        ok = ok && (outputFd >= 0 ? posix_spawn_file_actions_adddup2(&actions_, outputFd, 1)
                                  : posix_spawn_file_actions_addopen(&actions_, 1, "/dev/null", O_WRONLY, 0)) == 0;
        ok = ok && posix_spawn_file_actions_adddup2(&actions_, errorFd, 2) == 0;
        return ok && posix_spawn_file_actions_addclosefrom_np(&actions_, 3) == 0;
    }

    const posix_spawnattr_t* attr() const { return &attr_; }
    const posix_spawn_file_actions_t* actions() const { return &actions_; }

private:
    posix_spawnattr_t attr_;
    posix_spawn_file_actions_t actions_;
};

// Reads what is there; false at the end of the stream.
bool Drain(int fd, std::string& kept, size_t limit)
{
    char buffer[16384];
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n < 0)
        return errno == EINTR || errno == EAGAIN;
    if (n == 0)
        return false;
    if (kept.size() < limit)
        kept.append(buffer, std::min(static_cast<size_t>(n), limit - kept.size()));
    return true;
}

// Reads both pipes until the child has ended and they are closed, or the
// time is up; then kills the process group and reaps the child.
void Supervise(pid_t pid, int pidfd, Pipe& output, Pipe& error, const SpawnRequest& request, SpawnResult& result)
{
    std::string errorText;
    const long long deadline = NowMs() + static_cast<long long>(request.seconds) * 1000;
    bool outputOpen = output.read >= 0, errorOpen = true, exited = false;
    while (!exited || outputOpen || errorOpen) {
        const long long left = deadline - NowMs();
        if (left <= 0) {
            result.timedOut = true;
            break;
        }
        pollfd fds[3] = {{output.read, POLLIN, 0}, {error.read, POLLIN, 0}, {pidfd, POLLIN, 0}};
        if (!outputOpen)
            fds[0].fd = -1;
        if (!errorOpen)
            fds[1].fd = -1;
        if (exited || pidfd < 0)
            fds[2].fd = -1;
        // Without a pidfd the child's end is checked every 10 ms.
        const long long waitMs = pidfd < 0 && !exited ? std::min<long long>(left, 10) : left;
        if (poll(fds, 3, static_cast<int>(std::min<long long>(waitMs, 1000))) < 0 && errno != EINTR)
            break;
        if (outputOpen && (fds[0].revents & (POLLIN | POLLHUP | POLLERR)))
            outputOpen = Drain(output.read, result.output, request.outputLimit);
        if (errorOpen && (fds[1].revents & (POLLIN | POLLHUP | POLLERR)))
            errorOpen = Drain(error.read, errorText, kErrorKept);
        if (!exited) {
            siginfo_t info {};
            const int found = waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT);
            // ECHILD: SIGCHLD is ignored and the system reaped it already.
            exited = (found == 0 && info.si_pid == pid) || (found < 0 && errno == ECHILD);
        }
        // Descendants that keep the pipes open do not keep the run alive.
        if (exited)
            kill(-pid, SIGKILL);
    }
    kill(-pid, SIGKILL);
    pid_t reaped;
    while ((reaped = waitpid(pid, &result.waitStatus, 0)) < 0 && errno == EINTR) {
    }
    result.reaped = reaped == pid;
    result.firstErrorLine = errorText.substr(0, errorText.find('\n'));
}

}  // namespace

bool Spawn(const SpawnRequest& request, SpawnResult& result)
{
    Pipe output, error;
    if ((request.captureOutput && !output.Open()) || !error.Open())
        return false;
    SpawnAttributes attributes;
    if (!attributes.Set(request.captureOutput ? output.write : -1, error.write)) {
        errno = ENOMEM;
        return false;
    }
    pid_t pid = -1;
    int spawnError;
    {
        ChildIdentity identity;
        if (!identity.ok())
            return false;
        spawnError = posix_spawn(
            &pid, request.program, attributes.actions(), attributes.attr(), const_cast<char* const*>(request.argv),
            const_cast<char* const*>(request.environment != nullptr ? request.environment : kPlainEnvironment));
    }
    if (spawnError != 0) {
        errno = spawnError;
        return false;
    }
    result.started = true;
    output.CloseWrite();
    error.CloseWrite();
    const int pidfd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    Supervise(pid, pidfd, output, error, request, result);
    if (pidfd >= 0)
        close(pidfd);
    return true;
}

int ExitStatusOf(const SpawnRequest& request, const SpawnResult& result)
{
    if (result.timedOut) {
        VLIBCLog(LOG_ERR, "spawn:%d %s ran longer than %d s and was stopped", __LINE__, request.program,
                 request.seconds);
        VLIBCErrSet(VLIB_ERR_EXEC_TIMEOUT);
        return -1;
    }
    if (!result.reaped) {
        // A process that ignores SIGCHLD never learns how its child ended.
        VLIBCLog(LOG_ERR, "spawn:%d cannot learn how %s ended", __LINE__, request.program);
        VLIBCErrSet(VLIB_ERR_EXEC_FAILED);
        return -1;
    }
    if (WIFEXITED(result.waitStatus)) {
        const int status = WEXITSTATUS(result.waitStatus);
        if (status != 0 && !result.firstErrorLine.empty())
            VLIBCLog(LOG_ERR, "spawn:%d %s exited with %d: %s", __LINE__, request.program, status,
                     result.firstErrorLine.c_str());
        return status;
    }
    VLIBCLog(LOG_ERR, "spawn:%d %s ended by signal %d", __LINE__, request.program,
             WIFSIGNALED(result.waitStatus) ? WTERMSIG(result.waitStatus) : 0);
    VLIBCErrSet(VLIB_ERR_EXEC_FAILED);
    return -1;
}

}  // namespace vorn
