// ServerFormHandler: the base of a program that serves one settings form.
//
// The browser posts the form's fields with "action" set to "load" (send
// the current settings) or "apply" (store new ones).  A form derives from
// the handler, implements Load and Apply, and answers with one of three
// replies (Content-type text/plain, a JSON body):
//
//   {"success": true, "data": {...}}                      ReportSuccess
//   {"success": false, "errors": {"field": "message"}}    ReportInvalid
//   {"success": false, "errinfo": {"sec": "common", "key": "error_system"[, "line": 12]}}
//                                                          ReportFailMessage
//
//   class MyForm : public ServerFormHandler {
//   public:
//       MyForm() : ServerFormHandler(nullptr) {}
//       bool Load() override { ReportSuccess(current); return true; }
//       bool Apply() override
//       {
//           FormValidator fields(false);
//           fields.AddNumberField("port", 1, 65535);
//           if (!fields.Validate(*this)) { ReportError(); return false; }
//           ...
//       }
//   };
//   MyForm form;
//   form.Process();
//
// A form-level error is a section and key of the UI's strings (the page
// words it); field errors are texts.  The first error decides: after a
// form-level error no field is recorded, after a field error no form-level
// one.  A form with a lock file serialises its writers across processes:
// ExLock in Apply fails at once with "error_apply_occupied" while another
// process holds the lock.
#ifndef ARX_FORM_HANDLER_H
#define ARX_FORM_HANDLER_H

#include <string>

#include <json/value.h>

#include <arx/export.h>
#include <arx/webman.h>

class ARX_EXPORT ServerFormHandler {
public:
    // lockFile: the form's lock file (kept as the pointer given: it must
    // live as long as the handler), or NULL for a form without one.
    explicit ServerFormHandler(const char* lockFile);
    ServerFormHandler(bool loadInput, const char* lockFile);
    ServerFormHandler(const ServerFormHandler&) = delete;
    ServerFormHandler& operator=(const ServerFormHandler&) = delete;

    // Authenticate, then Load for "action=load", Apply for "action=apply";
    // false when not authorized (answered already) or no action was given
    // (nothing answered); true for any other action, without an answer.
    virtual bool Process();
    virtual bool Load() = 0;
    virtual bool Apply() = 0;
    // Releases a lock the form holds.
    virtual ~ServerFormHandler();
    // The form's lock, exclusive or shared, without waiting: false when
    // there is no lock file, or (recording "common" "error_apply_occupied",
    // resp. "error_occupied") when it cannot be taken now.
    virtual bool ExLock();
    virtual bool ShLock();
    // The session check: any logged-in user.  false when refused (the
    // refusal is answered).
    virtual bool Authenticate();

    void ReportSuccess(const Json::Value& data);
    // The field errors recorded.
    void ReportInvalid();
    // The reply the recorded errors call for: the form-level error, the
    // field errors, or "common" "error_system" when none was recorded.
    void ReportError();
    // line: reported when not 0.
    void ReportFailMessage(const std::string& section, const std::string& key, unsigned int line);

    // Records message (NULL: "") for field, replacing an earlier one.
    void SetFieldInvalid(const char* field, const char* message);
    // Records "The field is not present." for each of fields missing from
    // the request; true when none is.
    bool ValidNullFields(const char** fields, int count);
    // Records the form-level error unless any error is recorded already.
    void SetFormErrInfo(const char* section, const char* key, int line);
    // The form-level error recorded; returns its line.
    int GetFormErrInfo(std::string& section, std::string& key, int& line);

    // Opens (creating it, 0644 less the umask) and locks path without
    // waiting; *fd receives the descriptor, to be released with
    // UnlockFile even when the lock was refused.  A link, a FIFO or
    // anything but a regular file at path is refused.
    static bool LockFile(const char* path, bool exclusive, int* fd);
    static void UnlockFile(int fd);

    // The request the form answers.
    WebMan& GetWebMan() { return webman_; }

protected:
    enum { kNoError = 0, kFormError = 1, kFieldsInvalid = 2 };

    WebMan webman_;
    int formStatus_;
    std::string errSection_;
    std::string errKey_;
    int errLine_;
    int lockFd_;
    const char* lockFile_;
    Json::Value fieldErrors_;
};

#endif
