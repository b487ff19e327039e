// The request context: the login user's and the administrators' settings
// files, and modules' data through the platform's task manager.

#include <arx/webman.h>

#include <errno.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include <arx/webutils.h>
#include <vorn/log.h>
#include <vorn/task.h>
#include <vorn/user.h>

#include "base/root_moment.h"
#include "webman/log_source.h"

using arx::webman::kWebManLogSource;

namespace {

constexpr char kUserSettingsFile[] = "/usersettings";
constexpr char kBackgroundTasksFile[] = "/bkgtask";
constexpr char kGroupSettingsFile[] = "/groupsettings";
constexpr char kBackgroundTasks[] = "BackgroundTask";
constexpr char kModuleProperty[] = "property";

// The preference directory of a user or a group, or "" when the platform
// names none.  The fallback of GetPreferenceDir, "/tmp", is no place for
// settings: anyone may have put a file there, and anyone may read what is
// written there.
std::string UserDir(const char* user)
{
    char buffer[1024] = "";
    return VORNUserPreferenceDirGet(user, buffer, sizeof buffer) < 0 ? "" : buffer;
}

std::string GroupDir(const char* group)
{
    char buffer[1024] = "";
    return VORNGroupPreferenceDirGet(group, buffer, sizeof buffer) < 0 ? "" : buffer;
}

bool LoadFrom(const std::string& dir, const char* file, Json::Value& value)
{
    return !dir.empty() && WebUtils::LoadJsonFile(value, (dir + file).c_str());
}

bool SaveTo(const std::string& dir, const char* file, Json::Value& value)
{
    return !dir.empty() && WebUtils::SaveJsonFile(value, (dir + file).c_str());
}

}  // namespace

bool WebMan::loadUserJsonSettings(Json::Value& settings)
{
    const std::string dir = UserDir(loginUserName_);
    bool ok = LoadFrom(dir, kUserSettingsFile, settings);
    if (!settings.isObject() && !settings.isNull()) {
        settings = Json::Value(Json::objectValue);  // it could not take the tasks' member
        ok = false;
    }
    // A "BackgroundTask" member in the settings file is never used.
    settings[kBackgroundTasks] = Json::Value(Json::objectValue);
    Json::Value tasks;
    if (LoadFrom(dir, kBackgroundTasksFile, tasks))
        settings[kBackgroundTasks].swap(tasks);
    return ok;
}

bool WebMan::saveUserJsonSettings(Json::Value& settings)
{
    const std::string dir = UserDir(loginUserName_);
    if (dir.empty())
        return false;
    bool result = true;
    if (settings.isObject() && settings.isMember(kBackgroundTasks)) {
        result = SaveTo(dir, kBackgroundTasksFile, settings[kBackgroundTasks]);
        settings.removeMember(kBackgroundTasks);
    }
    const uid_t before = geteuid();
    base::RootMoment root;
    const bool saved = SaveTo(dir, kUserSettingsFile, settings);
    if (!root.Return())
        VLIBCLog(LOG_AUTH | LOG_CRIT, "%s:%d cannot return to uid %u: %m", kWebManLogSource, __LINE__,
                 static_cast<unsigned>(before));
    return result && saved;
}

bool WebMan::loadGroupJsonSettings(Json::Value& settings)
{
    return IsAdmin() && LoadFrom(GroupDir(VORN_ADMIN_GROUP), kGroupSettingsFile, settings);
}

bool WebMan::saveGroupJsonSettings(Json::Value& settings)
{
    return IsAdmin() && SaveTo(GroupDir(VORN_ADMIN_GROUP), kGroupSettingsFile, settings);
}

bool WebMan::getGrpJsonSettingMtime(const char* group, unsigned long long& mtime)
{
    const std::string dir = group != nullptr ? GroupDir(group) : "";
    if (dir.empty())
        return false;
    const std::string path = dir + kGroupSettingsFile;
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        if (errno != ENOENT)
            VLIBCLog(LOG_ERR, "%s:%d Failed to stat file (%s)", kWebManLogSource, __LINE__, path.c_str());
        return false;
    }
    mtime = static_cast<unsigned long long>(st.st_mtime);
    return true;
}

bool WebMan::IsModuleDataExist(const char* module)
{
    return ARX::TaskMgr(loginUserName_).hasTask(module);
}

void WebMan::RemoveModuleData(const char* module)
{
    // createTask, unlike getTask, also stands for a record that is damaged.
    const std::unique_ptr<ARX::Task> task(ARX::TaskMgr(loginUserName_).createTask(module));
    if (task != nullptr)
        task->remove();
}

bool WebMan::ReadModuleData(const char* module, Json::Value& data)
{
    const std::unique_ptr<ARX::Task> task(ARX::TaskMgr(loginUserName_).getTask(module));
    if (task == nullptr)
        return false;
    data = task->serialize()[kModuleProperty];
    return true;
}

bool WebMan::WriteModuleData(const char* module, Json::Value& data)
{
    const std::unique_ptr<ARX::Task> task(ARX::TaskMgr(loginUserName_).createTask(module));
    if (task == nullptr)
        return false;
    Json::Value state = task->serialize();
    state[kModuleProperty] = data;
    // The store's result, not true alone: a blob that was not stored is
    // reported so.
    return task->deserialize(state);
}
