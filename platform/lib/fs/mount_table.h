// The mount table: the root's own /proc/self/mounts when a scratch root
// has one (its mount points are system paths, mapped into the root), else
// the process's.
#ifndef VORN_PLATFORM_MOUNT_TABLE_H
#define VORN_PLATFORM_MOUNT_TABLE_H

#include <string>
#include <string_view>
#include <vector>

namespace vorn {

struct MountEntry {
    std::string point;  // the mount point, octal escapes decoded, root-mapped
    std::string type;   // "ext4", "nfs4", ...
};

// The entries in table order; false when no table can be read.
bool ReadMountTable(std::vector<MountEntry>& entries);

// Whether the root has a mount table of its own (not "/" with a table
// file): then that table alone says what is mounted where.
bool RootHasOwnMountTable();

// The entries of one table text, with mount points mapped by prefix (""
// for none): the parser, for tests.
std::vector<MountEntry> ParseMountTable(std::string_view text, const std::string& prefix);

// The type code of a file-system type name (VORN_FS_...).
int FsTypeCode(std::string_view type);

// path without trailing slashes ("/" stays).
std::string WithoutTrailingSlashes(std::string path);

}  // namespace vorn

#endif
