#include <set>
#include <string>

#include <gtest/gtest.h>

#include "cgi/session/base64url.h"
#include "cgi/session/session_id.h"

namespace {

TEST(SessionIdTest, OnlyTheExactFormIsAnId)
{
    struct Row {
        std::string text;
        bool id;
    };
    const Row rows[] = {
        {"AAAAAAAAAAAAAAAAAAAAAA", true},
        {"abcdefghijklmnopqrstu-", false},  // the last character carries bits beyond the 128
        {"abcdefghijklmnopqrstuw", true},
        {"_-_-_-_-_-_-_-_-_-_-_g", true},
        {"AAAAAAAAAAAAAAAAAAAAA", false},   // 21 characters
        {"AAAAAAAAAAAAAAAAAAAAAAA", false}, // 23
        {"AAAAAAAAAAAAAAAAAAAAA=", false},
        {"AAAAAAAAAAAAAAAAAAAA+A", false},  // the other base64 alphabet
        {"AAAAAAAAAAAAAAAAAAA/AA", false},
        {"../AAAAAAAAAAAAAAAAAAA", false},
        {"AAAAAAAAAA.AAAAAAAAAAA", false},
        {std::string("AAAAAAAAAA\0AAAAAAAAAAA", 22), false},
        {"", false},
    };
    for (const Row& row : rows)
        EXPECT_EQ(vorn::IsSessionId(row.text), row.id) << row.text;
}

TEST(SessionIdTest, NewIdsHaveTheFormAndDiffer)
{
    std::set<std::string> ids;
    for (int i = 0; i < 100; ++i) {
        std::string id;
        ASSERT_TRUE(vorn::NewRandomId(id));
        EXPECT_TRUE(vorn::IsSessionId(id)) << id;
        ids.insert(id);
    }
    EXPECT_EQ(ids.size(), 100u);
}

TEST(SessionIdTest, Base64UrlRoundTripAndStrictDecoding)
{
    struct Row {
        std::string bytes;
        std::string text;
    };
    const Row rows[] = {
        {"", ""}, {"f", "Zg"}, {"fo", "Zm8"}, {"foo", "Zm9v"}, {"\xfb\xff", "-_8"}, {"\xff\xfe\xfd", "__79"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(vorn::Base64UrlEncode(row.bytes), row.text);
        std::string decoded;
        EXPECT_TRUE(vorn::Base64UrlDecode(row.text, decoded)) << row.text;
        EXPECT_EQ(decoded, row.bytes);
    }
    std::string decoded;
    for (const char* bad : {"Zg==", "Zh", "Z", "Zm9v!", "Zm 9v"})
        EXPECT_FALSE(vorn::Base64UrlDecode(bad, decoded)) << bad;
}

}  // namespace
