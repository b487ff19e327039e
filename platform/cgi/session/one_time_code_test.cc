// Two-step login: time-based one-time codes.

#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include <vorn/cgi.h>
#include <vorn/session.h>

#include "cgi/session/one_time_code.h"
#include "cgi/session/session_test_support.h"
#include "testing/cgi_record.h"
#include "testing/child_process.h"
#include "testing/sessions.h"

namespace {

using arx_testing::CgiRecord;
using arx_testing::kAlice;

constexpr char kSecret[] = "/usr/vorn/etc/otp/alice";
constexpr char kUsed[] = "/usr/vorn/etc/otp/alice.used";

// RFC 6238 appendix B, SHA-1: the 8-digit codes cut to the last 6 digits.
TEST(OneTimeCodeTest, ReferenceValues)
{
    const std::string key = "12345678901234567890";
    struct Row {
        long long time;
        unsigned code;
    };
    const Row rows[] = {
        {59, 287082}, {1111111109, 81804}, {1111111111, 50471}, {1234567890, 5924}, {2000000000, 279037},
        {20000000000, 353130},
    };
    for (const Row& row : rows) {
        unsigned code = 0;
        ASSERT_TRUE(vorn::OneTimeCodeOf(key, static_cast<unsigned long long>(row.time / 30), code));
        EXPECT_EQ(code, row.code) << row.time;
    }
}

TEST(OneTimeCodeTest, Base32Secrets)
{
    struct Row {
        const char* text;
        bool ok;
        std::string bytes;
    };
    const Row rows[] = {
        {"GEZDGNBVGY3TQOJQGEZDGNBVGY3TQOJQ", true, "12345678901234567890"},
        {"gezd gnbv gy3t qojq gezd gnbv gy3t qojq", true, "12345678901234567890"},
        {"MZXW6===", true, "foo"},
        {"MZXW6===A", false, ""},
        {"MZXW1", false, ""},  // '1' is not in the alphabet
        {"", true, ""},
    };
    for (const Row& row : rows) {
        std::string bytes;
        EXPECT_EQ(vorn::DecodeBase32(row.text, bytes), row.ok) << row.text;
        if (row.ok) {
            EXPECT_EQ(bytes, row.bytes) << row.text;
        }
    }
}

class TwoStepLoginTest : public vorn_testing::SessionTest {
protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        root_.WriteFile(kSecret, "GEZDGNBVGY3TQOJQGEZDGNBVGY3TQOJQ\n", 0600);
    }

    static std::string CodeAt(long long time)
    {
        unsigned code = 0;
        EXPECT_TRUE(vorn::OneTimeCodeOf("12345678901234567890", static_cast<unsigned long long>(time / 30), code));
        char text[8];
        snprintf(text, sizeof text, "%06u", code);
        return text;
    }

    // A time well inside a 30 s step, so that the login sees the same step.
    static long long StepTime()
    {
        while (time(nullptr) % 30 >= 25)
            sleep(1);
        return time(nullptr);
    }

    static int Login(const char* code)
    {
        CgiRecord cgi;
        VORN_LOGIN_PARAMS params = {"alice", kAlice.password, nullptr};
        return code == nullptr ? VornCgiLogin(cgi.get(), nullptr, 0, &params)
                               : VornCgiLoginWithOTPAuth(cgi.get(), nullptr, 0, &params, code);
    }
};

TEST_F(TwoStepLoginTest, TheCodeIsNeededAndAcceptedOnce)
{
    const long long now = StepTime();
    EXPECT_EQ(Login(nullptr), VORN_LOGIN_OTP_NEEDED);
    EXPECT_EQ(Login(""), VORN_LOGIN_OTP_NEEDED);
    EXPECT_EQ(root_.ReadFile("/run/vorn/autoblock/ip-127.0.0.1"), "") << "being asked for the code is no failure";

    CgiRecord cgi;
    VORN_LOGIN_PARAMS wrongPassword = {"alice", "wrong", nullptr};
    EXPECT_EQ(VornCgiLoginWithOTPAuth(cgi.get(), nullptr, 0, &wrongPassword, CodeAt(now).c_str()),
              VORN_LOGIN_WRONG) << "the code does not replace the password";
    arx_testing::RemoveTree(root_.Path("/run/vorn/autoblock"));

    const std::string code = CodeAt(now - 30);
    EXPECT_EQ(Login(code.c_str()), VORN_LOGIN_SUCCESS) << "one step of tolerance";
    EXPECT_EQ(Login(code.c_str()), VORN_LOGIN_OTP_NEEDED) << "never twice";
    EXPECT_NE(root_.ReadFile("/run/vorn/autoblock/ip-127.0.0.1"), "") << "a refused code counts";
    EXPECT_EQ(Login(CodeAt(now).c_str()), VORN_LOGIN_SUCCESS);
    EXPECT_EQ(Login(CodeAt(now - 30).c_str()), VORN_LOGIN_OTP_NEEDED) << "nor an older one after a newer";
}

TEST_F(TwoStepLoginTest, CodesOutsideTheWindowOrMalformed)
{
    const long long now = time(nullptr);
    for (const std::string& code : {CodeAt(now - 90), CodeAt(now + 90), std::string("12345"),
                                    std::string("1234567"), std::string("12a456"), std::string(" 123456")})
        EXPECT_EQ(Login(code.c_str()), VORN_LOGIN_OTP_NEEDED) << code;

    root_.WriteFile(kSecret, "not base32!\n", 0600);
    EXPECT_EQ(Login(CodeAt(now).c_str()), VORN_LOGIN_SYSTEM_ERROR) << "a broken secret locks out, it never lets in";
}

TEST_F(TwoStepLoginTest, ARecordThatCannotBeUsedRefusesTheLogin)
{
    const std::string secret = root_.Path(kSecret);
    const std::string used = root_.Path(kUsed);
    struct Row {
        const char* description;
        std::function<void()> plant;
        int withoutCode;
    };
    const Row rows[] = {
        {"an empty secret", [&] { root_.WriteFile(kSecret, "", 0600); }, VORN_LOGIN_SYSTEM_ERROR},
        {"a secret of 40 bits", [&] { root_.WriteFile(kSecret, "GEZDGNBV\n", 0600); }, VORN_LOGIN_SYSTEM_ERROR},
        {"a link to a usable secret",
         [&] {
             root_.WriteFile("/usr/vorn/etc/otp/elsewhere", "GEZDGNBVGY3TQOJQGEZDGNBVGY3TQOJQ\n", 0600);
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
        root_.WriteFile(kSecret, "GEZDGNBVGY3TQOJQGEZDGNBVGY3TQOJQ\n", 0600);
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
