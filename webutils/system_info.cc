// System information for the CGI programs: names, versions, mounts,
// ports, the theme, and the user-information mail.

#include <arx/webutils.h>

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/hash.h>
#include <vorn/log.h>
#include <vorn/mail.h>
#include <vorn/mount.h>
#include <vorn/root.h>
#include <vorn/service.h>

#include <arx/string_bundle.h>
#include <arx/vorn_conf.h>

#include "webutils/log_source.h"

using arx::webutils::kWebUtilsLogSource;

namespace {

constexpr char kVersionFile[] = "/etc.defaults/VERSION";
constexpr int kPortChecks = 28;  // the services, the UI's ports, the reserved ones

std::string DomainText(int (*get)(char*, int))
{
    char buffer[64] = "";
    return get(buffer, sizeof buffer) < 0 ? "" : buffer;
}

// A key of the VERSION file, read into an 8-byte buffer once per process.
std::string VersionKey(const char* key, const char* missing)
{
    char buffer[8] = "";
    const std::string file = VORNRootPathString(kVersionFile);
    return VLIBCFileGetKeyValue(file.c_str(), key, buffer, sizeof buffer, 0) < 1 ? missing : buffer;
}

}  // namespace

namespace WebUtils {

std::string GetDomainName()
{
    if (VORNWinsIsJoined() == 0)
        return "";
    return DomainText(VORNWinsADSJoined() != 0 ? VORNWinsRealmGet : VORNWorkgroupGet);
}

std::string GetServerName()
{
    char name[256];
    memset(name, 0, sizeof name);
    if (gethostname(name, sizeof name - 1) != 0) {
        VLIBCLog(LOG_ERR, "%s:%s(%d): getting hostname error.", kWebUtilsLogSource, "GetServerName", __LINE__);
        return "";
    }
    return name;
}

std::string GetVersion()
{
    static const std::string version = VersionKey("buildnumber", "1");
    return version;
}

std::string GetSmallFixNum()
{
    static const std::string number = VersionKey("smallfixnumber", "0");
    return number;
}

bool checkFileExist(std::string path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && st.st_size >= 1 && S_ISREG(st.st_mode);
}

bool IsMountPoint(std::string path)
{
    const int result = VORNFSDirIsMntPoint(path.c_str());
    if (result < 0) {
        VLIBCLog(LOG_ERR, "%s:%d VORNFSDirIsMntPoint(%s) fail[0x%04X %s:%d]", kWebUtilsLogSource, __LINE__,
                 path.c_str(), VLIBCErrGet(), VLIBCErrorGetFile(), VLIBCErrorGetLine());
        return false;
    }
    return result == 1;
}

std::string getMountType(std::string path)
{
    int type = VORNFSIsInMountTable(path.c_str());
    if (type == -1)
        type = VORNGetFSType(path.c_str(), 0);
    if (VORNFSIsImageFS(type) == 1)
        return "iso";
    if (VORNFSIsRemoteFS(type) == 1) {
        struct stat st;
        return stat(path.c_str(), &st) == 0 ? "remote" : "remotefail";
    }
    return "";
}

std::string getThemeCls()
{
    char theme[256] = "";
    const std::string file = VORNRootPathString(VORN_INFO_FILE);
    if (VLIBCFileGetKeyValue(file.c_str(), "theme", theme, sizeof theme, 0) <= 0)
        return "default";
    return theme;
}

bool IsPortConflict(const char* service, int from, int to)
{
    if ((from == 0 && to == 0) || from > to)
        return false;
    char ports[1024];
    if (from == to)
        snprintf(ports, sizeof ports, "%d", from);
    else
        snprintf(ports, sizeof ports, "%d:%d", from, to);
    char excluded[1024];
    VornConf conf;
    if (service != nullptr && strcmp(conf.Info("addport", ""), "yes") == 0 && strcmp(service, "http") == 0)
        snprintf(excluded, sizeof excluded, "%s, http_extra", service);
    else
        snprintf(excluded, sizeof excluded, "%s", service != nullptr ? service : "");
    VORN_SERVICE_PORT* taken = nullptr;
    const int conflicts = VLIBIsPortConflict(excluded, ports, "tcp", kPortChecks, &taken);
    VORNServiceConfPortsFree(taken);
    return conflicts >= 1;
}

void SendUserInfoMail(const std::string& user, const std::string& password, const std::string& recipient,
                      const std::string& mailName, bool showPassword)
{
    if (recipient.empty())
        return;
    VLIBSZHASH* values = VLIBCSzHashAlloc(512);
    if (values == nullptr)
        return;
    StringBundle texts("common", nullptr, nullptr, nullptr, nullptr, nullptr);
    VLIBCSzHashSetValue(values, "%USER_NAME%", user.c_str());
    if (!showPassword) {
        VLIBCSzHashSetValue(values, "%PASSWD%", "********");
    } else if (!password.empty()) {
        VLIBCSzHashSetValue(values, "%PASSWD%", password.c_str());
    } else {
        char noPassword[256];
        snprintf(noPassword, sizeof noPassword, "%s", texts.Text("no_pw", ""));
        VLIBCSzHashSetValue(values, "%PASSWD%", noPassword);
    }
    VORNMailSendMessageWithoutBlock(mailName.c_str(), values, recipient.c_str(), 0);
    VLIBCSzHashFree(values);
}

}  // namespace WebUtils
