// Scoped switch of the effective user and group.
//
// Some steps of a request need root (writing generated files under /run,
// caches under /var/cache) while the process runs as the web user.  The
// guards change only the effective ids (setresuid/setresgid with -1 for the
// real and saved ids) and put the previous effective identity back when the
// scope ends, however it ends; a process whose saved uid is root can always
// come back.
//
//   IF_RUN_AS2("root") {
//       ... privileged work ...
//   } else {
//       ... the switch failed: report it and give up ...
//   }
//
// The guard lives through both branches and is gone after the statement.
// Guards nest; each restores what it found.
#ifndef ARX_RUN_AS_H
#define ARX_RUN_AS_H

#include <sys/types.h>

#include <arx/export.h>

class ARX_EXPORT RunAsGuardBase {
public:
    // Records the current effective ids; file, line and name (the macro's)
    // only label the log lines.
    RunAsGuardBase(const char* file, int line, const char* name);
    // Restores the recorded effective ids: root first, then the group, then
    // the user.  A failure is logged (LOG_AUTH|LOG_CRIT), never thrown.
    ~RunAsGuardBase();
    RunAsGuardBase(const RunAsGuardBase&) = delete;
    RunAsGuardBase& operator=(const RunAsGuardBase&) = delete;

    // Looks user up in the password database.
    bool getugid(const char* user, uid_t& uid, gid_t& gid);

    // Switches to the numeric pair ((uid_t)-1 or (gid_t)-1 leaves that id
    // alone); logs "FILE:LINE ERROR: NAME(uid, gid)" on failure.
    bool SwitchTo(uid_t uid, gid_t gid);

protected:
    // The switching steps alone, without a log line.  A failed switch puts
    // the recorded identity back before it returns false.
    bool Switch(uid_t uid, gid_t gid);
    // Puts the recorded effective ids back; a failure is logged.
    void Restore();

    uid_t savedEuid_;
    gid_t savedEgid_;
    const char* file_;
    int line_;
    const char* name_;
};

// The by-name guard.  Only the false instantiation exists: failures are
// logged and reported through ok, never thrown.
template <bool Throwing>
class ARX_EXPORT RunAsGuard : public RunAsGuardBase {
public:
    RunAsGuard(const char* user, const char* file, int line, const char* name);

    bool ok;  // the process now runs as the target
};

extern template class RunAsGuard<false>;

#define ARX_RUN_AS_CONCAT_(a, b) a##b
#define ARX_RUN_AS_NAME_(line) ARX_RUN_AS_CONCAT_(arx_run_as_guard_, line)

// Runs the following statement as the named user (by name: "root").
#define IF_RUN_AS2(user) \
    if (RunAsGuard<false> ARX_RUN_AS_NAME_(__LINE__){(user), __FILE__, __LINE__, "IF_RUN_AS2"}; \
        ARX_RUN_AS_NAME_(__LINE__).ok)

// Runs the following statement as the numeric uid and gid (0, 0: root).
#define IF_RUN_AS(uid, gid) \
    if (RunAsGuardBase ARX_RUN_AS_NAME_(__LINE__){__FILE__, __LINE__, "IF_RUN_AS"}; \
        ARX_RUN_AS_NAME_(__LINE__).SwitchTo((uid), (gid)))

#endif
