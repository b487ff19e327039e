// Preference directories of users and groups, created on first request.

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <vorn/err.h>
#include <vorn/log.h>
#include <vorn/root.h>
#include <vorn/user.h>

#include "base/directories.h"
#include "base/root_moment.h"
#include "lib/core/no_throw.h"
#include "lib/users/user_db.h"

namespace {

constexpr mode_t kUserDirMode = 0700;
constexpr mode_t kGroupDirMode = 0750;
constexpr mode_t kParentMode = 0755;

// A name that can stand as one path element.
bool IsDirectoryElement(const std::string& name)
{
    if (name.empty() || name == "." || name == "..")
        return false;
    for (unsigned char c : name) {
        if (c == '/' || c < 0x20 || c == 0x7F)
            return false;
    }
    return true;
}

// Gives a new directory to its owner through a descriptor of the directory
// itself, never through its name.
bool GiveAway(const std::string& path, mode_t mode, uid_t owner, gid_t group)
{
    const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool given = fchown(fd, owner, group) == 0 && fchmod(fd, mode) == 0;
    const int error = errno;
    close(fd);
    errno = error;
    return given;
}

// Makes path a directory of the given owner and mode unless it is one
// already (an existing directory is left as it is; anything else there is
// refused).  The directory is removed again when it cannot be given away.
bool MakeDirectory(const std::string& path, mode_t mode, uid_t owner, gid_t group)
{
    struct stat st;
    if (lstat(path.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode))
            return true;
        VLIBCLog(LOG_ERR, "preference_dir:%d %s exists and is not a directory", __LINE__, path.c_str());
        return false;
    }
    const std::string parent = path.substr(0, path.find_last_of('/'));
    if (!base::MakeDirectories(parent, kParentMode)) {
        VLIBCLog(LOG_ERR, "preference_dir:%d cannot create %s: %m", __LINE__, parent.c_str());
        return false;
    }
    if (mkdir(path.c_str(), mode) != 0) {
        if (errno == EEXIST && lstat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
            return true;  // another process was quicker
        VLIBCLog(LOG_ERR, "preference_dir:%d cannot create %s: %m", __LINE__, path.c_str());
        return false;
    }
    if (!GiveAway(path, mode, owner, group)) {
        VLIBCLog(LOG_ERR, "preference_dir:%d cannot give %s to %u:%u: %m", __LINE__, path.c_str(),
                 static_cast<unsigned>(owner), static_cast<unsigned>(group));
        rmdir(path.c_str());
        return false;
    }
    return true;
}

// MakeDirectory as root: only root may create the directory and give it
// away.  A process that switched to a user (its saved uid root) becomes
// root for this step, so that every existing user has a directory, also
// when asked for after the switch.
bool EnsureDirectory(const std::string& path, mode_t mode, uid_t owner, gid_t group)
{
    const uid_t euid = geteuid();
    base::RootMoment root;
    const bool made = MakeDirectory(path, mode, owner, group);
    const int error = errno;
    if (!root.Return())
        VLIBCLog(LOG_AUTH | LOG_CRIT, "preference_dir:%d cannot return to uid %u: %m", __LINE__,
                 static_cast<unsigned>(euid));
    errno = error;
    return made;
}

int CopyPath(const std::string& path, char* buffer, int size)
{
    if (path.size() >= static_cast<size_t>(size)) {
        VLIBCErrSet(VLIB_ERR_BUFFER_TOO_SMALL);
        return -1;
    }
    memcpy(buffer, path.c_str(), path.size() + 1);
    return static_cast<int>(path.size());
}

int PreferenceDir(const std::string& element, mode_t mode, uid_t owner, gid_t group, char* buffer, int size)
{
    const std::string path = VORNRootPathString(VORN_PREFERENCE_DIR) + "/" + element;
    if (!EnsureDirectory(path, mode, owner, group)) {
        VLIBCErrSet(VLIB_ERR_WRITE_FAILED);
        return -1;
    }
    return CopyPath(path, buffer, size);
}

bool ArgumentsUsable(const char* name, char* buffer, int size)
{
    if (name == nullptr || buffer == nullptr || size <= 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return false;
    }
    buffer[0] = '\0';
    return true;
}

// Looks name up with find and makes the directory of what it found.
template <typename Entry, typename Find, typename Make>
int DirectoryOf(const char* name, char* buffer, int size, Find find, Make make)
{
    if (!ArgumentsUsable(name, buffer, size))
        return -1;
    return vorn::NoThrow(-1, [&] {
        Entry entry;
        const vorn::Lookup lookup = find(name, entry);
        if (lookup != vorn::Lookup::kFound) {
            VLIBCErrSet(lookup == vorn::Lookup::kMissing ? VLIB_ERR_NOT_FOUND : VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        if (!IsDirectoryElement(entry.name)) {
            VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
            return -1;
        }
        return make(entry);
    });
}

}  // namespace

extern "C" int VORNUserPreferenceDirGet(const char* user, char* buffer, int size)
{
    return DirectoryOf<vorn::UserEntry>(user, buffer, size, vorn::FindUser, [&](const vorn::UserEntry& entry) {
        return PreferenceDir(entry.name, kUserDirMode, entry.uid, entry.gid, buffer, size);
    });
}

extern "C" int VORNGroupPreferenceDirGet(const char* group, char* buffer, int size)
{
    return DirectoryOf<vorn::GroupEntry>(group, buffer, size, vorn::FindGroup, [&](const vorn::GroupEntry& entry) {
        return PreferenceDir("@" + entry.name, kGroupDirMode, 0, entry.gid, buffer, size);
    });
}
