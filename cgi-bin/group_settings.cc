// group_settings.cgi: the administrators' shared settings, as a settings
// form with a form lock.  Administrators only.
//
//   POST group_settings.cgi   action=load
//   POST group_settings.cgi   action=apply&banner=...&default_language=ger&backup_hour=2
//                             &maintenance_day=2026/12/24&time_server=192.0.2.123
//
// Replies as personal_settings.cgi's.  The form lock serialises the
// administrators' changes: an apply reads, changes and writes the
// settings while holding it, and a second apply at the same moment is
// refused at once ("common" "error_apply_occupied") instead of writing
// over the first one's change; a load meanwhile gets "error_occupied".
// POST only, with the session token.

#include <stdlib.h>

#include <string>

#include <json/json.h>

#include <arx/form_validator.h>
#include <vorn/user.h>

#include "cgi-bin/settings_form.h"

namespace {

const char* kLanguages[] = {"enu", "ger", "fre", "jpn"};
const char* const kTextFields[] = {"banner", "default_language", "maintenance_day", "time_server"};

class GroupSettings : public SettingsForm {
public:
    explicit GroupSettings(const char* lockFile) : SettingsForm(lockFile, VORN_AUTH_ADMIN) {}

    bool Load() override
    {
        Answering();
        if (!ShLock() || webman_.setEUGID() != 0)
            return ShLockOrFail(__LINE__);
        Json::Value settings;
        webman_.loadGroupJsonSettings(settings);
        ReportSuccess(WithDefaults(settings));
        return true;
    }

    bool Apply() override
    {
        Answering();
        FormValidator fields(false);
        fields.AddTextField("banner", 120, true);
        fields.AddStringList("default_language", kLanguages, sizeof kLanguages / sizeof *kLanguages);
        fields.AddNumberField("backup_hour", 0, 23);
        fields.AddDateTimeField("maintenance_day", nullptr);
        fields.AddIPV4("time_server");
        if (!fields.Validate(*this)) {
            ReportError();
            return false;
        }
        if (!ExLock() || webman_.setEUGID() != 0)
            return ShLockOrFail(__LINE__);
        Json::Value settings;
        webman_.loadGroupJsonSettings(settings);
        if (!settings.isObject())
            settings = Json::Value(Json::objectValue);
        for (const char* name : kTextFields)
            settings[name] = webman_.In(name, "");
        settings["backup_hour"] = atoi(webman_.In("backup_hour", "0"));
        if (!webman_.saveGroupJsonSettings(settings))
            return Fail(__LINE__);
        ReportSuccess(WithDefaults(settings));
        return true;
    }

private:
    // The busy form's error when the lock was refused, else a failure.
    bool ShLockOrFail(int line)
    {
        std::string section, key;
        int recordedLine = 0;
        GetFormErrInfo(section, key, recordedLine);
        if (!key.empty()) {
            ReportError();
            return false;
        }
        return Fail(line);
    }

    static Json::Value WithDefaults(const Json::Value& stored)
    {
        Json::Value values(Json::objectValue);
        values["banner"] = "";
        values["default_language"] = "enu";
        values["backup_hour"] = 2;
        values["maintenance_day"] = "2026/01/01";
        values["time_server"] = "192.0.2.123";
        for (const std::string& name : values.getMemberNames()) {
            if (stored.isObject() && stored.isMember(name))
                values[name] = stored[name];
        }
        return values;
    }
};

// The form lock beside the administrators' settings, in their group's
// directory (root's, 0750); none when it cannot be made.
std::string LockPath()
{
    char dir[1024];
    return VORNGroupPreferenceDirGet(VORN_ADMIN_GROUP, dir, sizeof dir) < 0 ? ""
                                                                             : std::string(dir) + "/groupsettings.lock";
}

}  // namespace

int main()
{
    const std::string lock = LockPath();
    GroupSettings form(lock.empty() ? nullptr : lock.c_str());
    form.Serve();
    return 0;
}
