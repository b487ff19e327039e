// Whole-file JSON.  The indented text of a save is also checked byte for
// byte by the generated rule files (security/testdata), and the atomic
// replacement beneath it by base/file_test.cc.

#include <sys/stat.h>

#include <string>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/json_file.h>

#include "testing/temp_root.h"

namespace {

TEST(JsonFileTest, LoadsOnlyWholeDocuments)
{
    struct Row {
        const char* description;
        std::string content;  // "-": no file
        bool loads;
    };
    const Row rows[] = {
        {"indented with comments and a final newline", "// settings\n{\n    \"a\" : [1, 2] /* two */\n}\n", true},
        {"missing file", "-", false},
        {"truncated", "{\"a\": [1, 2", false},
        {"garbage after the document", "{} trailing", false},
        {"empty", "", false},
        {"nesting beyond the reader's limit", std::string(5000, '['), false},
    };
    for (const Row& row : rows) {
        arx_testing::TempRoot root;
        if (row.content != "-")
            root.WriteFile("/file.json", row.content);
        Json::Value value("untouched");
        EXPECT_EQ(VORN::JsonFromFile(value, root.Path("/file.json")), row.loads) << row.description;
        EXPECT_EQ(value == Json::Value("untouched"), !row.loads) << row.description;
    }
}

TEST(JsonFileTest, SaveReplacesTheFileAndKeepsItsMode)
{
    arx_testing::TempRoot root;
    const std::string path = root.Path("/rule");
    ASSERT_TRUE(VORN::JsonToFile(Json::Value(Json::objectValue), path));
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0644u) << "a new file";

    chmod(path.c_str(), 0600);
    const ino_t before = st.st_ino;
    Json::Value value;
    value["img-src"].append("'self'");
    ASSERT_TRUE(VORN::JsonToFile(value, path));
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_NE(st.st_ino, before) << "replaced by rename, not rewritten";
    EXPECT_EQ(st.st_mode & 07777, 0600u);
    Json::Value loaded;
    ASSERT_TRUE(VORN::JsonFromFile(loaded, path));
    EXPECT_EQ(loaded, value);
}

}  // namespace
