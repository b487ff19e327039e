// The task manager: one JSON record per task in the user's preference
// directory, under tasks/.
//
// The directory belongs to the user, who may plant anything in it, and the
// process is often root: the tasks directory and its records are opened
// relative to the preference directory, never through a link and never
// waiting on a FIFO, and what root creates there is given to the user.

#include <vorn/task.h>

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>


#include <json/writer.h>
#include <vorn/log.h>
#include <vorn/user.h>

#include "base/descriptor.h"
#include "base/file_read.h"
#include "base/file_write.h"
#include "base/json_read.h"
#include "base/safe_open.h"

namespace {

constexpr size_t kLongestName = 128;
constexpr off_t kLargestRecord = 1 << 20;
constexpr char kTasksDir[] = "tasks";
constexpr char kRecordSuffix[] = ".json";
constexpr mode_t kTasksDirMode = 0700;
constexpr mode_t kRecordMode = 0600;

// Whether name can be a task's: one path element of a narrow alphabet, so
// that it never leads anywhere but to its own record.
bool NameUsable(const char* name)
{
    const char* why = nullptr;
    if (name == nullptr || *name == '\0')
        why = "empty";
    else if (strnlen(name, kLongestName + 1) > kLongestName)
        why = "longer than 128 bytes";
    else if (*name == '.')
        why = "begins with a dot";
    for (const char* c = name; why == nullptr && *c != '\0'; ++c) {
        const bool allowed = (*c >= 'a' && *c <= 'z') || (*c >= 'A' && *c <= 'Z') || (*c >= '0' && *c <= '9') ||
                             *c == '.' || *c == '_' || *c == '-';
        if (!allowed)
            why = "holds a character other than letters, digits, '.', '_' and '-'";
    }
    if (why != nullptr)
        VLIBCLog(LOG_ERR, "task_manager:%d task name refused: %s", __LINE__, why);
    return why == nullptr;
}

bool RunningAsRoot()
{
    return geteuid() == 0;
}

// The tasks directory below the preference directory, never through a
// link; made (0700, the user's) when create is set and it is missing.
int OpenTasksDir(const std::string& preferenceDir, uid_t owner, gid_t group, bool create)
{
    const base::Descriptor parent(open(preferenceDir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (parent.get() < 0)
        return -1;
    const int flags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    int fd = openat(parent.get(), kTasksDir, flags);
    if (fd >= 0 || errno != ENOENT || !create)
        return fd;
    if (mkdirat(parent.get(), kTasksDir, kTasksDirMode) != 0 && errno != EEXIST)
        return -1;
    fd = openat(parent.get(), kTasksDir, flags);
    if (fd >= 0 && RunningAsRoot())
        fchown(fd, owner, group);  // a directory root made for the user
    return fd;
}

// Reads the record of file in dir into state: a JSON object, nothing else.
bool ReadRecord(int dir, const std::string& file, Json::Value& state)
{
    struct stat st;
    const base::Descriptor fd(base::OpenForReadingAt(dir, file.c_str(), base::Links::kRefuse, &st));
    std::string text;
    if (fd.get() < 0 || st.st_nlink != 1 || !base::ReadWholeDescriptor(fd.get(), st, text, kLargestRecord))
        return false;
    Json::Value parsed;
    try {
        base::JsonReader reader;
        if (!reader.Parse(text, parsed) || !parsed.isObject())
            return false;
    } catch (const std::exception&) {
        return false;
    }
    state.swap(parsed);
    return true;
}

std::string RecordFile(const std::string& name)
{
    return name + kRecordSuffix;
}

}  // namespace

namespace ARX {

Task::Task(const std::string& directory, uid_t owner, gid_t group, const std::string& name, const Json::Value& state)
    : directory_(directory), owner_(owner), group_(group), name_(name), state_(state)
{ }

Task::~Task() = default;

Json::Value Task::serialize() const
{
    return state_;
}

bool Task::deserialize(const Json::Value& state)
{
    if (!state.isObject())
        return false;
    try {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        const std::string text = Json::writeString(builder, state) + "\n";
        const base::Descriptor dir(OpenTasksDir(directory_, owner_, group_, true));
        base::NewFile file;
        file.mode = kRecordMode;
        if (RunningAsRoot()) {
            file.owner = owner_;
            file.group = group_;
        }
        if (dir.get() < 0 || !base::ReplaceFileAt(dir.get(), RecordFile(name_), text, file)) {
            VLIBCLog(LOG_ERR, "task_manager:%d cannot store the task %s in %s/%s: %m", __LINE__, name_.c_str(),
                     directory_.c_str(), kTasksDir);
            return false;
        }
        state_ = state;
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

bool Task::remove()
{
    try {
        const base::Descriptor dir(OpenTasksDir(directory_, owner_, group_, false));
        if (dir.get() < 0)
            return errno == ENOENT;
        return unlinkat(dir.get(), RecordFile(name_).c_str(), 0) == 0 || errno == ENOENT;
    } catch (const std::exception&) {
        return false;
    }
}

TaskMgr::TaskMgr(const char* user)
{
    VLIBUSERINFO info;
    char directory[1024];
    if (user == nullptr || VLIBUserInfoGet(user, &info) != 0 ||
        VORNUserPreferenceDirGet(info.szName, directory, sizeof directory) < 0)
        return;
    try {
        directory_ = directory;
    } catch (const std::exception&) {
        return;  // no memory: a manager without tasks
    }
    owner_ = info.uid;
    group_ = info.gid;
}

bool TaskMgr::hasTask(const char* name) const
{
    if (directory_.empty() || !NameUsable(name))
        return false;
    try {
        const base::Descriptor dir(OpenTasksDir(directory_, owner_, group_, false));
        struct stat st;
        return dir.get() >= 0 && fstatat(dir.get(), RecordFile(name).c_str(), &st, AT_SYMLINK_NOFOLLOW) == 0 &&
               S_ISREG(st.st_mode);
    } catch (const std::exception&) {
        return false;
    }
}

Task* TaskMgr::getTask(const char* name) const
{
    if (directory_.empty() || !NameUsable(name))
        return nullptr;
    const base::Descriptor dir(OpenTasksDir(directory_, owner_, group_, false));
    try {
        Json::Value state;
        if (dir.get() < 0 || !ReadRecord(dir.get(), RecordFile(name), state))
            return nullptr;
        return new Task(directory_, owner_, group_, name, state);
    } catch (const std::exception&) {
        return nullptr;
    }
}

Task* TaskMgr::createTask(const char* name)
{
    if (directory_.empty() || !NameUsable(name))
        return nullptr;
    const base::Descriptor dir(OpenTasksDir(directory_, owner_, group_, false));
    try {
        Json::Value state(Json::objectValue);
        if (dir.get() >= 0)
            ReadRecord(dir.get(), RecordFile(name), state);  // a missing or damaged record starts afresh
        return new Task(directory_, owner_, group_, name, state);
    } catch (const std::exception&) {
        return nullptr;
    }
}

}  // namespace ARX
