// What the sample settings forms share: the answer to an action the form
// does not know, and the reply to a step that failed.
#ifndef ARX_CGI_BIN_SETTINGS_FORM_H
#define ARX_CGI_BIN_SETTINGS_FORM_H

#include <arx/form_handler.h>
#include <arx/webman.h>

#include "cgi-bin/request_checks.h"

class SettingsForm : public ServerFormHandler {
public:
    // level: who may use the form (VORN_AUTH_USER, VORN_AUTH_ADMIN).
    SettingsForm(const char* lockFile, int level) : ServerFormHandler(lockFile), level_(level) {}

    bool Authenticate() override
    {
        refused_ = !webman_.IsAuthorized(nullptr, level_, CGI_POSITION_DESKTOP);
        return !refused_;
    }

    // Answers the request: POST only; the session check; the action, or
    // 400 and "error_system" for an action the form does not know.
    void Serve()
    {
        webman_.AddSecurityHeaders(nullptr);
        webman_.AddHeader("Cache-control", "no-store");
        if (AnsweredUnlessPost(webman_))
            return;
        Process();
        if (!refused_ && !answered_) {
            webman_.AddHeader("Status", "400 Bad Request");
            ReportFailMessage("common", "error_system", 0);
        }
    }

protected:
    // Load and Apply begin with this: the action is the form's.
    void Answering() { answered_ = true; }

    // A step that failed, reported with the line it failed at.
    bool Fail(int line)
    {
        SetFormErrInfo("common", "error_system", line);
        ReportError();
        return false;
    }

private:
    int level_;
    bool refused_ = false;
    bool answered_ = false;
};

#endif
