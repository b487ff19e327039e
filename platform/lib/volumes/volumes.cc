// Volumes: choosing one with room, telling which volume a path is on, and
// the volume's shared system folder.

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <string>
#include <string_view>
#include <vector>

#include <vorn/err.h>
#include <vorn/log.h>
#include <vorn/root.h>
#include <vorn/volume.h>

#include "base/file_read.h"
#include "lib/core/no_throw.h"
#include "lib/files/section_format.h"

namespace {

struct Volume {
    std::string name;
    std::string path;   // as written: a system path
    std::string state;  // "normal" when none is written
};

// The sections of volumes.conf in file order; false with errno when the
// file exists but cannot be read.  A section named twice counts once, at
// its first place, with the keys of its last occurrence.
bool ReadVolumes(std::vector<Volume>& volumes)
{
    std::string content;
    if (!base::ReadWholeFile(VORNRootPathString(VORN_VOLUMES_FILE).c_str(), content))
        return errno == ENOENT;
    Volume* current = nullptr;
    base::ForEachLine(content, [&](std::string_view line) {
        const vorn::SectionLine parsed = vorn::ParseSectionLine(line);
        if (parsed.kind == vorn::SectionLineKind::kSection) {
            current = nullptr;
            for (Volume& volume : volumes) {
                if (volume.name == parsed.section) {
                    current = &volume;
                    *current = Volume{volume.name, "", ""};
                }
            }
            if (current == nullptr) {
                volumes.push_back(Volume{std::string(parsed.section), "", ""});
                current = &volumes.back();
            }
        } else if (parsed.kind == vorn::SectionLineKind::kKey && current != nullptr) {
            if (parsed.key == "path")
                current->path = parsed.value;
            else if (parsed.key == "state")
                current->state = parsed.value;
        }
        return true;
    });
    return true;
}

// Passes the volume over (a status bit) or fills in its free space.
int Examine(const Volume& volume, unsigned long long needed, VORN_VOLUME_INFO& info)
{
    if (!volume.state.empty() && volume.state != "normal")
        return VORN_VOLUME_STATUS_READ_ONLY;
    if (volume.path.empty() || volume.path[0] != '/')
        return VORN_VOLUME_STATUS_MISSING;
    const std::string path = VORNRootPathString(volume.path.c_str());
    struct stat st;
    struct statvfs fs;
    if (stat(path.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) || statvfs(path.c_str(), &fs) != 0)
        return VORN_VOLUME_STATUS_MISSING;
    if ((fs.f_flag & ST_RDONLY) != 0)
        return VORN_VOLUME_STATUS_READ_ONLY;
    const unsigned long long avail = static_cast<unsigned long long>(fs.f_bavail) * fs.f_frsize;
    if (avail < needed)
        return VORN_VOLUME_STATUS_NO_SPACE;
    if (path.size() >= sizeof info.szPath)
        return VORN_VOLUME_STATUS_MISSING;
    snprintf(info.szPath, sizeof info.szPath, "%s", path.c_str());
    snprintf(info.szName, sizeof info.szName, "%s", volume.name.c_str());
    info.availBytes = avail;
    info.totalBytes = static_cast<unsigned long long>(fs.f_blocks) * fs.f_frsize;
    return 0;
}

// The kind of a volume's directory name ("volume1", "volumeUSB2", ...).
int KindOf(std::string_view name)
{
    struct Prefix {
        const char* text;
        int kind;
    };
    // Longest first: "volumeUSB1" also begins with "volume".
    static const Prefix kPrefixes[] = {{"volumeSATA", VORN_VOLUME_KIND_SATA},
                                       {"volumeUSB", VORN_VOLUME_KIND_USB},
                                       {"volume", VORN_VOLUME_KIND_DATA}};
    for (const Prefix& prefix : kPrefixes) {
        const std::string_view text = prefix.text;
        if (name.substr(0, text.size()) != text)
            continue;
        const std::string_view number = name.substr(text.size());
        if (number.empty() || number.find_first_not_of("0123456789") != std::string_view::npos)
            return VORN_VOLUME_KIND_NONE;
        return prefix.kind;
    }
    return VORN_VOLUME_KIND_NONE;
}

}  // namespace

extern "C" int VolumeAvailGet(unsigned long long size, VORN_VOLUME_INFO* volume, int* status, int /*flags*/,
                              unsigned long long atLeast)
{
    if (volume == nullptr || status == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    *status = 0;
    return vorn::NoThrow(-1, [&] {
        std::vector<Volume> volumes;
        if (!ReadVolumes(volumes)) {
            VLIBCLog(LOG_ERR, "volumes:%d cannot read %s: %m", __LINE__, VORN_VOLUMES_FILE);
            VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        const unsigned long long needed = size > atLeast ? size : atLeast;
        for (size_t i = 0; i < volumes.size(); ++i) {
            VORN_VOLUME_INFO info{};
            const int passedOver = Examine(volumes[i], needed, info);
            if (passedOver == 0) {
                *volume = info;
                return static_cast<int>(i) + 1;
            }
            *status |= passedOver;
        }
        return 0;
    });
}

extern "C" int VolumePathParse(const char* path, char* volume, int size)
{
    if (path == nullptr || path[0] != '/' || (volume != nullptr && size <= 0)) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        const std::string_view root = VORNRootDir();
        std::string_view rest = path;
        // Below the root: "/ROOT" alone or "/ROOT/..." only.
        if (!root.empty()) {
            if (rest.substr(0, root.size()) != root || (rest.size() > root.size() && rest[root.size()] != '/'))
                rest = "";
            else
                rest.remove_prefix(root.size());
        }
        std::string_view first = rest.empty() ? "" : rest.substr(1, rest.find('/', 1) - 1);
        const int kind = KindOf(first);
        if (volume != nullptr) {
            const std::string top = kind == VORN_VOLUME_KIND_NONE ? "" : std::string(root) + "/" + std::string(first);
            if (top.size() >= static_cast<size_t>(size)) {
                VLIBCErrSet(VLIB_ERR_BUFFER_TOO_SMALL);
                return -1;
            }
            memcpy(volume, top.c_str(), top.size() + 1);
        }
        return kind;
    });
}

extern "C" int VORNShareBinPathGet(const char* volumePath, char* buffer, int size)
{
    if (volumePath == nullptr || buffer == nullptr || size <= 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        std::string path = volumePath;
        while (path.size() > 1 && path.back() == '/')
            path.pop_back();
        char top[4096];
        if (VolumePathParse(path.c_str(), top, sizeof top) <= 0 || path != top) {
            VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
            return -1;
        }
        const std::string bin = path + "/@sharebin";
        if (bin.size() >= static_cast<size_t>(size)) {
            VLIBCErrSet(VLIB_ERR_BUFFER_TOO_SMALL);
            return -1;
        }
        memcpy(buffer, bin.c_str(), bin.size() + 1);
        return static_cast<int>(bin.size());
    });
}
