// WebmanFileShare: the checks that the file programs run before they touch
// a shared folder, and the listing of a folder's sub-folders.
//
// A request names a folder as "/SHARE/DIR/..." ("/home/..." for the user's
// own home).  A program checks the text first, then the user's privilege
// on the share, resolves the folder, and opens it as the user:
//
//   WebmanFileShare fs;
//   if (fs.WfmCheckRequestPath(path) != 0) ...                  // "..", "//", NUL, lengths, UTF-8
//   if (!fs.CheckShareListPrivilege(user, "", path)) ...        // share privilege and attributes
//   std::string full, share, folder, rest;
//   fs.WfmFullPathGet(path, full, share, folder, rest, user);    // the file-system path
//   web.setEUGID();                                              // the user's identity from here
//   int fd = fs.WfmOpenShareDir(folder, rest);                   // no link followed below the share
//   std::vector<_tag_SUBDIR_ENTRY_INFO_> list;
//   fs.WfmLibEnumSubDirAt(fd, full, list);                       // sub-folders, sorted
//
// Failures are results: 0/-1, true/false or NULL, with the family's last
// error (WfmLibGetErr) and the platform's (VLIBCErrGet) telling why.
// Nothing throws.  Log lines begin with "file_share".
#ifndef ARX_WEBMAN_FILE_SHARE_H
#define ARX_WEBMAN_FILE_SHARE_H

#include <stddef.h>
#include <stdint.h>

#include <string>
#include <vector>

#include <vorn/share.h>

#include <arx/export.h>
#include <arx/vorn_conf.h>

#ifndef VORN_HAVE_BOOL
#define VORN_HAVE_BOOL
typedef int BOOL;
#endif

// The last error of the family: one value per process.
typedef enum _tag_WEBFMERR_ {
    WEBFM_ERR_NONE = 0,           // no error
    WEBFM_ERR_BAD_PARAMETER = 1,  // a NULL or empty argument
    WEBFM_ERR_BAD_PATH = 2,       // no share in the path, or the share's folder cannot be found
    WEBFM_ERR_PERMISSION = 3,     // EPERM, EACCES
    WEBFM_ERR_NOT_FOUND = 6,      // no such share; ENOENT, ENOTDIR
    WEBFM_ERR_SYSTEM = 7,         // any other system error
} WEBFMERR;

// A user's privilege on a share.
typedef enum _tag_WEBFM_SHARE_PRIVILEGE_ {
    WEBFM_SHARE_PRIV_NONE = 0,
    WEBFM_SHARE_PRIV_RO = 1,
    WEBFM_SHARE_PRIV_RW = 2,
} WEBFM_SHARE_PRIVILEGE;

ARX_EXPORT void WfmLibSetErr(WEBFMERR error);
ARX_EXPORT WEBFMERR WfmLibGetErr();

// One sub-folder of a listing.
struct _tag_SUBDIR_ENTRY_INFO_ {
    std::string name;       // as read from the directory
    std::string fullPath;   // the listed directory + "/" + name
    int64_t size;           // st_size
    uint64_t mode;          // st_mode: type and permission bits
    int64_t mtime;          // st_mtime
    uint32_t uid;           // the two status words: owner and group (st_uid, st_gid)
    uint32_t gid;
    uint32_t isMountPoint;  // nonzero for a mount point
    std::string mountType;  // "", "iso", "remote", or "remotefail" (a remote mount whose server is gone)
};

class ARX_EXPORT WebmanFileShare : public VornConf {
public:
    WebmanFileShare();
    ~WebmanFileShare();

    // ---- Paths and names ---------------------------------------------

    // The first element of path (first true: the share of "/share/dir/f")
    // or its last (the entry's own name), as a new string to free(); NULL
    // for NULL, a path without "/", or one without any element.
    char* WfmLibGetTokOfPath(const char* path, BOOL first);

    // The path the kernel resolves path to (links followed) into buf: the
    // process enters it and comes back.  false when it cannot be entered.
    BOOL WfmLibRealFullPathGet(const char* path, char* buf, int size);

    // A file-system path that exists, element by element from the whole
    // path up to its first element: each a directory or a regular file
    // (never a link), none "." or "..".  0, or -1 with the platform's error
    // 0x0D00 (not absolute), 0x0600, 0x0300 or 0x8100.
    int WfmCheckPath(const char* path);

    // false (0x9A00) for ".", "..", a name beginning with "._" or a hidden
    // extended-attribute folder name.  NULL or "" set 0x0D00 and yet give
    // true: callers test emptiness first.
    BOOL WfmCheckReservedName(const char* name);

    // Whether name may be given to a new entry of the directory dir on its
    // file system: not reserved; on vfat (the strict rule) none of
    // \ / : * ? " > < | CR LF (0xA500), elsewhere neither ":" nor "/"
    // (0x9A00).  No length limit here (WfmCheckNewName has one).  0 or -1.
    int WfmCheckFileName(char* dir, const char* name);

    // ---- Request texts (additions) -----------------------------------

    // A folder as a request names it, checked before any file is touched:
    // "/" then elements separated by single "/", an optional trailing "/";
    // no element "." or "..", none over 255 bytes, the whole at most 4095
    // bytes, valid UTF-8 (no overlong forms or surrogates) without control
    // characters.  0, or -1 with 0x0D00 (not absolute, too long, not
    // UTF-8, controls) or 0x8100 ("//", ".", "..").
    int WfmCheckRequestPath(const char* path);

    // A name for a new entry as text: 1 to 255 bytes of valid UTF-8
    // without control characters or "/", not "." or "..".  0, or -1 with
    // 0x0D00.  WfmCheckFileName adds the rules of the file system.
    int WfmCheckNewName(const char* name);

    // Opens the folder rest ("a/b", "" for the folder itself) below
    // folder (a share's folder, opened as it is), every element of rest
    // below the one before and never through a link, as the process's
    // identity.  A path descriptor (O_PATH: for *at calls and listing; to
    // be closed), or -1 with WEBFMERR 1 (bad arguments, an element "." or
    // ".."), 2 (a link or no directory on the way), 3, 6 or 7.
    int WfmOpenShareDir(const std::string& folder, const std::string& rest);

    // ---- Share privileges --------------------------------------------

    // The user's privilege on the share that holds path ("/share/...") and,
    // for users outside the administrators group, the share's attribute
    // word (VORN_SHARE_ATTR_...) in *extra.  0, or -1 (WEBFMERR 2 or 6).
    int WfmLibGetPrivilege(const char* path, const char* user, const char* ignored, WEBFM_SHARE_PRIVILEGE* priv,
                           int* extra);

    // 1 when the privilege is exactly wanted (not "at least"), 0 when it
    // is another, -1 on failure.
    int WfmLibHasPrivilege(const char* path, const char* user, const char* ignored, WEBFM_SHARE_PRIVILEGE wanted);

    // The permission bits of mode as a three-digit decimal (0755 -> 755).
    unsigned int GetPrivilege(unsigned int mode);

    // Whether an ordinary user's listings leave out what they cannot read
    // (root sees everything).
    BOOL WfmLibIsHideUnreadable(_tag_VORNSHARE* share);

    // true for the home area ("home", "/home", "/home/...") or, with a
    // user, a path in that user's home under "/homes/" (compared ignoring
    // case; a directory user's home is made when homes are on).
    BOOL IsDirUserHome(const std::string& path, const char* user);

    // Whether the share is encrypted; true when the answer is valid (a
    // home is, without touching encrypted).
    BOOL IsEncryptShare(std::string share, bool& encrypted);
    BOOL WfmLibCheckEncryptShare(std::string share, bool& encrypted);

    // Whether user may list (fetch files from) the folder path: a home
    // path, or a share privilege other than none without the attribute
    // bit 0 (bits 0 and 2).
    BOOL CheckShareListPrivilege(const std::string& user, const std::string& ignored, const std::string& path);
    BOOL CheckShareDownloadPrivilege(const std::string& user, const std::string& ignored, const std::string& path);

    // The file-system path of the request path "/share/rest" for user:
    // fullPath = the share's folder (a home: the user's home, links
    // resolved) + "/" + rest; share = the first element; shareFolder = the
    // share's folder; rest = what follows the share's name and its "/".
    BOOL WfmFullPathGet(const char* path, std::string& fullPath, std::string& share, std::string& shareFolder,
                        std::string& rest, std::string user);

    // The user's home directory with its links resolved.
    BOOL WfmUserHomeFullPathGet(std::string& out, std::string user);

    // ---- The process -------------------------------------------------

    // The session user's supplementary groups, gid, then uid (effective).
    int WfmLibUGIDSet(const char* sid, const char* user);

    // Gives path (not following a final link) to user, except on vfat,
    // ntfs, remote and image file systems.  0 or -1.
    int WfmLibChown2Admin(const char* path, const char* user);

    // Sets the umask to 0 and returns the previous one, unless
    // "webfm_use_unix_perm" is "yes" (-1, the umask left alone).
    int WfmLibUmask();
    void WfmLibRestoreUmask(unsigned int mask);
    unsigned int WfmLibGetUmask();

    // Whether the file system of path's volume is one the file programs
    // support (USB and eSATA volumes are asked).
    BOOL WfmLibFileSystemSupported(const char* path);

    // Makes SHARE/@eaDir/@tmp (root:root, 01777) for the share that holds
    // path, and writes its path into out.
    BOOL WfmLibGetShareEaDirTmpPath(const char* path, char* out, size_t size);

    // Whether the process may enter and list path (it stays in path when
    // it could enter it).
    BOOL CheckDirListPrivilege(const char* path);

    // ---- Listing -----------------------------------------------------

    // Appends the sub-folders of dir to list, sorted by name ignoring case
    // (Unicode case folding): no links, no hidden extended-attribute
    // folders; mount points with their mount type; a remote mount whose
    // server is gone as "remotefail".  false only when dir cannot be
    // opened (WEBFMERR 6, 3 or 7).
    BOOL WfmLibEnumSubDir(std::string dir, std::vector<_tag_SUBDIR_ENTRY_INFO_>& list);

    // The same for an open directory (WfmOpenShareDir) that dir names;
    // the descriptor stays open.
    BOOL WfmLibEnumSubDirAt(int dirFd, std::string dir, std::vector<_tag_SUBDIR_ENTRY_INFO_>& list);
};

namespace VORNPrivilege {

class ARX_EXPORT PrivilegeUtil {
public:
    // Switches the effective credentials to user's (groups too when flag
    // is true); members of the administrators group become root, on
    // purpose.  false when the lookup or the switch failed.
    static bool SetEUGID(const std::string& user, bool flag);
};

// Privilege questions about paths of shares ("/share/dir/file").
class ARX_EXPORT FileAccessor {
public:
    FileAccessor();
    ~FileAccessor();
    FileAccessor(const FileAccessor&) = delete;
    FileAccessor& operator=(const FileAccessor&) = delete;

    // The ACL permission bits of a file-system path (VORN_ACL_...), or
    // 8191 (no restriction) when they cannot be computed.
    unsigned int GetACLPrivilege(const std::string& path) const;

    // Whether every bit of wanted (1 read, 2 write, 4 execute, 8 delete)
    // is granted on the file-system path; false for wanted 0.
    bool ACLAccess(const std::string& path, int wanted) const;

    // true when the user's share privilege is NOT exactly priv (also when
    // it cannot be told): the interface's inverted sense.
    bool CheckSharePrivilege(const std::string& path, const std::string& user, const std::string& ignored,
                             WEBFM_SHARE_PRIVILEGE priv);

    // CheckSharePrivilege(..., none): any privilege on the share.
    bool HasSharePrivilege(const std::string& path, const std::string& user, const std::string& ignored);

    // A share privilege, then the ACL bits wanted on the full path.
    bool HasPrivilege(const std::string& path, const std::string& user, const std::string& ignored, int wanted);

    bool HasShareListPrivilege(const std::string& path, const std::string& user, const std::string& ignored);
    bool HasShareDownloadPrivilege(const std::string& path, const std::string& user, const std::string& ignored);

    // The file-system path of a request path, "" when it cannot be told.
    std::string GetFullPath(const std::string& path, const std::string& user);

private:
    WebmanFileShare share_;
};

}  // namespace VORNPrivilege

#endif
