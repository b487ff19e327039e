// The settings form's base: dispatch, the recorded errors, the three
// replies and the form lock.

#include <arx/form_handler.h>

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char kReplyType[] = "text/plain; charset=\"UTF-8\"";
constexpr char kNotPresent[] = "The field is not present.";

}  // namespace

ServerFormHandler::ServerFormHandler(const char* lockFile) : ServerFormHandler(true, lockFile)
{
}

ServerFormHandler::ServerFormHandler(bool loadInput, const char* lockFile)
    : webman_(loadInput), formStatus_(kNoError), errLine_(0), lockFd_(-1), lockFile_(lockFile)
{
}

ServerFormHandler::~ServerFormHandler()
{
    UnlockFile(lockFd_);
}

bool ServerFormHandler::Process()
{
    if (!Authenticate())
        return false;
    const char* action = webman_.In("action", nullptr);
    if (action == nullptr)
        return false;
    if (strcmp(action, "load") == 0)
        return Load();
    if (strcmp(action, "apply") == 0)
        return Apply();
    return true;  // another action: nothing to do, and nothing answered
}

bool ServerFormHandler::Authenticate()
{
    return webman_.IsAuthorized(nullptr, VORN_AUTH_USER, static_cast<_tag_cgi_position>(1));
}

bool ServerFormHandler::ExLock()
{
    if (lockFile_ == nullptr)
        return false;
    UnlockFile(lockFd_);
    const bool locked = LockFile(lockFile_, true, &lockFd_);
    if (!locked)
        SetFormErrInfo("common", "error_apply_occupied", 0);
    return locked;
}

bool ServerFormHandler::ShLock()
{
    if (lockFile_ == nullptr)
        return false;
    UnlockFile(lockFd_);
    const bool locked = LockFile(lockFile_, false, &lockFd_);
    if (!locked)
        SetFormErrInfo("common", "error_occupied", 0);
    return locked;
}

bool ServerFormHandler::LockFile(const char* path, bool exclusive, int* fd)
{
    if (fd == nullptr)
        return false;
    // Lock files may stand where others can write ("/tmp"): never through
    // a link, never waiting on a FIFO, regular files only.
    *fd = path != nullptr ? open(path, O_RDWR | O_CREAT | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC, 0644) : -1;
    if (*fd < 0)
        return false;
    struct stat st;
    if (fstat(*fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        close(*fd);
        *fd = -1;
        errno = EINVAL;
        return false;
    }
    return flock(*fd, exclusive ? LOCK_EX | LOCK_NB : LOCK_SH | LOCK_NB) == 0;
}

void ServerFormHandler::UnlockFile(int fd)
{
    if (fd < 0)
        return;
    flock(fd, LOCK_UN);
    close(fd);
}

void ServerFormHandler::SetFieldInvalid(const char* field, const char* message)
{
    if (field == nullptr || formStatus_ == kFormError)
        return;
    formStatus_ = kFieldsInvalid;
    fieldErrors_[field] = message != nullptr ? message : "";
}

bool ServerFormHandler::ValidNullFields(const char** fields, int count)
{
    bool present = true;
    for (int i = 0; i < count; ++i) {
        if (fields[i] != nullptr && webman_.In(fields[i], nullptr) == nullptr) {
            SetFieldInvalid(fields[i], kNotPresent);
            present = false;
        }
    }
    return present;
}

void ServerFormHandler::SetFormErrInfo(const char* section, const char* key, int line)
{
    if (formStatus_ != kNoError)
        return;  // the first error decides
    formStatus_ = kFormError;
    errSection_ = section != nullptr ? section : "";
    errKey_ = key != nullptr ? key : "";
    errLine_ = line;
}

int ServerFormHandler::GetFormErrInfo(std::string& section, std::string& key, int& line)
{
    section = errSection_;
    key = errKey_;
    line = errLine_;
    return errLine_;
}

namespace {

void Reply(WebMan& web, Json::Value& reply)
{
    web.WriteHeader(kReplyType);
    web.WriteBody(reply);
    fflush(stdout);
}

}  // namespace

void ServerFormHandler::ReportSuccess(const Json::Value& data)
{
    Json::Value reply;
    reply["success"] = true;
    reply["data"] = data;
    Reply(webman_, reply);
}

void ServerFormHandler::ReportInvalid()
{
    Json::Value reply;
    reply["success"] = false;
    reply["errors"] = fieldErrors_;
    Reply(webman_, reply);
}

void ServerFormHandler::ReportFailMessage(const std::string& section, const std::string& key, unsigned int line)
{
    Json::Value reply;
    reply["success"] = false;
    reply["errinfo"]["sec"] = section;
    reply["errinfo"]["key"] = key;
    if (line != 0)
        reply["errinfo"]["line"] = line;
    Reply(webman_, reply);
}

void ServerFormHandler::ReportError()
{
    switch (formStatus_) {
    case kNoError: ReportFailMessage("common", "error_system", 0); break;
    case kFormError: ReportFailMessage(errSection_, errKey_, static_cast<unsigned int>(errLine_)); break;
    case kFieldsInvalid: ReportInvalid(); break;
    default: break;
    }
}
