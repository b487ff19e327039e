// Stamps for URLs: modification times in decimal seconds, or the current
// time when a file cannot be examined (a stamp that is never cached).

#include <arx/webutils.h>

#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>

#include <vorn/file.h>
#include <vorn/root.h>

namespace WebUtils {

namespace {

constexpr char kWebRoot[] = "/usr/vorn/vornman/";

std::string EnvironmentOrWebRoot(const char* name)
{
    const char* value = getenv(name);
    return value != nullptr ? std::string(value) : VORNRootPathString(kWebRoot);
}

std::string StampOf(const std::string& path)
{
    struct stat st;
    if (path.empty() || stat(path.c_str(), &st) != 0)
        return std::to_string(static_cast<long long>(time(nullptr)));
    return std::to_string(static_cast<long long>(st.st_mtime));
}

}  // namespace

std::string GetModifyTime(const char* path)
{
    static const std::string documentRoot = EnvironmentOrWebRoot("DOCUMENT_ROOT");
    static std::string scriptDir = EnvironmentOrWebRoot("SCRIPT_FILENAME");
    if (scriptDir.empty() || scriptDir.back() != '/') {
        const size_t slash = scriptDir.rfind('/');
        scriptDir.erase(slash == std::string::npos ? 0 : slash + 1);
    }

    std::string file = path != nullptr ? path : "";
    const size_t query = file.rfind('?');
    if (query != std::string::npos)
        file.erase(query);
    if (file.empty())
        file = scriptDir;
    else if (file[0] == '/')
        file = documentRoot + file;  // URL-absolute: below the document root
    else if (file.find("webman/") == std::string::npos)
        file = scriptDir + file;
    // A relative path into "webman/" stands as it is: the desktop's own
    // programs work from the web root.
    return StampOf(file);
}

std::string GetVornDefModifyTime()
{
    return StampOf(VORNRootPathString(VORN_INFO_DEFAULTS_FILE));
}

std::string GetUIStringModifyTime(const std::string& module)
{
    static const std::string documentRoot = EnvironmentOrWebRoot("DOCUMENT_ROOT");
    std::string dir;
    if (module.rfind("scripts", 0) == 0)
        dir = documentRoot + "/scripts/texts";
    else if (module.rfind("webman", 0) == 0)
        dir = documentRoot + "/webman/texts";
    else if (module.rfind("webfm", 0) == 0)
        dir = documentRoot + "/webfm/texts";
    return StampOf(dir);
}

}  // namespace WebUtils
