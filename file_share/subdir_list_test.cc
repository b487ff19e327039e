// The sub-folders of a directory: which entries, in which order, and the
// mount points among them (the scratch root's own mount table).  This
// binary defines statx itself: the entries "gone" (a remote mount whose
// server has gone away) and "stale" (no mount) cannot be examined.

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/webman_file_share.h>
#include <vorn/mount.h>

#include "testing/interpose.h"
#include "testing/log_capture.h"
#include "testing/temp_root.h"

extern "C" int statx(int fd, const char* path, int flags, unsigned int mask, struct statx* st)
{
    if (strcmp(path, "gone") == 0 || strcmp(path, "stale") == 0) {
        errno = ESTALE;
        return -1;
    }
    return ARX_NEXT(statx)(fd, path, flags, mask, st);
}

namespace {

std::vector<std::string> Names(const std::vector<_tag_SUBDIR_ENTRY_INFO_>& list)
{
    std::vector<std::string> names;
    for (const auto& entry : list)
        names.push_back(entry.name);
    return names;
}

class SubDirListTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const char* dir : {"b", "A", "a2", "@eaDir", "@tmp", "@sharebin", "\xc3\x89t\xc3\xa9", "zz", "disc",
                                "remote", "gone", "stale"})
            root_.MakeDirs(std::string("/share/") + dir);
        root_.WriteFile("/share/file.txt", "x");
        symlink(root_.Path("/share/b").c_str(), root_.Path("/share/link").c_str());
        mkfifo(root_.Path("/share/fifo").c_str(), 0600);
        root_.MakeDirs("/files");
        root_.WriteFile("/files/one", "");
        root_.WriteFile(VORN_MOUNT_TABLE,
                        "/dev/loop0 /share/disc iso9660 ro 0 0\n"
                        "server:/x /share/remote nfs rw 0 0\n"
                        "server:/y /share/gone nfs rw 0 0\n");
    }
    arx_testing::TempRoot root_;
    WebmanFileShare fs_;
};

TEST_F(SubDirListTest, FoldersInTheTreesOrderWithTheirMounts)
{
    std::vector<_tag_SUBDIR_ENTRY_INFO_> list;
    ASSERT_TRUE(fs_.WfmLibEnumSubDir(root_.Path("/share"), list));
    EXPECT_EQ(WfmLibGetErr(), WEBFM_ERR_NONE);
    // No files, links, FIFOs or hidden folders; "stale" cannot be examined
    // and is no remote mount: left out.  É sorts after every ASCII letter.
    EXPECT_EQ(Names(list), (std::vector<std::string>{"A", "a2", "b", "disc", "gone", "remote", "zz",
                                                     "\xc3\x89t\xc3\xa9"}));
    struct stat st;
    ASSERT_EQ(stat(root_.Path("/share/b").c_str(), &st), 0);
    const _tag_SUBDIR_ENTRY_INFO_& b = list[2];
    EXPECT_EQ(b.fullPath, root_.Path("/share/b"));
    EXPECT_EQ(b.mode, st.st_mode);
    EXPECT_EQ(b.mtime, st.st_mtime);
    EXPECT_EQ(b.size, st.st_size);
    EXPECT_EQ(b.uid, st.st_uid);
    EXPECT_EQ(b.gid, st.st_gid);
    EXPECT_EQ(b.isMountPoint, 0u);
    EXPECT_EQ(b.mountType, "");
    EXPECT_EQ(list[3].isMountPoint, 1u);
    EXPECT_EQ(list[3].mountType, "iso");
    EXPECT_EQ(list[4].isMountPoint, 1u);
    EXPECT_EQ(list[4].mountType, "remotefail") << "listed, so that the user sees it and can repair it";
    EXPECT_EQ(list[4].mode, 0u);
    EXPECT_EQ(list[5].mountType, "remote");

    std::vector<_tag_SUBDIR_ENTRY_INFO_> again;
    ASSERT_TRUE(fs_.WfmLibEnumSubDir(root_.Path("/share/"), again));
    EXPECT_EQ(again[0].fullPath, root_.Path("/share//A")) << "a '/' is always put between";
}

TEST_F(SubDirListTest, WhatCannotBeListed)
{
    std::vector<_tag_SUBDIR_ENTRY_INFO_> list;
    EXPECT_TRUE(fs_.WfmLibEnumSubDir(root_.Path("/files"), list));
    EXPECT_TRUE(list.empty()) << "files only";
    struct Row { std::string dir; WEBFMERR error; };
    const Row rows[] = {{root_.Path("/none"), WEBFM_ERR_NOT_FOUND},
                        {root_.Path("/files/one"), WEBFM_ERR_NOT_FOUND},
                        {root_.Path("/share/fifo"), WEBFM_ERR_NOT_FOUND}};
    for (const Row& row : rows) {
        EXPECT_FALSE(fs_.WfmLibEnumSubDir(row.dir, list)) << row.dir;
        EXPECT_EQ(WfmLibGetErr(), row.error) << row.dir;
    }
    arx_testing::LogCapture log;
    EXPECT_FALSE(fs_.WfmLibEnumSubDir("", list));
    EXPECT_EQ(arx_testing::WithoutLineNumbers(log.texts()), std::vector<std::string>{"file_share:# Bad parameter"});
    EXPECT_FALSE(fs_.WfmLibEnumSubDirAt(-1, root_.Path("/share"), list));
}

TEST_F(SubDirListTest, OpensFoldersBelowAShareWithoutFollowingLinks)
{
    root_.MakeDirs("/share/b/c");
    struct Row { const char* rest; bool opens; WEBFMERR error; };
    const Row rows[] = {
        {"", true, WEBFM_ERR_NONE},          {"b/c", true, WEBFM_ERR_NONE},
        {"b/c/", true, WEBFM_ERR_NONE},      {"link", false, WEBFM_ERR_BAD_PATH},
        {"link/c", false, WEBFM_ERR_BAD_PATH}, {"file.txt", false, WEBFM_ERR_BAD_PATH},
        {"none", false, WEBFM_ERR_NOT_FOUND}, {"b/../b", false, WEBFM_ERR_BAD_PARAMETER},
        {"./b", false, WEBFM_ERR_BAD_PARAMETER},
    };
    for (const Row& row : rows) {
        const int fd = fs_.WfmOpenShareDir(root_.Path("/share"), row.rest);
        EXPECT_EQ(fd >= 0, row.opens) << row.rest;
        EXPECT_EQ(WfmLibGetErr(), row.error) << row.rest;
        if (fd >= 0)
            close(fd);
    }
    EXPECT_EQ(fs_.WfmOpenShareDir("relative", ""), -1);
    EXPECT_EQ(fs_.WfmOpenShareDir(root_.Path("/none"), ""), -1);
    EXPECT_EQ(WfmLibGetErr(), WEBFM_ERR_NOT_FOUND);

    const int fd = fs_.WfmOpenShareDir(root_.Path("/share"), "b");
    std::vector<_tag_SUBDIR_ENTRY_INFO_> list;
    ASSERT_TRUE(fs_.WfmLibEnumSubDirAt(fd, root_.Path("/share/b"), list));
    EXPECT_EQ(Names(list), std::vector<std::string>{"c"});
    EXPECT_GE(fcntl(fd, F_GETFD), 0) << "the caller's descriptor stays open";
    close(fd);
}

}  // namespace
