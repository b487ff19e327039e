// Two-step login: time-based one-time codes from the root-only store.

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include <vorn/session.h>

#include "cgi/session/one_time_code.h"
#include "cgi/session/session_test_support.h"
#include "testing/child_process.h"

namespace {

using vorn_testing::LogIn;

constexpr char kSecret[] = "/usr/vorn/etc/otp/alice";
constexpr char kUsed[] = "/usr/vorn/etc/otp/alice.used";
constexpr char kBase32Key[] = "GEZDGNBVGY3TQOJQGEZDGNBVGY3TQOJQ\n";  // "12345678901234567890"

// RFC 6238 appendix B (SHA-1), the 8-digit codes cut to 6; and base32.
TEST(OneTimeCodeTest, ReferenceValuesAndBase32)
{
    for (const auto& [time, expected] : {std::pair<long long, unsigned>{59, 287082}, {1234567890, 5924},
                                         {20000000000, 353130}}) {
        unsigned code = 0;
        EXPECT_TRUE(vorn::OneTimeCodeOf("12345678901234567890", static_cast<unsigned long long>(time / 30), code));
        EXPECT_EQ(code, expected) << time;
    }
    std::string bytes;
    EXPECT_TRUE(vorn::DecodeBase32(kBase32Key, bytes) && bytes == "12345678901234567890");
    EXPECT_TRUE(vorn::DecodeBase32("mzxw 6===", bytes) && bytes == "foo") << "any case, blanks, padding";
    EXPECT_FALSE(vorn::DecodeBase32("MZXW6===A", bytes)) << "text after the padding";
}

class TwoStepLoginTest : public vorn_testing::SessionTest {
protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        root_.WriteFile(kSecret, kBase32Key, 0600);
    }
    static std::string CodeAt(long long time)
    {
        unsigned code = 0;
        EXPECT_TRUE(vorn::OneTimeCodeOf("12345678901234567890", static_cast<unsigned long long>(time / 30), code));
        char text[8];
        snprintf(text, sizeof text, "%06u", code);
        return text;
    }
    static int Login(const char* code, const char* password = arx_testing::kAlice.password)
    {
        return LogIn("alice", password, "127.0.0.1", code).result;
    }
    bool Counted() const { return !root_.ReadFile("/run/vorn/autoblock/ip-127.0.0.1").empty(); }
};

TEST_F(TwoStepLoginTest, TheCodeIsNeededAndAcceptedOnce)
{
    while (time(nullptr) % 30 >= 25)  // well inside a step, so that the login sees the same one
        sleep(1);
    const long long now = time(nullptr);
    EXPECT_EQ(Login(nullptr), VORN_LOGIN_OTP_NEEDED);
    EXPECT_EQ(Login(""), VORN_LOGIN_OTP_NEEDED);
    EXPECT_FALSE(Counted()) << "being asked for the code is no failure";
    EXPECT_EQ(Login(CodeAt(now).c_str(), "wrong"), VORN_LOGIN_WRONG) << "the code does not replace the password";
    arx_testing::RemoveTree(root_.Path("/run/vorn/autoblock"));
    struct Row { const char* description; std::string code; int expected; };
    const Row rows[] = {
        {"one step of tolerance", CodeAt(now - 30), VORN_LOGIN_SUCCESS},
        {"a later step", CodeAt(now), VORN_LOGIN_SUCCESS},
        {"nor an older one after a newer", CodeAt(now - 30), VORN_LOGIN_OTP_NEEDED},
        {"outside the window", CodeAt(now + 90), VORN_LOGIN_OTP_NEEDED},
        {"five digits", "12345", VORN_LOGIN_OTP_NEEDED},
        {"not digits", "12a456", VORN_LOGIN_OTP_NEEDED},
    };
    for (const Row& row : rows)
        EXPECT_EQ(Login(row.code.c_str()), row.expected) << row.description;
    EXPECT_TRUE(Counted()) << "a refused code counts";
}

TEST_F(TwoStepLoginTest, ARecordThatCannotBeUsedRefusesTheLogin)
{
    const std::string secret = root_.Path(kSecret), used = root_.Path(kUsed);
    struct Row { const char* description; std::function<void()> plant; int withoutCode; };
    const Row rows[] = {
        {"an empty secret", [&] { root_.WriteFile(kSecret, "", 0600); }, VORN_LOGIN_SYSTEM_ERROR},
        {"a secret of 40 bits", [&] { root_.WriteFile(kSecret, "GEZDGNBV\n", 0600); }, VORN_LOGIN_SYSTEM_ERROR},
        {"a secret that is not base32", [&] { root_.WriteFile(kSecret, "not base32!\n", 0600); },
         VORN_LOGIN_SYSTEM_ERROR},
        {"a link to a usable secret",
         [&] {
             root_.WriteFile("/usr/vorn/etc/otp/elsewhere", kBase32Key, 0600);
             unlink(secret.c_str());
             symlink("elsewhere", secret.c_str());
         },
         VORN_LOGIN_SYSTEM_ERROR},
        {"a FIFO for a secret", [&] { unlink(secret.c_str()); mkfifo(secret.c_str(), 0600); }, VORN_LOGIN_SYSTEM_ERROR},
        {"a directory for a secret", [&] { unlink(secret.c_str()); mkdir(secret.c_str(), 0700); },
         VORN_LOGIN_SYSTEM_ERROR},
        {"a FIFO for the used codes", [&] { mkfifo(used.c_str(), 0600); }, VORN_LOGIN_OTP_NEEDED},
        {"a link for the used codes", [&] { symlink("/dev/null", used.c_str()); }, VORN_LOGIN_OTP_NEEDED},
        {"used codes that are no step", [&] { root_.WriteFile(kUsed, "", 0600); }, VORN_LOGIN_OTP_NEEDED},
    };
    for (const Row& row : rows) {
        root_.WriteFile(kSecret, kBase32Key, 0600);
        row.plant();
        const auto run = arx_testing::RunInChild([&] {
            alarm(10);  // a login waiting on a FIFO ends here instead of hanging the test
            printf("%d %d", Login(nullptr), Login(CodeAt(time(nullptr)).c_str()));
        });
        EXPECT_EQ(run.output, std::to_string(row.withoutCode) + " -1") << row.description;
        EXPECT_FALSE(run.logLines.empty()) << row.description << ": the reason is logged";
        arx_testing::RemoveTree(root_.Path("/usr/vorn/etc/otp"));
    }
}

}  // namespace
