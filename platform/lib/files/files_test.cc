// Files: timed locks, directory enumeration, key-value files and the section
// format.  This binary defines flock (passing every call on), so a test can
// act between the lock's open and its flock, where another holder may remove
// the file and a newcomer lock a new one at that path.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/fs.h>

#include "base/directories.h"
#include "testing/interpose.h"
#include "testing/temp_root.h"

namespace {
std::function<void()> g_beforeNextFlock;
}  // namespace

extern "C" int flock(int fd, int operation)
{
    if (g_beforeNextFlock) {
        const std::function<void()> action = std::move(g_beforeNextFlock);
        g_beforeNextFlock = nullptr;
        action();
    }
    return ARX_NEXT(flock)(fd, operation);
}

namespace {

using arx_testing::TempRoot;

// flock treats every open of the file on its own, so one process can play
// both the holder and the contender.
TEST(FileLockTest, ExclusiveAndSharedLocksExcludeAsFlockDoes)
{
    arx_testing::TempRoot root;
    const std::string path = root.Path("/lock");
    struct Row { int held; int requested; bool taken; };  // 1 exclusive, 0 shared
    for (const Row& row : {Row{1, 1, false}, Row{1, 0, false}, Row{0, 1, false}, Row{0, 0, true}}) {
        VLIBCErrSetEx(VLIB_ERR_NONE, "", 0);
        const int holder = VLIBCFileLockTimeByFile(path.c_str(), row.held, 0);
        const int contender = VLIBCFileLockTimeByFile(path.c_str(), row.requested, 0);
        EXPECT_EQ(contender >= 0, row.taken) << row.held << " against " << row.requested;
        EXPECT_EQ(VLIBCErrGet(), row.taken ? VLIB_ERR_NONE : VLIB_ERR_LOCK_FAILED);
        VLIBCFileUnlock(contender);
        EXPECT_EQ(VLIBCFileUnlock(holder), 0);
    }
}

TEST(FileLockTest, WhatIsNoLockFile)
{
    arx_testing::TempRoot root;
    root.WriteFile("/target", "keep");
    symlink(root.Path("/target").c_str(), root.Path("/link").c_str());
    mkfifo(root.Path("/fifo").c_str(), 0600);
    struct Row { const char* description; const char* path; int seconds; int error; };
    const Row rows[] = {
        {"a symbolic link", "/link", 0, VLIB_ERR_OPEN_FAILED},
        {"a FIFO, which must not hold up the caller", "/fifo", 0, VLIB_ERR_OPEN_FAILED},
        {"a missing directory", "/no/dir/x.lock", 0, VLIB_ERR_OPEN_FAILED},
        {"negative seconds", "/x.lock", -1, VLIB_ERR_BAD_PARAMETERS},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(VLIBCFileLockTimeByFile(root.Path(row.path).c_str(), 1, row.seconds), -1) << row.description;
        EXPECT_EQ(VLIBCErrGet(), row.error) << row.description;
    }
    EXPECT_EQ(VLIBCFileLockTimeByFile(nullptr, 1, 0), -1);
}

TEST(FileLockTest, ALockOnARemovedLockFileDoesNotCount)
{
    arx_testing::TempRoot root;
    const std::string path = root.Path("/lock");
    root.WriteFile("/lock", "");
    int newcomer = -1;
    g_beforeNextFlock = [&] {
        // The previous holder removes the file it opened; a newcomer creates
        // and locks a new one at the same path.
        unlink(path.c_str());
        newcomer = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        ARX_NEXT(flock)(newcomer, LOCK_EX);
    };
    EXPECT_EQ(VLIBCFileLockTimeByFile(path.c_str(), 1, 0), -1) << "the removed file's lock is no lock";
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_LOCK_FAILED);
    close(newcomer);
    const int fd = VLIBCFileLockTimeByFile(path.c_str(), 1, 0);
    EXPECT_GE(fd, 0) << "the file at the path is free again";
    VLIBCFileUnlock(fd);
}

using Names = std::vector<std::string>;

// Collects names; ends the walk after stopAfter of them when it is set.
struct Walk {
    Names names;
    size_t stopAfter = 0;
    static int Visit(const char* name, void* context)
    {
        Walk& walk = *static_cast<Walk*>(context);
        walk.names.push_back(name);
        return walk.names.size() == walk.stopAfter ? 1 : 0;
    }
};

TEST(DirEnumTest, NamesComeInByteOrderFilteredByTheFlags)
{
    arx_testing::TempRoot root;
    for (const char* name : {"b", "a", "B", "\xC3\xA9t\xC3\xA9", ".hidden", "sub/x"})
        root.WriteFile(std::string("/d/") + name, "x");
    for (const auto& [target, link] : {std::pair{"a", "link-to-file"}, {"sub", "link-to-dir"}, {"missing", "dangling"}})
        symlink(target, root.Path(std::string("/d/") + link).c_str());
    struct Row { const char* description; int flags; size_t stopAfter; Names names; };
    const Row rows[] = {
        {"every entry", 0, 0,
         {".hidden", "B", "a", "b", "dangling", "link-to-dir", "link-to-file", "sub", "\xC3\xA9t\xC3\xA9"}},
        {"regular files, links followed", VLIBC_DIR_FILES_ONLY, 0,
         {".hidden", "B", "a", "b", "link-to-file", "\xC3\xA9t\xC3\xA9"}},
        {"hidden names skipped; a visitor ends the walk", VLIBC_DIR_SKIP_HIDDEN | VLIBC_DIR_FILES_ONLY, 2, {"B", "a"}},
    };
    for (const Row& row : rows) {
        Walk walk{{}, row.stopAfter};
        EXPECT_EQ(VLIBCDirEnum(root.Path("/d").c_str(), row.flags, &Walk::Visit, &walk),
                  static_cast<int>(row.names.size())) << row.description;
        EXPECT_EQ(walk.names, row.names) << row.description;
    }
    Walk walk;
    EXPECT_EQ(VLIBCDirEnum(root.Path("/no/such/dir").c_str(), 0, &Walk::Visit, &walk), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_NOT_FOUND) << "a missing directory, told from one that cannot be read";
    EXPECT_EQ(VLIBCDirEnum(root.Path("/d/a").c_str(), 0, &Walk::Visit, &walk), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_OPEN_FAILED);
}

// (A value holding '=' and quotes reads back as written: the configuration
// formats' fuzz target.)
TEST(KeyValueFileTest, ReadsValuesAsWritten)
{
    struct Row { const char* description; const char* content; int result; const char* value; };
    const Row rows[] = {
        {"quoted value", "a=\"1\"\n", 1, "1"},
        {"unquoted value", "a=hello\n", 5, "hello"},
        {"blanks around key and value, not inside quotes", "  a =  \"  x y \"  \n", 6, "  x y "},
        {"last occurrence wins", "a=\"1\"\na=\"2\"\n", 1, "2"},
        {"comment lines skipped", "#a=\"1\"\n# a=2\n", 0, ""},
        {"missing key; keys are whole and case-sensitive", "ab=\"1\"\nA=\"1\"\n", 0, ""},
        {"empty value", "a=\"\"\n", 0, ""},
        {"no final newline, CRLF line ends", "x=1\r\na=\"end\"", 3, "end"},
        {"cut to the buffer", "a=\"0123456789\"\n", 7, "0123456"},
    };
    TempRoot root;
    for (const Row& row : rows) {
        root.WriteFile("/kv", row.content);
        char buffer[8] = "x";
        EXPECT_EQ(VLIBCFileGetKeyValue(root.Path("/kv").c_str(), "a", buffer, sizeof buffer, 0), row.result)
            << row.description;
        EXPECT_STREQ(buffer, row.value) << row.description;
    }
    char buffer[8];
    EXPECT_EQ(VLIBCFileGetKeyValue(root.Path("/missing").c_str(), "a", buffer, sizeof buffer, 0), -1);
    EXPECT_EQ(VLIBCFileGetKeyValue(root.dir().c_str(), "a", buffer, sizeof buffer, 0), -1) << "a directory";
    root.WriteFile("/kv", "on=\"yes\"\noff=\"no\"\n");
    EXPECT_EQ(VLIBCFileCheckKeyValue(root.Path("/kv").c_str(), "on", "YES", 0), 1) << "ignoring case";
}

TEST(KeyValueFileTest, SetReplacesTheKeyAndKeepsEverythingElse)
{
    TempRoot root;
    root.WriteFile("/kv", "# system settings\na=\"1\"\nb=plain\na=\"old\"\n\nc=\"3\"\n", 0640);
    const std::string file = root.Path("/kv");
    ASSERT_EQ(VLIBCFileSetKeyValue(file.c_str(), "a", "new value", 0), 0);
    ASSERT_EQ(VLIBCFileSetKeyValue(file.c_str(), "d", "\"quoted\" a=b#c\t", 0), 0);
    EXPECT_EQ(root.ReadFile("/kv"), "# system settings\na=\"new value\"\nb=plain\n\nc=\"3\"\nd=\"\"quoted\" a=b#c\t\"\n");
    struct stat st;
    ASSERT_EQ(stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u) << "the file keeps its mode";
    ASSERT_EQ(VLIBCFileSetKeyValue(root.Path("/new").c_str(), "k", "v", 0), 0);
    ASSERT_EQ(stat(root.Path("/new").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0644u) << "a new file";
}

TEST(KeyValueFileTest, RefusedSetsChangeNothingAndLeaveNothingBehind)
{
    TempRoot root;
    root.WriteFile("/kv", "a=\"1\"\n");
    root.WriteFile("/secret", "password=\"hidden\"\n", 0600);
    ASSERT_EQ(symlink(root.Path("/secret").c_str(), root.Path("/link").c_str()), 0);
    struct Row { const char* description; const char* file; const char* key; const char* value; };
    const Row rows[] = {
        {"empty key", "/kv", "", "v"},
        {"'=' in the key", "/kv", "a=b", "v"},
        {"comment key", "/kv", "#a", "v"},
        {"line end in the key", "/kv", "a\nb=\"x\"", "v"},
        {"line end in the value", "/kv", "a", "line\nb=\"x\""},
        {"CR in the value", "/kv", "a", "cr\r"},
        {"no value", "/kv", "a", nullptr},
        {"no directory", "/no/such/dir/kv", "a", "1"},
        {"a link at the file: never read through", "/link", "a", "1"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(VLIBCFileSetKeyValue(root.Path(row.file).c_str(), row.key, row.value, 0), -1) << row.description;
    EXPECT_EQ(root.ReadFile("/kv"), "a=\"1\"\n");
    struct stat st;
    ASSERT_EQ(lstat(root.Path("/link").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode)) << "the link is left as it was, its target's text copied nowhere";
    std::vector<std::string> names;
    ASSERT_TRUE(base::ListDirectory(root.dir(), names));
    EXPECT_EQ(names.size(), 4u) << "kv, link, secret and the link's lock: no temporary file";
}

TEST(KeyValueFileTest, ConcurrentWritersLoseNoUpdate)
{
    TempRoot root;
    const std::string file = root.Path("/kv");
    constexpr int kWriters = 6, kKeysEach = 25;
    const auto key = [](int w, int k) { return "w" + std::to_string(w) + "_" + std::to_string(k); };
    for (int w = 0; w < kWriters; ++w) {
        if (fork() != 0)
            continue;
        for (int k = 0; k < kKeysEach; ++k) {
            if (VLIBCFileSetKeyValue(file.c_str(), key(w, k).c_str(), "v", 0) != 0)
                _exit(1);
        }
        _exit(0);
    }
    for (int w = 0; w < kWriters; ++w) {
        int status = -1;
        wait(&status);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    const std::string written = root.ReadFile("/kv");
    EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), kWriters * kKeysEach) << "one line per key";
}

// The platform's reader of one text by section and key (the strings-file
// grammar as a whole is LocalizedStringParser's table).
TEST(SectionFileTest, LooksUpKeysAsTheStringsFormatSays)
{
    arx_testing::TempRoot root;
    root.WriteFile("/strings", "orphan = before any section\n\xEF\xBB\xBF[common]\nok = \"OK\"\n# comment = no\n"
                               "quoted = \"say \"hi\"\"\n[login]\nerror_timeout = first\n[login\n[login]\n"
                               "\xEF\xBB\xBF  error_noprivilege=\"bom on a later line\"  \r\n"
                               "long = " + std::string(2000, 'v') + "\n");
    // The value found, or the reason why none was (the result is then -1).
    struct Row { const char* description; const char *section, *key; std::string value; };
    const Row rows[] = {
        {"a byte-order mark before the header", "common", "ok", "OK"},
        {"only the outer quotes go", "common", "quoted", "say \"hi\""},
        {"comments are not keys", "common", "# comment", "no such key"},
        {"keys before any section belong to none", "common", "orphan", "no such key"},
        {"a repeated header starts over", "login", "error_timeout", "no such key"},
        {"a byte-order mark on a later line, CRLF", "login", "error_noprivilege", "bom on a later line"},
        {"cut to the buffer", "login", "long", std::string(1023, 'v')},
        {"no such section", "spaced", "key", "no such section"},
    };
    for (const Row& row : rows) {
        char buffer[1024] = "";
        const int found = row.value.rfind("no such", 0) == 0 ? -1 : static_cast<int>(row.value.size());
        EXPECT_EQ(VLIBCFileGetSectionValue(root.Path("/strings").c_str(), row.section, row.key, buffer, sizeof buffer),
                  found) << row.description;
        EXPECT_EQ(buffer, row.value) << row.description;
    }
    char buffer[64];
    EXPECT_EQ(VLIBCFileGetSectionValue(root.Path("/missing").c_str(), "s", "k", buffer, sizeof buffer), -1);
    EXPECT_STREQ(buffer, "No such file or directory");
}

}  // namespace
