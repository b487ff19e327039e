#include "lib/fs/mount_table.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vorn/mount.h>
#include <vorn/root.h>

#include "base/text.h"

namespace vorn {

namespace {

// A field of /proc/self/mounts: blanks, tabs, newlines and backslashes are
// written as octal escapes ("\040").
std::string Unescape(std::string_view field)
{
    std::string out;
    for (size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && field[i + 1] >= '0' && field[i + 1] <= '3' &&
            field[i + 2] >= '0' && field[i + 2] <= '7' && field[i + 3] >= '0' && field[i + 3] <= '7') {
            out += static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0'));
            i += 3;
        } else {
            out += field[i];
        }
    }
    return out;
}

std::string RootTablePath()
{
    return VORNRootPathString(VORN_MOUNT_TABLE);
}

// Reads to the end: a /proc file has no size, and may give less than asked
// before its end.
bool ReadToEnd(const char* path, std::string& content)
{
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    char buffer[16384];
    ssize_t got;
    while ((got = read(fd, buffer, sizeof buffer)) != 0) {
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            break;
        content.append(buffer, static_cast<size_t>(got));
    }
    close(fd);
    return got == 0;
}

}  // namespace

bool RootHasOwnMountTable()
{
    if (VORNRootDir()[0] == '\0')
        return false;
    struct stat st;
    return stat(RootTablePath().c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::vector<MountEntry> ParseMountTable(std::string_view text, const std::string& prefix)
{
    std::vector<MountEntry> entries;
    base::ForEachLine(text, [&](std::string_view line) {
        std::string_view fields[3];
        size_t count = 0;
        size_t position = 0;
        while (count < 3 && position < line.size()) {
            const size_t start = line.find_first_not_of(" \t", position);
            if (start == std::string_view::npos)
                break;
            const size_t end = line.find_first_of(" \t", start);
            fields[count++] = line.substr(start, end == std::string_view::npos ? end : end - start);
            position = end == std::string_view::npos ? line.size() : end;
        }
        if (count == 3 && fields[1][0] == '/') {
            std::string point = Unescape(fields[1]);
            if (!prefix.empty())
                point = point == "/" ? prefix : prefix + point;
            entries.push_back(MountEntry{WithoutTrailingSlashes(point), std::string(fields[2])});
        }
        return true;
    });
    return entries;
}

bool ReadMountTable(std::vector<MountEntry>& entries)
{
    std::string content;
    const bool own = RootHasOwnMountTable();
    if (!ReadToEnd(own ? RootTablePath().c_str() : VORN_MOUNT_TABLE, content))
        return false;
    entries = ParseMountTable(content, own ? std::string(VORNRootDir()) : std::string());
    return true;
}

int FsTypeCode(std::string_view type)
{
    struct Name {
        const char* name;
        int code;
    };
    static const Name kNames[] = {
        {"vfat", VORN_FS_VFAT},       {"msdos", VORN_FS_VFAT},       {"ext3", VORN_FS_EXT3},
        {"ext4", VORN_FS_EXT4},       {"btrfs", VORN_FS_BTRFS},      {"nfs", VORN_FS_NFS},
        {"nfs4", VORN_FS_NFS},        {"hfsplus", VORN_FS_HFSPLUS},  {"iso9660", VORN_FS_ISO9660},
        {"ext2", VORN_FS_EXT2},       {"xfs", VORN_FS_XFS},          {"udf", VORN_FS_UDF},
        {"cifs", VORN_FS_CIFS},       {"smb3", VORN_FS_CIFS},        {"ntfs", VORN_FS_NTFS},
        {"ntfs3", VORN_FS_NTFS},      {"fuseblk", VORN_FS_NTFS},     {"squashfs", VORN_FS_SQUASHFS},
        {"tmpfs", VORN_FS_TMPFS},     {"overlay", VORN_FS_OVERLAY},  {"exfat", VORN_FS_EXFAT},
        {"f2fs", VORN_FS_F2FS},
    };
    for (const Name& name : kNames) {
        if (type == name.name)
            return name.code;
    }
    // fuse.sshfs, fuse.gvfsd-fuse, ...
    if (type == "fuse" || type.substr(0, 5) == "fuse.")
        return VORN_FS_FUSE;
    return VORN_FS_OTHER;
}

std::string WithoutTrailingSlashes(std::string path)
{
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    return path;
}

}  // namespace vorn
