// Mail from templates: placeholders, what may stand in a header, and the
// message a detached sendmail receives.

#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <sstream>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/hash.h>
#include <vorn/mail.h>

#include "lib/mail/mail_message.h"
#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

TEST(MailMessageTest, AddressesThatCannotInjectHeadersOrOptions)
{
    struct Row { const char* address; bool plain; };
    const Row rows[] = {
        {"ann@example.com", true},
        {"a.b+c@mail.example.org", true},
        {"ann@example.com\nBcc: all@example.com", false},
        {"ann@example.com\r", false},
        {"ann@example.com, eve@example.com", false},
        {"ann@example.com,eve@example.com", false},
        {"Ann <ann@example.com>", false},
        {"-oQ/tmp/x@example.com", false},  // an option to sendmail
        {"ann", false},
        {"@example.com", false},
        {"ann@", false},
        {"a@b@c", false},
        {"\"ann\"@example.com", false},
        {"ann@exa mple.com", false},
        {"ann\t@example.com", false},
        {"ann@example.com;rm", false},
        {"\xc3\xa4nn@example.com", false},
        {"", false},
    };
    for (const Row& row : rows)
        EXPECT_EQ(vorn::IsPlainAddress(row.address), row.plain) << row.address;
    EXPECT_FALSE(vorn::IsPlainAddress(std::string(250, 'a') + "@b.cc"));
    for (const char* name : {"userinfo", "user-info_2.en"})
        EXPECT_TRUE(vorn::IsMailTemplateName(name)) << name;
    for (const char* name : {"", ".hidden", "../etc/passwd", "a/b", "a b"})
        EXPECT_FALSE(vorn::IsMailTemplateName(name)) << name;
}

TEST(MailMessageTest, FillsPlaceholdersOnceAndKeepsHeadersWhole)
{
    const auto lookup = [](const std::string& key) -> const char* {
        if (key == "%USER_NAME%")
            return "ann %PASSWD%";
        if (key == "%PASSWD%")
            return "secret";
        if (key == "%EVIL%")
            return "x\nBcc: all@example.com";
        return nullptr;
    };
    EXPECT_EQ(vorn::FillPlaceholders("Hi %USER_NAME%, 100% of %PASSWD% %NONE% %", lookup),
              "Hi ann %PASSWD%, 100% of secret %NONE% %");

    std::string message;
    ASSERT_EQ(vorn::ComposeMessage("Subject: For %PASSWD%\n\nBody %EVIL%\nlines\n", lookup, "ann@example.com", message),
              vorn::MessageResult::kOk);
    EXPECT_EQ(message, "To: ann@example.com\nSubject: For secret\nMIME-Version: 1.0\n"
                       "Content-Type: text/plain; charset=UTF-8\nContent-Transfer-Encoding: 8bit\n\n"
                       "Body x\nBcc: all@example.com\nlines\n") << "line ends in the body are the body's";
    ASSERT_EQ(vorn::ComposeMessage("Subject: Gr\xc3\xbc\xc3\x9f" "e\n\nx", lookup, "a@b.c", message),
              vorn::MessageResult::kOk);
    EXPECT_NE(message.find("Subject: =?UTF-8?B?R3LDvMOfZQ==?=\n"), std::string::npos);
    EXPECT_EQ(vorn::ComposeMessage("Subject: %EVIL%\n\nBody", lookup, "a@b.c", message),
              vorn::MessageResult::kBadSubject);
    EXPECT_EQ(vorn::ComposeMessage("Subject: a\tb\n\n", lookup, "a@b.c", message), vorn::MessageResult::kBadSubject);
    EXPECT_EQ(vorn::ComposeMessage("Hello\n\nBody", lookup, "a@b.c", message), vorn::MessageResult::kNoSubject);
}

class MailSendTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        root_.WriteFile(std::string(VORN_MAIL_TEMPLATE_DIR) + "/userinfo.tmpl",
                        "Subject: Your account %USER_NAME%\n\nUser: %USER_NAME%\nPassword: %PASSWD%\n");
        // The stand-in sendmail records how it was started and what it read.
        root_.WriteFile("/sendmail", "#!/bin/sh\nout=\"$(dirname \"$0\")/sent\"\n"
                                     "{ echo \"$@\"; cat /proc/$$/stat; echo; env; echo ---; cat; } > \"$out.tmp\"\n"
                                     "mv \"$out.tmp\" \"$out\"\n",
                        0755);
        root_.WriteFile(VORN_INFO_FILE, "mail_sendmail_path=\"" + root_.Path("/sendmail") + "\"\n");
        values_ = VLIBCSzHashAlloc(512);
        VLIBCSzHashSetValue(values_, "%USER_NAME%", "ann");
        VLIBCSzHashSetValue(values_, "%PASSWD%", "p%USER_NAME%w");
    }
    void TearDown() override { VLIBCSzHashFree(values_); }

    std::string WaitForSent()
    {
        for (int i = 0; i < 1000; ++i) {
            const std::string sent = root_.ReadFile("/sent");
            if (!sent.empty())
                return sent;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return "";
    }

    arx_testing::TempRoot root_;
    VLIBSZHASH* values_ = nullptr;
};

TEST_F(MailSendTest, ADetachedSendmailReadsTheMessageWithoutTheRequestsEnvironment)
{
    setenv("HTTP_X_EVIL", "() { :; }; echo pwned", 1);
    ASSERT_EQ(VORNMailSendMessageWithoutBlock("userinfo", values_, "ann@example.com", 0), 0);
    unsetenv("HTTP_X_EVIL");
    const std::string sent = WaitForSent();
    std::istringstream lines(sent);
    std::string arguments;
    std::string stat;
    std::getline(lines, arguments);
    std::getline(lines, stat);
    EXPECT_EQ(arguments, "-i -- ann@example.com");
    // /proc/PID/stat: pid (comm) state ppid pgrp session ...
    std::istringstream fields(stat.substr(stat.rfind(')') + 2));
    std::string state;
    long ppid = 0;
    long group = 0;
    long session = 0;
    fields >> state >> ppid >> group >> session;
    EXPECT_EQ(session, atol(stat.c_str())) << "a session of its own";
    EXPECT_NE(ppid, static_cast<long>(getpid())) << "not the caller's child";
    EXPECT_EQ(sent.find("HTTP_X_EVIL"), std::string::npos);
    EXPECT_NE(sent.find("---\nTo: ann@example.com\nSubject: Your account ann\n"), std::string::npos) << sent;
    EXPECT_NE(sent.find("\n\nUser: ann\nPassword: p%USER_NAME%w\n"), std::string::npos) << sent;
}

TEST_F(MailSendTest, RefusedBeforeAnythingStarts)
{
    arx_testing::LogCapture log;
    struct Row { const char* name; const char* recipient; int code; };
    const Row rows[] = {
        {"userinfo", "ann@example.com\nBcc: all@example.com", VLIB_ERR_HEADER_REFUSED},
        {"userinfo", "-bd", VLIB_ERR_HEADER_REFUSED},
        {"../../etc/passwd", "ann@example.com", VLIB_ERR_BAD_PARAMETERS},
        {"missing", "ann@example.com", VLIB_ERR_OPEN_FAILED},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(VORNMailSendMessageWithoutBlock(row.name, values_, row.recipient, 0), -1) << row.name;
        EXPECT_EQ(VLIBCErrGet(), row.code) << row.name;
    }
    VLIBCSzHashSetValue(values_, "%USER_NAME%", "ann\r\nBcc: all@example.com");
    EXPECT_EQ(VORNMailSendMessageWithoutBlock("userinfo", values_, "ann@example.com", 0), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_HEADER_REFUSED) << "a value that would end the subject line";
    VLIBCSzHashSetValue(values_, "%USER_NAME%", "ann");
    root_.WriteFile(VORN_INFO_FILE, "mail_sendmail_path=\"" + root_.Path("/none") + "\"\n");
    EXPECT_EQ(VORNMailSendMessageWithoutBlock("userinfo", values_, "ann@example.com", 0), -1);
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_NOT_FOUND);
    EXPECT_EQ(root_.ReadFile("/sent"), "");
    ASSERT_FALSE(log.texts().empty());
    EXPECT_NE(log.texts().back().find("is missing, mail userinfo dropped"), std::string::npos);
}

}  // namespace
