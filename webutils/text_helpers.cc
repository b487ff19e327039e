// Splitting, joining and reading text; names of users.

#include <arx/webutils.h>

#include <fcntl.h>
#include <libgen.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vorn/log.h>
#include <vorn/user.h>

#include "base/safe_open.h"
#include "webutils/log_source.h"

using arx::webutils::kWebUtilsLogSource;

namespace {

constexpr int kLinePiece = 2048;  // fgets reads at most 2047 bytes at a time
constexpr int kLoginNameSize = 493;

// Whether someone but root may change the directory of path: a file there
// may have been put in place of the one the caller means.
bool DirectoryOpenToOthers(const std::string& path)
{
    const size_t slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    struct stat st;
    return stat(dir.c_str(), &st) != 0 || st.st_uid != 0 || (st.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

}  // namespace

namespace WebUtils {

std::vector<std::string> StringExplode(const std::string& text, const std::string& delimiters)
{
    std::vector<std::string> pieces;
    if (text.empty())
        return pieces;
    std::vector<char> copy(text.begin(), text.end());
    copy.push_back('\0');
    char* state = nullptr;
    for (char* piece = strtok_r(copy.data(), delimiters.c_str(), &state); piece != nullptr;
         piece = strtok_r(nullptr, delimiters.c_str(), &state))
        pieces.emplace_back(piece);
    return pieces;
}

std::string StringImplode(const std::vector<std::string>& parts, const char* glue)
{
    std::string joined;
    for (size_t i = 0; i < parts.size(); ++i) {
        if (i > 0 && glue != nullptr)
            joined += glue;
        joined += parts[i];
    }
    return joined;
}

std::string StringLeftStrip(const char* text)
{
    if (text == nullptr)
        return "";
    return text + strspn(text, "\t\n ");
}

std::string GetDirName(const char* path)
{
    if (path == nullptr)
        return "";
    std::vector<char> copy(path, path + strlen(path) + 1);
    return dirname(copy.data());
}

const char* GetFileExt(const char* name, size_t maxLen)
{
    if (name == nullptr)
        return nullptr;
    const size_t length = strlen(name);
    if (length < 2)
        return nullptr;
    // Position 0 is never looked at: a leading dot is no extension.
    for (size_t i = length > maxLen ? maxLen : length - 1; i > 0; --i) {
        if (name[i] == '.')
            return i + 1 < length ? name + i + 1 : nullptr;
    }
    return nullptr;
}

bool IsValidExtension(const char* name, const char* ext)
{
    if (name == nullptr || ext == nullptr || *name == '\0' || *ext == '\0')
        return false;
    const size_t nameLength = strlen(name);
    const size_t extLength = strlen(ext);
    return nameLength > extLength && strcasecmp(name + nameLength - extLength, ext) == 0;
}

std::string Hex2Bin(const std::string& hex)
{
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        const char pair[3] = {hex[i], hex[i + 1], '\0'};
        bytes.push_back(static_cast<char>(strtol(pair, nullptr, 16)));
    }
    return bytes;
}

std::vector<std::string> ReadFileLines(const std::string& path)
{
    std::vector<std::string> lines;
    const base::Links links =
        geteuid() == 0 && DirectoryOpenToOthers(path) ? base::Links::kRefuse : base::Links::kFollow;
    const int fd = base::OpenForReading(path.c_str(), links);
    FILE* file = fd >= 0 ? fdopen(fd, "r") : nullptr;
    if (file == nullptr) {
        if (fd >= 0)
            close(fd);
        return lines;
    }
    char piece[kLinePiece];
    while (fgets(piece, sizeof piece, file) != nullptr) {
        size_t length = strlen(piece);
        if (length > 0 && piece[length - 1] == '\n') {
            --length;
            if (length > 0 && piece[length - 1] == '\r')
                --length;
            if (length == 0)
                continue;
        }
        lines.emplace_back(piece, length);
    }
    fclose(file);
    return lines;
}

int ParseInputUserName(const char* input, char* out, size_t size)
{
    if (input == nullptr || out == nullptr || size == 0) {
        VLIBCLog(LOG_ERR, "%s:%d Bad parameter", kWebUtilsLogSource, __LINE__);
        return 1;
    }
    char converted[kLoginNameSize] = "";
    const char* name = VORNUserLoginNameConvert(input, converted, sizeof converted, 0) > 0 ? converted : input;
    snprintf(out, size, "%s", name);
    return 0;
}

bool IsDomainObject(const std::string& name)
{
    return name.find('\\') != std::string::npos;
}

bool IsLDAPObject(const std::string& name)
{
    return name.find('@') != std::string::npos;
}

}  // namespace WebUtils
