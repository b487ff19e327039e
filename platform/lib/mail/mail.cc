// Sending a mail from a template without waiting for its delivery.

#include <errno.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/log.h>
#include <vorn/mail.h>
#include <vorn/root.h>

#include "base/file_read.h"
#include "lib/core/no_throw.h"
#include "lib/exec/spawn_detached.h"
#include "lib/mail/mail_message.h"

namespace {

constexpr char kDefaultSendmail[] = "/usr/sbin/sendmail";
constexpr size_t kMostTemplate = 1 << 20;

int Refuse(int code, int line, const char* what, const char* name)
{
    VLIBCLog(LOG_ERR, "mail:%d %s, mail %s not sent", line, what, name);
    VLIBCErrSet(code);
    return -1;
}

std::string SendmailPath()
{
    char path[4096] = "";
    if (VLIBCINFOGetKeyValue("mail_sendmail_path", path, sizeof path) <= 0)
        return kDefaultSendmail;
    return path;
}

// The message as a file of its own that the child reads from its start:
// the caller never blocks on a pipe the child has not yet read.
int MessageFile(const std::string& message)
{
    const int fd = memfd_create("vorn-mail", MFD_CLOEXEC);
    if (fd < 0)
        return -1;
    size_t written = 0;
    while (written < message.size()) {
        const ssize_t got = write(fd, message.data() + written, message.size() - written);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0) {
            close(fd);
            return -1;
        }
        written += static_cast<size_t>(got);
    }
    if (lseek(fd, 0, SEEK_SET) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

}  // namespace

extern "C" int VORNMailSendMessageWithoutBlock(const char* name, const VLIBSZHASH* values, const char* recipient,
                                               int /*flags*/)
{
    if (name == nullptr || values == nullptr || !vorn::IsMailTemplateName(name))
        return Refuse(VLIB_ERR_BAD_PARAMETERS, __LINE__, "bad template name or values", name ? name : "(null)");
    if (recipient == nullptr || !vorn::IsPlainAddress(recipient))
        return Refuse(VLIB_ERR_HEADER_REFUSED, __LINE__, "recipient refused", name);
    return vorn::NoThrow(-1, [&] {
        const std::string file = VORNRootPathString((std::string(VORN_MAIL_TEMPLATE_DIR) + "/" + name + ".tmpl").c_str());
        std::string text;
        if (!base::ReadWholeFile(file.c_str(), text) || text.size() > kMostTemplate)
            return Refuse(VLIB_ERR_OPEN_FAILED, __LINE__, "no template", name);
        const vorn::PlaceholderLookup lookup = [&](const std::string& key) {
            return VLIBCSzHashGetValue(values, key.c_str());
        };
        std::string message;
        switch (vorn::ComposeMessage(text, lookup, recipient, message)) {
        case vorn::MessageResult::kNoSubject:
            return Refuse(VLIB_ERR_FORMAT, __LINE__, "the template has no Subject line first", name);
        case vorn::MessageResult::kBadSubject:
            return Refuse(VLIB_ERR_HEADER_REFUSED, __LINE__, "the subject holds a line end or control", name);
        case vorn::MessageResult::kOk:
            break;
        }
        const std::string sendmail = SendmailPath();
        if (sendmail[0] != '/' || access(sendmail.c_str(), X_OK) != 0) {
            VLIBCLog(LOG_ERR, "mail:%d %s is missing, mail %s dropped", __LINE__, sendmail.c_str(), name);
            VLIBCErrSet(VLIB_ERR_NOT_FOUND);
            return -1;
        }
        const int input = MessageFile(message);
        const bool started = input >= 0 && vorn::SpawnDetached({sendmail, "-i", "--", recipient}, input);
        if (input >= 0)
            close(input);
        if (!started) {
            VLIBCLog(LOG_ERR, "mail:%d cannot start %s: %m", __LINE__, sendmail.c_str());
            VLIBCErrSet(VLIB_ERR_SYSTEM);
            return -1;
        }
        return 0;
    });
}
