// Shared folders through the C interface.

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <string>
#include <vector>

#include <vorn/err.h>
#include <vorn/root.h>
#include <vorn/share.h>
#include <vorn/user.h>

#include "lib/core/no_throw.h"
#include "lib/shares/share_conf.h"

namespace {

bool IsShareName(const char* name)
{
    if (name == nullptr || name[0] == '\0' || strlen(name) >= sizeof(VORNSHARE{}.szName))
        return false;
    for (const char* c = name; *c != '\0'; ++c) {
        if (*c == '/' || static_cast<unsigned char>(*c) < 0x20 || *c == 0x7f)
            return false;
    }
    return true;
}

bool ReadShares(std::vector<vorn::ShareSection>& shares)
{
    if (vorn::ReadShareConf(shares) != vorn::ShareConfRead::kError)
        return true;
    VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
    return false;
}

bool IsYes(const std::string& value)
{
    return strcasecmp(value.c_str(), "yes") == 0;
}

// The share's folder: an absolute system path, mapped into the root,
// without trailing slashes.  "" when it has none or it does not fit.
std::string FolderOf(const vorn::ShareSection& share)
{
    std::string path = share.Value("path");
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    if (path.empty() || path[0] != '/')
        return "";
    const std::string mapped = VORNRootPathString(path.c_str());
    return mapped.size() < sizeof(VORNSHARE{}.szPath) ? mapped : "";
}

int Fill(const vorn::ShareSection& section, VORNSHARE** out)
{
    const std::string folder = FolderOf(section);
    if (folder.empty()) {
        VLIBCErrSet(VLIB_ERR_NO_VOLUME);
        return -1;
    }
    VORNSHARE* share = static_cast<VORNSHARE*>(calloc(1, sizeof(VORNSHARE)));
    if (share == nullptr) {
        VLIBCErrSet(VLIB_ERR_OUT_OF_MEMORY);
        return -1;
    }
    snprintf(share->szName, sizeof share->szName, "%s", section.name.c_str());
    snprintf(share->szPath, sizeof share->szPath, "%s", folder.c_str());
    share->szRW = strdup(section.Value("rw").c_str());
    share->szRO = strdup(section.Value("ro").c_str());
    share->szDeny = strdup(section.Value("deny").c_str());
    share->attr = static_cast<unsigned int>(strtoul(section.Value("attr").c_str(), nullptr, 0));
    share->encrypted = IsYes(section.Value("encrypted")) ? 1 : 0;
    share->hideUnreadable = IsYes(section.Value("hide_unreadable")) ? 1 : 0;
    if (share->szRW == nullptr || share->szRO == nullptr || share->szDeny == nullptr) {
        VORNShareFree(share);
        VLIBCErrSet(VLIB_ERR_OUT_OF_MEMORY);
        return -1;
    }
    *out = share;
    return 0;
}

// Whether path is folder or lies below it, element by element.
bool IsAtOrBelow(const std::string& path, const std::string& folder)
{
    if (path.compare(0, folder.size(), folder) != 0)
        return false;
    return path.size() == folder.size() || path[folder.size()] == '/' || folder == "/";
}

bool CopyOut(const std::string& text, char* out, int size)
{
    if (text.size() >= static_cast<size_t>(size))
        return false;
    memcpy(out, text.c_str(), text.size() + 1);
    return true;
}

}  // namespace

extern "C" int VORNShareGet(const char* name, VORNSHARE** share)
{
    if (!IsShareName(name) || share == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        std::vector<vorn::ShareSection> shares;
        if (!ReadShares(shares))
            return -1;
        for (const vorn::ShareSection& section : shares) {
            if (section.name == name)  // exactly: see <vorn/share.h>
                return Fill(section, share);
        }
        VLIBCErrSet(VLIB_ERR_NOT_FOUND);
        return -1;
    });
}

extern "C" void VORNShareFree(VORNSHARE* share)
{
    if (share == nullptr)
        return;
    free(share->szRW);
    free(share->szRO);
    free(share->szDeny);
    free(share);
}

extern "C" int VORNShareEnum(VLIBSZLIST** names)
{
    if (names == nullptr || *names == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        std::vector<vorn::ShareSection> shares;
        if (!ReadShares(shares))
            return -1;
        int count = 0;
        for (const vorn::ShareSection& section : shares) {
            if (!IsShareName(section.name.c_str()))
                continue;
            if (VLIBCSzListPush(names, section.name.c_str()) < 0)
                return -1;
            ++count;
        }
        return count;
    });
}

extern "C" int VORNShareNamePathGet(const char* path, char* name, int nameSize, char* sharePath, int sharePathSize)
{
    if (path == nullptr || path[0] != '/' || name == nullptr || sharePath == nullptr || nameSize <= 0 ||
        sharePathSize <= 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        std::vector<vorn::ShareSection> shares;
        if (!ReadShares(shares))
            return -1;
        std::string given = path;
        while (given.size() > 1 && given.back() == '/')
            given.pop_back();
        const vorn::ShareSection* best = nullptr;
        std::string bestFolder;
        for (const vorn::ShareSection& section : shares) {
            const std::string folder = FolderOf(section);
            if (IsShareName(section.name.c_str()) && !folder.empty() && IsAtOrBelow(given, folder) &&
                folder.size() > bestFolder.size()) {
                best = &section;
                bestFolder = folder;
            }
        }
        if (best == nullptr) {
            VLIBCErrSet(VLIB_ERR_NOT_FOUND);
            return -1;
        }
        if (!CopyOut(best->name, name, nameSize) || !CopyOut(bestFolder, sharePath, sharePathSize)) {
            VLIBCErrSet(VLIB_ERR_BUFFER_TOO_SMALL);
            return -1;
        }
        return 0;
    });
}

extern "C" int VORNShareUserPrivGet(const char* user, const VORNSHARE* share)
{
    if (user == nullptr || user[0] == '\0' || share == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        const int denied = vorn::ListNamesUser(share->szDeny != nullptr ? share->szDeny : "", user);
        if (denied != 0)
            return denied < 0 ? -1 : VORN_SHARE_PRIV_NONE;
        const int admin = VLIBGroupIsAdminGroupMem(user, 0);
        const int writer = vorn::ListNamesUser(share->szRW != nullptr ? share->szRW : "", user);
        if (admin < 0 || writer < 0)
            return -1;
        if (admin == 1 || writer == 1)
            return VORN_SHARE_PRIV_RW;
        const int reader = vorn::ListNamesUser(share->szRO != nullptr ? share->szRO : "", user);
        if (reader < 0)
            return -1;
        return reader == 1 ? VORN_SHARE_PRIV_RO : VORN_SHARE_PRIV_NONE;
    });
}

extern "C" int VLIBShareHideUnreadableGet(const VORNSHARE* share)
{
    if (share == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return share->hideUnreadable != 0 ? 1 : 0;
}
