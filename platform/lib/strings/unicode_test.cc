// The case-insensitive order of UTF-8 names: what the folder tree shows.

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vorn/unicode.h>

namespace {

int Sign(int value)
{
    return (value > 0) - (value < 0);
}

TEST(UnicodeOrderTest, FoldsCaseAndNormalisation)
{
    struct Row { const char* a; const char* b; int order; };
    const Row rows[] = {
        {"A", "a2", -1},
        {"a2", "b", -1},
        {"readme", "README", 0},
        {"\xc3\x89t\xc3\xa9", "\xc3\xa9T\xc3\x89", 0},       // "Été" and "éTÉ"
        {"caf\xc3\xa9", "cafe\xcc\x81", 0},                   // composed and decomposed é
        {"cafe\xcc\x81", "caff", 1},                          // é (U+00E9) sorts after every ASCII letter
        {"\xe2\x84\xaa", "k", 0},                             // KELVIN SIGN folds to k
        {"Stra\xc3\x9f" "e", "STRASSE", 0},                   // ß folds to ss
        {"\xd0\x9c\xd0\xbe\xd1\x81\xd0\xba\xd0\xb2\xd0\xb0", "\xd0\xbc\xd0\x9e\xd0\xa1\xd0\xba\xd0\xb2\xd0\xb0", 0},
        {"\xce\x91\xce\xb8\xce\xae\xce\xbd\xce\xb1", "\xce\xb1\xce\x98\xce\x89\xce\x9d\xce\x91", 0},
        {"bad\xff", "BAD\xff", 0},                            // not UTF-8: its bytes, ASCII lowered
        {"bad\xff", "bad\xfe", 1},
        {"", "a", -1},
        {nullptr, "", -1},
        {nullptr, nullptr, 0},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Sign(VLIBCUnicodeUTF8StrCaseCmp(row.a, row.b)), row.order) << (row.a ? row.a : "NULL") << " "
                                                                             << (row.b ? row.b : "NULL");
        EXPECT_EQ(Sign(VLIBCUnicodeUTF8StrCaseCmp(row.b, row.a)), -row.order);
    }
}

// A sort needs a total order: every triple of a set of awkward names
// agrees with itself.
TEST(UnicodeOrderTest, IsATotalOrderForSorting)
{
    const std::vector<std::string> names = {
        "b", "A", "a2", "e", "E", "e\xcc\x81", "\xc3\xa9", "f", "\xe2\x84\xaa", "k", "K", "z\xff", "Z",
        "\xe6\x9d\xb1\xe4\xba\xac", "\xce\xb1", "\xce\x91", "", "_", "~", "1", "10", "9"};
    for (const std::string& a : names) {
        for (const std::string& b : names) {
            const int ab = Sign(VLIBCUnicodeUTF8StrCaseCmp(a.c_str(), b.c_str()));
            EXPECT_EQ(ab, -Sign(VLIBCUnicodeUTF8StrCaseCmp(b.c_str(), a.c_str()))) << a << " " << b;
            for (const std::string& c : names) {
                const int bc = Sign(VLIBCUnicodeUTF8StrCaseCmp(b.c_str(), c.c_str()));
                if (ab <= 0 && bc <= 0) {
                    EXPECT_LE(VLIBCUnicodeUTF8StrCaseCmp(a.c_str(), c.c_str()), 0) << a << " " << b << " " << c;
                }
            }
        }
    }
    std::vector<std::string> sorted = {"b", "A", "a2"};
    std::sort(sorted.begin(), sorted.end(), [](const std::string& x, const std::string& y) {
        return VLIBCUnicodeUTF8StrCaseCmp(x.c_str(), y.c_str()) < 0;
    });
    EXPECT_EQ(sorted, (std::vector<std::string>{"A", "a2", "b"}));
}

}  // namespace
