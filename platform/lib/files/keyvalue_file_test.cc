#include <dirent.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vorn/err.h>
#include <vorn/file.h>

#include "testing/temp_root.h"

namespace {

using arx_testing::TempRoot;

struct GetRow {
    const char* description;
    const char* content;
    const char* key;
    int expectedResult;
    const char* expectedValue;
};

TEST(KeyValueFileTest, ReadsValuesAsWritten)
{
    const GetRow rows[] = {
        {"quoted value", "a=\"1\"\n", "a", 1, "1"},
        {"unquoted value", "a=hello\n", "a", 5, "hello"},
        {"blanks around key and value", "  a =  \"x y\"  \n", "a", 3, "x y"},
        {"blanks inside quotes kept", "a=\"  x  \"\n", "a", 5, "  x  "},
        {"last occurrence wins", "a=\"1\"\na=\"2\"\n", "a", 1, "2"},
        {"comment lines skipped", "#a=\"1\"\n# a=2\n", "a", 0, ""},
        {"missing key", "b=\"1\"\n", "a", 0, ""},
        {"empty value", "a=\"\"\n", "a", 0, ""},
        {"no final newline", "x=1\na=\"end\"", "a", 3, "end"},
        {"CRLF line ends", "a=\"dos\"\r\nb=2\r\n", "a", 3, "dos"},
        {"value holding '='", "a=\"k=v\"\n", "a", 3, "k=v"},
        {"inner quote kept", "a=\"say \"hi\"\"\n", "a", 8, "say \"hi\""},
        {"lone quote kept", "a=\"\n", "a", 1, "\""},
        {"line without '=' ignored", "a\na=\"2\"\n", "a", 1, "2"},
        {"key is matched whole", "ab=\"1\"\n", "a", 0, ""},
        {"keys are case-sensitive", "A=\"1\"\n", "a", 0, ""},
    };
    TempRoot root;
    for (const GetRow& row : rows) {
        root.WriteFile("/kv", row.content);
        char buffer[64] = "garbage";
        EXPECT_EQ(VLIBCFileGetKeyValue(root.Path("/kv").c_str(), row.key, buffer, sizeof buffer, 0),
                  row.expectedResult)
            << row.description;
        EXPECT_STREQ(buffer, row.expectedValue) << row.description;
    }
}

TEST(KeyValueFileTest, ReadFailuresAndBadArguments)
{
    TempRoot root;
    root.WriteFile("/kv", "long=\"0123456789\"\n");
    const std::string file = root.Path("/kv");
    char buffer[5];
    EXPECT_EQ(VLIBCFileGetKeyValue(file.c_str(), "long", buffer, sizeof buffer, 0), 4);
    EXPECT_STREQ(buffer, "0123");
    EXPECT_EQ(VLIBCFileGetKeyValue(root.Path("/missing").c_str(), "long", buffer, sizeof buffer, 0), -1);
    EXPECT_EQ(VLIBCFileGetKeyValue(root.dir().c_str(), "long", buffer, sizeof buffer, 0), -1);  // a directory
    EXPECT_EQ(VLIBCFileGetKeyValue(nullptr, "long", buffer, sizeof buffer, 0), -1);
    EXPECT_EQ(VLIBCFileGetKeyValue(file.c_str(), nullptr, buffer, sizeof buffer, 0), -1);
    EXPECT_EQ(VLIBCFileGetKeyValue(file.c_str(), "long", nullptr, 5, 0), -1);
    EXPECT_EQ(VLIBCFileGetKeyValue(file.c_str(), "long", buffer, 0, 0), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BAD_PARAMETERS);
}

TEST(KeyValueFileTest, CheckComparesIgnoringCase)
{
    TempRoot root;
    root.WriteFile("/kv", "on=\"yes\"\noff=\"no\"\n");
    const std::string file = root.Path("/kv");
    EXPECT_EQ(VLIBCFileCheckKeyValue(file.c_str(), "on", "YES", 0), 1);
    EXPECT_EQ(VLIBCFileCheckKeyValue(file.c_str(), "off", "yes", 0), 0);
    EXPECT_EQ(VLIBCFileCheckKeyValue(file.c_str(), "missing", "yes", 0), 0);
    EXPECT_EQ(VLIBCFileCheckKeyValue(root.Path("/missing").c_str(), "on", "yes", 0), -1);
    EXPECT_EQ(VLIBCFileCheckKeyValue(file.c_str(), "on", nullptr, 0), -1);
}

TEST(KeyValueFileTest, SetReplacesTheKeyAndKeepsEverythingElse)
{
    TempRoot root;
    root.WriteFile("/kv", "# system settings\na=\"1\"\nb=plain\na=\"old\"\n\nc=\"3\"\n", 0640);
    const std::string file = root.Path("/kv");
    ASSERT_EQ(VLIBCFileSetKeyValue(file.c_str(), "a", "new value", 0), 0);
    ASSERT_EQ(VLIBCFileSetKeyValue(file.c_str(), "d", "", 0), 0);
    EXPECT_EQ(root.ReadFile("/kv"), "# system settings\na=\"new value\"\nb=plain\n\nc=\"3\"\nd=\"\"\n");
    struct stat st;
    ASSERT_EQ(stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u) << "the file keeps its mode";
}

TEST(KeyValueFileTest, SetCreatesAMissingFileAndValuesRoundTrip)
{
    TempRoot root;
    const std::string file = root.Path("/new.conf");
    const char* values[] = {"plain", "  padded  ", "\"quoted\"", "a=b#c", "tab\there", "\"", ""};
    for (const char* value : values) {
        ASSERT_EQ(VLIBCFileSetKeyValue(file.c_str(), "k", value, 0), 0) << value;
        char buffer[64];
        VLIBCFileGetKeyValue(file.c_str(), "k", buffer, sizeof buffer, 0);
        EXPECT_STREQ(buffer, value);
    }
    struct stat st;
    ASSERT_EQ(stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0644u);
}

TEST(KeyValueFileTest, SetRefusesWhatWouldBreakTheFormat)
{
    struct Row {
        const char* key;
        const char* value;
    };
    const Row rows[] = {
        {"", "v"},          {"a b", "v"},          {"a=b", "v"},  {"#a", "v"},         {"a\"", "v"},
        {"a\nb=\"x\"", "v"}, {"a", "line\nb=\"x\""}, {"a", "cr\r"}, {nullptr, "v"}, {"a", nullptr},
    };
    TempRoot root;
    root.WriteFile("/kv", "a=\"1\"\n");
    for (const Row& row : rows) {
        EXPECT_EQ(VLIBCFileSetKeyValue(root.Path("/kv").c_str(), row.key, row.value, 0), -1)
            << (row.key ? row.key : "(null)") << " / " << (row.value ? row.value : "(null)");
    }
    EXPECT_EQ(root.ReadFile("/kv"), "a=\"1\"\n");
}

TEST(KeyValueFileTest, SetNeverReadsThroughALinkAtTheFile)
{
    TempRoot root;
    root.WriteFile("/secret", "password=\"hidden\"\n", 0600);
    ASSERT_EQ(symlink(root.Path("/secret").c_str(), root.Path("/kv").c_str()), 0);
    EXPECT_EQ(VLIBCFileSetKeyValue(root.Path("/kv").c_str(), "a", "1", 0), -1);
    struct stat st;
    ASSERT_EQ(lstat(root.Path("/kv").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode)) << "the link is left as it was, its target's text copied nowhere";
}

TEST(KeyValueFileTest, FailedSetLeavesNoTemporaryFile)
{
    TempRoot root;
    EXPECT_EQ(VLIBCFileSetKeyValue(root.Path("/no/such/dir/kv").c_str(), "a", "1", 0), -1);
    root.WriteFile("/kv", "a=\"1\"\n");
    ASSERT_EQ(VLIBCFileSetKeyValue(root.Path("/kv").c_str(), "a", "2", 0), 0);
    std::vector<std::string> names;
    DIR* dir = opendir(root.dir().c_str());
    while (dirent* entry = readdir(dir)) {
        if (entry->d_name[0] != '.')
            names.push_back(entry->d_name);
    }
    closedir(dir);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"kv", "kv.lock"}));
}

TEST(KeyValueFileTest, ConcurrentWritersLoseNoUpdate)
{
    TempRoot root;
    const std::string file = root.Path("/kv");
    constexpr int kWriters = 6;
    constexpr int kKeysEach = 25;
    std::vector<pid_t> children;
    for (int w = 0; w < kWriters; ++w) {
        const pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            for (int k = 0; k < kKeysEach; ++k) {
                const std::string key = "w" + std::to_string(w) + "_" + std::to_string(k);
                if (VLIBCFileSetKeyValue(file.c_str(), key.c_str(), key.c_str(), 0) != 0)
                    _exit(1);
            }
            _exit(0);
        }
        children.push_back(pid);
    }
    for (pid_t pid : children) {
        int status = 0;
        waitpid(pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    for (int w = 0; w < kWriters; ++w) {
        for (int k = 0; k < kKeysEach; ++k) {
            const std::string key = "w" + std::to_string(w) + "_" + std::to_string(k);
            char buffer[32];
            EXPECT_GT(VLIBCFileGetKeyValue(file.c_str(), key.c_str(), buffer, sizeof buffer, 0), 0) << key;
        }
    }
}

TEST(KeyValueFileTest, SystemConfigurationFallsBackToTheFactoryDefaults)
{
    TempRoot root;
    root.WriteFile("/etc.defaults/vorninfo.conf", "language=\"enu\"\nhttp_port=\"5000\"\nempty=\"\"\n");
    char buffer[32];
    EXPECT_EQ(VLIBCINFOGetKeyValue("language", buffer, sizeof buffer), 3) << "current file missing";
    EXPECT_STREQ(buffer, "enu");

    EXPECT_EQ(VLIBCINFOSetKeyValue("language", "ger"), -1) << "no /etc to write into";
    root.MakeDirs("/etc");
    ASSERT_EQ(VLIBCINFOSetKeyValue("language", "ger"), 0);
    EXPECT_EQ(root.ReadFile("/etc/vorninfo.conf"), "language=\"ger\"\n");
    EXPECT_EQ(VLIBCINFOGetKeyValue("language", buffer, sizeof buffer), 3);
    EXPECT_STREQ(buffer, "ger");
    EXPECT_EQ(VLIBCINFOGetKeyValue("http_port", buffer, sizeof buffer), 4);
    EXPECT_STREQ(buffer, "5000");
    EXPECT_EQ(VLIBCINFOGetKeyValue("empty", buffer, sizeof buffer), 0);
    EXPECT_EQ(VLIBCINFOGetKeyValue("nowhere", buffer, sizeof buffer), 0);
}

TEST(KeyValueFileTest, ExistTellsAnythingAtThePath)
{
    TempRoot root;
    root.WriteFile("/file", "");
    EXPECT_EQ(VLIBCFileExist(root.Path("/file").c_str()), 1);
    EXPECT_EQ(VLIBCFileExist(root.dir().c_str()), 1);
    EXPECT_EQ(VLIBCFileExist(root.Path("/missing").c_str()), 0);
    EXPECT_EQ(VLIBCFileExist(""), 0);
    EXPECT_EQ(VLIBCFileExist(nullptr), 0);
}

}  // namespace
