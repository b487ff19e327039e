// personal_settings.cgi: a person's own desktop settings, as a settings
// form (ServerFormHandler).
//
//   POST personal_settings.cgi   action=load
//   POST personal_settings.cgi   action=apply&display_name=Ann&email=ann@example.com
//                                &page_size=50&timezone=UTC&refresh=60
//
//   {"success": true, "data": {"display_name": "Ann", ...}}
//   {"success": false, "errors": {"email": "This is no e-mail address."}}
//   {"success": false, "errinfo": {"sec": "common", "key": "error_system"}}
//
// The settings are the member "Personal" of the session user's settings
// file, changed under the file's lock so that whatever else the file holds
// (written meanwhile by another program of the user) is kept.  Field
// errors come in the user's language.  POST only, with the session token.

#include <regex.h>
#include <stdlib.h>

#include <string>

#include <json/json.h>

#include <arx/form_validator.h>
#include <arx/webutils.h>

#include "cgi-bin/settings_form.h"

namespace {

const char* kTimeZones[] = {"UTC", "Europe/Berlin", "Europe/Paris", "Europe/London", "America/New_York",
                                  "Asia/Tokyo"};
int kRefreshSeconds[] = {0, 30, 60, 300};

// An e-mail address ("" for none): a local part, "@", a domain of at least
// two labels; its message is the UI's "error_email".
class EmailValidator : public FieldValidator {
public:
    EmailValidator() : FieldValidator("email")
    {
        compiled_ = regcomp(&pattern_, "^[^@[:space:][:cntrl:]]+@[[:alnum:]-]+(\\.[[:alnum:]-]+)+$",
                            REG_EXTENDED | REG_NOSUB) == 0;
    }
    ~EmailValidator() override
    {
        if (compiled_)
            regfree(&pattern_);
    }
    bool Validate(const std::string& value) override
    {
        return value.empty() || (compiled_ && value.size() <= 254 && regexec(&pattern_, value.c_str(), 0, nullptr, 0) == 0);
    }
    std::string GetInvalidErrKey() override { return "error_email"; }

private:
    regex_t pattern_;
    bool compiled_ = false;
};

class PersonalSettings : public SettingsForm {
public:
    PersonalSettings() : SettingsForm(nullptr, VORN_AUTH_USER) {}

    bool Load() override
    {
        Answering();
        Json::Value settings;
        if (webman_.setEUGID() != 0)
            return Fail(__LINE__);
        webman_.loadUserJsonSettings(settings);
        ReportSuccess(WithDefaults(settings["Personal"]));
        return true;
    }

    bool Apply() override
    {
        Answering();
        FormValidator fields(false);
        fields.AddTextField("display_name", 32, false);
        fields.AddField(new EmailValidator);
        fields.AddNumberField("page_size", 10, 200);
        fields.AddStringList("timezone", kTimeZones, sizeof kTimeZones / sizeof *kTimeZones);
        fields.AddIntegerList("refresh", kRefreshSeconds, sizeof kRefreshSeconds / sizeof *kRefreshSeconds);
        if (!fields.Validate(*this)) {
            ReportError();
            return false;
        }
        if (webman_.setEUGID() != 0)
            return Fail(__LINE__);
        // Read, change and write under the file's lock (once the first
        // save has made the file).
        const std::string path = webman_.GetPreferenceDir() + "/usersettings";
        const int lock = WebUtils::LockFile(path.c_str(), true);
        Json::Value settings;
        webman_.loadUserJsonSettings(settings);
        Json::Value& personal = settings["Personal"];
        personal["display_name"] = webman_.In("display_name", "");
        personal["email"] = webman_.In("email", "");
        personal["page_size"] = atoi(webman_.In("page_size", "0"));
        personal["timezone"] = webman_.In("timezone", "");
        personal["refresh"] = atoi(webman_.In("refresh", "0"));
        const Json::Value saved = personal;
        // The background tasks are not this form's: they stay as they are.
        settings.removeMember("BackgroundTask");
        const bool ok = webman_.saveUserJsonSettings(settings);
        WebUtils::UnlockFile(lock);
        if (!ok)
            return Fail(__LINE__);
        ReportSuccess(saved);
        return true;
    }

private:
    static Json::Value WithDefaults(const Json::Value& stored)
    {
        Json::Value values(Json::objectValue);
        values["display_name"] = "";
        values["email"] = "";
        values["page_size"] = 50;
        values["timezone"] = "UTC";
        values["refresh"] = 60;
        for (const std::string& name : values.getMemberNames()) {
            if (stored.isObject() && stored.isMember(name))
                values[name] = stored[name];
        }
        return values;
    }
};

}  // namespace

int main()
{
    PersonalSettings form;
    form.Serve();
    return 0;
}
