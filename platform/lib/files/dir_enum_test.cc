#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vorn/err.h>
#include <vorn/fs.h>

#include "testing/temp_root.h"

namespace {

using arx_testing::TempRoot;

int Collect(const char* name, void* context)
{
    static_cast<std::vector<std::string>*>(context)->push_back(name);
    return 0;
}

std::vector<std::string> Names(const std::string& dir, int flags, int* result = nullptr)
{
    std::vector<std::string> names;
    const int visited = VLIBCDirEnum(dir.c_str(), flags, &Collect, &names);
    if (result != nullptr)
        *result = visited;
    return names;
}

class DirEnumTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const char* name : {"b", "a", "B", "\xC3\xA9t\xC3\xA9", ".hidden", "a.json"})
            root_.WriteFile(std::string("/d/") + name, "x");
        root_.MakeDirs("/d/sub");
        root_.MakeDirs("/d/.git");
        ASSERT_EQ(symlink("a", root_.Path("/d/link-to-file").c_str()), 0);
        ASSERT_EQ(symlink("sub", root_.Path("/d/link-to-dir").c_str()), 0);
        ASSERT_EQ(symlink("missing", root_.Path("/d/dangling").c_str()), 0);
    }
    TempRoot root_;
};

TEST_F(DirEnumTest, NamesComeInByteOrderFilteredByTheFlags)
{
    struct Row {
        const char* description;
        int flags;
        std::vector<std::string> names;
    };
    const Row rows[] = {
        {"every entry", 0,
         {".git", ".hidden", "B", "a", "a.json", "b", "dangling", "link-to-dir", "link-to-file", "sub",
          "\xC3\xA9t\xC3\xA9"}},
        {"hidden names skipped", VLIBC_DIR_SKIP_HIDDEN,
         {"B", "a", "a.json", "b", "dangling", "link-to-dir", "link-to-file", "sub", "\xC3\xA9t\xC3\xA9"}},
        {"regular files, links followed", VLIBC_DIR_FILES_ONLY,
         {".hidden", "B", "a", "a.json", "b", "link-to-file", "\xC3\xA9t\xC3\xA9"}},
        {"both", VLIBC_DIR_SKIP_HIDDEN | VLIBC_DIR_FILES_ONLY,
         {"B", "a", "a.json", "b", "link-to-file", "\xC3\xA9t\xC3\xA9"}},
    };
    for (const Row& row : rows) {
        int result = 0;
        EXPECT_EQ(Names(root_.Path("/d"), row.flags, &result), row.names) << row.description;
        EXPECT_EQ(result, static_cast<int>(row.names.size())) << row.description;
    }
}

TEST_F(DirEnumTest, VisitorEndsTheEnumeration)
{
    std::vector<std::string> names;
    const int visited = VLIBCDirEnum(
        root_.Path("/d").c_str(), VLIBC_DIR_SKIP_HIDDEN,
        [](const char* name, void* context) {
            auto* seen = static_cast<std::vector<std::string>*>(context);
            seen->push_back(name);
            return seen->size() == 2 ? 1 : 0;
        },
        &names);
    EXPECT_EQ(visited, 2);
    EXPECT_EQ(names, (std::vector<std::string>{"B", "a"}));
}

TEST_F(DirEnumTest, UnreadableDirectoriesAreFailuresThatSayWhy)
{
    struct Row {
        const char* description;
        std::string dir;
        int error;
    };
    const Row rows[] = {
        {"missing directory", root_.Path("/no-such-dir"), VLIB_ERR_NOT_FOUND},
        {"missing parent", root_.Path("/no/such/dir"), VLIB_ERR_NOT_FOUND},
        {"a file, not a directory", root_.Path("/d/a"), VLIB_ERR_OPEN_FAILED},
        {"empty path", "", VLIB_ERR_BAD_PARAMETERS},
    };
    for (const Row& row : rows) {
        VLIBCErrSetEx(VLIB_ERR_NONE, "", 0);
        int result = 0;
        EXPECT_TRUE(Names(row.dir, 0, &result).empty()) << row.description;
        EXPECT_EQ(result, -1) << row.description;
        EXPECT_EQ(VLIBCErrGet(), row.error) << row.description;
    }
    EXPECT_EQ(VLIBCDirEnum(nullptr, 0, &Collect, nullptr), -1);
    EXPECT_EQ(VLIBCDirEnum(root_.Path("/d").c_str(), 0, nullptr, nullptr), -1);
}

}  // namespace
