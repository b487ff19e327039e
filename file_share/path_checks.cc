// Paths and names: the elements of a path, paths that exist, and names
// that a file system accepts.

#include <arx/webman_file_share.h>

#include <errno.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include <vorn/acl.h>
#include <vorn/err.h>
#include <vorn/list.h>
#include <vorn/log.h>
#include <vorn/mount.h>

#include "file_share/log_source.h"

using arx::file_share::kFileShareLogSource;

namespace {

constexpr size_t kMostPath = 4095;
constexpr size_t kMostName = 255;
constexpr char kStrictForbidden[] = "\\/:*?\"><|\r\n";

// The length of the UTF-8 sequence at text (valid: no overlong forms, no
// surrogates, nothing above U+10FFFF), 0 when there is none.
size_t Utf8Sequence(std::string_view text)
{
    const unsigned char lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80)
        return 1;
    size_t length = 0;
    unsigned int low = 0x80;
    unsigned int high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        low = lead == 0xE0 ? 0xA0 : 0x80;   // no overlong forms
        high = lead == 0xED ? 0x9F : 0xBF;  // no surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;  // nothing above U+10FFFF
    } else {
        return 0;
    }
    if (text.size() < length)
        return 0;
    for (size_t i = 1; i < length; ++i) {
        const unsigned char next = static_cast<unsigned char>(text[i]);
        if (next < (i == 1 ? low : 0x80) || next > (i == 1 ? high : 0xBF))
            return 0;
    }
    return length;
}

// Valid UTF-8 without C0 controls or DEL.
bool IsCleanUtf8(std::string_view text)
{
    while (!text.empty()) {
        const size_t length = Utf8Sequence(text);
        if (length == 0)
            return false;
        const unsigned char first = static_cast<unsigned char>(text[0]);
        if (length == 1 && (first < 0x20 || first == 0x7f))
            return false;
        text.remove_prefix(length);
    }
    return true;
}

int Refuse(int code)
{
    VLIBCErrSet(code);
    return -1;
}

}  // namespace

char* WebmanFileShare::WfmLibGetTokOfPath(const char* path, BOOL first)
{
    if (path == nullptr) {
        VLIBCLog(LOG_ERR, "%s(%d): bad parameter!", kFileShareLogSource, __LINE__);
        return nullptr;
    }
    VLIBSZLIST* list = VLIBCSzListAlloc(1024);
    if (list == nullptr) {
        VLIBCLog(LOG_ERR, "%s(%d): VLIBCSzListAlloc() failed!", kFileShareLogSource, __LINE__);
        return nullptr;
    }
    char* token = nullptr;
    if (strchr(path, '/') == nullptr) {
        VLIBCLog(LOG_ERR, "%s(%d): bad path name=%s", kFileShareLogSource, __LINE__, path);
    } else {
        char copy[kMostPath + 1];
        snprintf(copy, sizeof copy, "%s", path);
        if (VLIBCStrTok(copy, "/", &list) <= 0)
            VLIBCLog(LOG_ERR, "%s(%d) error path", kFileShareLogSource, __LINE__);
        else
            token = strdup(VLIBCSzListGet(list, first ? 0 : list->nItem - 1));
    }
    VLIBCSzListFree(list);
    return token;
}

BOOL WebmanFileShare::WfmLibRealFullPathGet(const char* path, char* buf, int size)
{
    if (path == nullptr || buf == nullptr || size <= 0)
        return false;
    char previous[kMostPath + 1];
    if (getcwd(previous, sizeof previous) == nullptr)
        previous[0] = '\0';
    if (chdir(path) != 0)
        return false;
    const bool resolved = getcwd(buf, static_cast<size_t>(size)) != nullptr;
    if (previous[0] != '\0' && chdir(previous) != 0)
        VLIBCLog(LOG_ERR, "%s(%d): cannot return to %s: %m", kFileShareLogSource, __LINE__, previous);
    return resolved;
}

int WebmanFileShare::WfmCheckPath(const char* path)
{
    if (path == nullptr || path[0] != '/')
        return Refuse(VLIB_ERR_BAD_PARAMETERS);
    char* copy = strdup(path);
    if (copy == nullptr) {
        VLIBCLog(LOG_ERR, "%s(%d):%s strdup fail, error:%m", kFileShareLogSource, __LINE__, __func__);
        return Refuse(VLIB_ERR_SYSTEM);
    }
    int result = 0;
    while (copy[0] != '\0' && result == 0) {
        struct stat st;
        if (lstat(copy, &st) != 0) {
            if (errno == ENOENT) {
                result = Refuse(VLIB_ERR_PATH_NOT_FOUND);
            } else if (errno == EACCES) {
                result = Refuse(VLIB_ERR_PERMISSION_DENIED);
            } else {
                VLIBCLog(LOG_ERR, "%s(%d):%s failed to lstat %s, reason=%m", kFileShareLogSource, __LINE__, __func__,
                         copy);
                result = Refuse(VLIB_ERR_SYSTEM);
            }
            break;
        }
        if (!S_ISDIR(st.st_mode) && !S_ISREG(st.st_mode)) {
            VLIBCLog(LOG_ERR, "%s(%d):%s Path is not regular file and directory:%s", kFileShareLogSource, __LINE__,
                     __func__, copy);
            result = Refuse(VLIB_ERR_SYSTEM);
            break;
        }
        char* slash = strrchr(copy, '/');
        if (slash == nullptr) {
            VLIBCLog(LOG_ERR, "%s(%d):%s failed to strrchr '/' for %s, reason=%m", kFileShareLogSource, __LINE__,
                     __func__, copy);
            result = Refuse(VLIB_ERR_SYSTEM);
            break;
        }
        if (strcmp(slash + 1, "..") == 0 || strcmp(slash + 1, ".") == 0) {
            VLIBCLog(LOG_ERR, "%s(%d):%s Path contains '.' or '..', path = %s", kFileShareLogSource, __LINE__,
                     __func__, path);
            result = Refuse(VLIB_ERR_SYSTEM);
            break;
        }
        *slash = '\0';
    }
    free(copy);
    return result;
}

BOOL WebmanFileShare::WfmCheckReservedName(const char* name)
{
    if (name == nullptr || name[0] == '\0') {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return true;  // kept: callers test emptiness first
    }
    if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0 || strncmp(name, "._", 2) == 0 ||
        VORNEAIsHiddenDir(name) == 1) {
        VLIBCErrSet(VLIB_ERR_NAME_RESERVED);
        return false;
    }
    return true;
}

int WebmanFileShare::WfmCheckFileName(char* dir, const char* name)
{
    if (dir == nullptr || name == nullptr || name[0] == '\0')
        return Refuse(VLIB_ERR_BAD_PARAMETERS);
    if (!WfmCheckReservedName(name))
        return -1;
    const int type = VORNGetFSType(dir, 0);
    if (type < 0) {
        const int error = errno;
        VLIBCLog(LOG_ERR, "%s:%d(%s) failed to statfs %s, reason=%m", kFileShareLogSource, __LINE__, __func__, dir);
        if (error == EACCES)
            return Refuse(VLIB_ERR_PERMISSION_DENIED);
        if (error == ENOENT || error == ENOTDIR || error == EIO)
            return Refuse(VLIB_ERR_PATH_NOT_FOUND);
        return Refuse(VLIB_ERR_FS_EXAMINE_FAILED);
    }
    if (type == VORN_FS_VFAT) {
        if (strpbrk(name, kStrictForbidden) != nullptr)
            return Refuse(VLIB_ERR_NAME_BAD_CHAR);
    } else if (strpbrk(name, ":/") != nullptr) {
        return Refuse(VLIB_ERR_NAME_RESERVED);
    }
    return 0;
}

int WebmanFileShare::WfmCheckRequestPath(const char* path)
{
    if (path == nullptr || path[0] != '/')
        return Refuse(VLIB_ERR_BAD_PARAMETERS);
    const std::string_view text = path;
    if (text.size() > kMostPath || !IsCleanUtf8(text))
        return Refuse(VLIB_ERR_BAD_PARAMETERS);
    // The elements between single slashes; one trailing slash allowed.
    std::string_view rest = text.substr(1);
    if (!rest.empty() && rest.back() == '/')
        rest.remove_suffix(1);
    while (!rest.empty()) {
        const size_t slash = rest.find('/');
        const std::string_view element = rest.substr(0, slash);
        if (element.empty() || element == "." || element == "..")
            return Refuse(VLIB_ERR_SYSTEM);
        if (element.size() > kMostName)
            return Refuse(VLIB_ERR_BAD_PARAMETERS);
        rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
        if (slash != std::string_view::npos && rest.empty())
            return Refuse(VLIB_ERR_SYSTEM);  // "//" at the end
    }
    return 0;
}

int WebmanFileShare::WfmCheckNewName(const char* name)
{
    if (name == nullptr)
        return Refuse(VLIB_ERR_BAD_PARAMETERS);
    const std::string_view text = name;
    if (text.empty() || text.size() > kMostName || text == "." || text == ".." ||
        text.find('/') != std::string_view::npos || !IsCleanUtf8(text))
        return Refuse(VLIB_ERR_BAD_PARAMETERS);
    return 0;
}
