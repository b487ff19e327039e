#include <dirent.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/json_file.h>

#include "testing/temp_root.h"

namespace {

using arx_testing::TempRoot;

TEST(JsonFileTest, LoadsOnlyWholeDocuments)
{
    struct Row {
        const char* description;
        std::string content;
        bool loads;
    };
    const Row rows[] = {
        {"object", "{\"a\": [1, 2]}", true},
        {"indented with a final newline", "{\n    \"a\" : 1\n}\n", true},
        {"array", "[]", true},
        {"truncated", "{\"a\": [1, 2", false},
        {"garbage after the document", "{} trailing", false},
        {"empty", "", false},
        {"nesting beyond the reader's limit", std::string(5000, '['), false},
    };
    TempRoot root;
    for (const Row& row : rows) {
        root.WriteFile("/file.json", row.content);
        Json::Value value("untouched");
        EXPECT_EQ(VORN::JsonFromFile(value, root.Path("/file.json")), row.loads) << row.description;
        if (!row.loads) {
            EXPECT_EQ(value, Json::Value("untouched")) << row.description;
        }
    }
    Json::Value value;
    EXPECT_FALSE(VORN::JsonFromFile(value, root.Path("/missing.json")));
}

std::vector<std::string> Entries(const std::string& dir)
{
    std::vector<std::string> names;
    DIR* d = opendir(dir.c_str());
    while (dirent* entry = readdir(d)) {
        if (std::string(entry->d_name) != "." && std::string(entry->d_name) != "..")
            names.push_back(entry->d_name);
    }
    closedir(d);
    return names;
}

TEST(JsonFileTest, SaveReplacesTheFileWholeAndKeepsItsMode)
{
    TempRoot root;
    root.MakeDirs("/run/csp");
    const std::string path = root.Path("/run/csp/rule");
    Json::Value value;
    value["img-src"].append("'self'");
    ASSERT_TRUE(VORN::JsonToFile(value, path));
    EXPECT_EQ(root.ReadFile("/run/csp/rule"), "{\n    \"img-src\" : \n    [\n        \"'self'\"\n    ]\n}\n");
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0644u);

    chmod(path.c_str(), 0600);
    const ino_t before = st.st_ino;
    ASSERT_TRUE(VORN::JsonToFile(Json::Value(Json::objectValue), path));
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_NE(st.st_ino, before) << "replaced by rename, not rewritten";
    EXPECT_EQ(st.st_mode & 07777, 0600u);
    Json::Value loaded;
    ASSERT_TRUE(VORN::JsonFromFile(loaded, path));
    EXPECT_EQ(loaded, Json::Value(Json::objectValue));
    EXPECT_EQ(Entries(root.Path("/run/csp")), std::vector<std::string>{"rule"}) << "no temporary left";
}

TEST(JsonFileTest, FailedSaveLeavesNothingBehind)
{
    TempRoot root;
    EXPECT_FALSE(VORN::JsonToFile(Json::Value(1), root.Path("/missing/dir/file.json")));
    root.MakeDirs("/target.json");  // a directory where the file should go
    EXPECT_FALSE(VORN::JsonToFile(Json::Value(1), root.Path("/target.json")));
    EXPECT_EQ(Entries(root.dir()), std::vector<std::string>{"target.json"});
}

}  // namespace
