// System information: names, versions, mounts, ports and the user's
// mail.  This binary defines the platform's port check and mail sender
// itself, to see what the helpers ask of them.

#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/webutils.h>
#include <vorn/file.h>
#include <vorn/hash.h>
#include <vorn/mount.h>
#include <vorn/service.h>

#include "testing/interpose.h"
#include "testing/temp_root.h"

namespace {

struct PortCall {
    std::string excluded;
    std::string ports;
    std::string protocol;
    int checks;
};
std::vector<PortCall> g_portCalls;

struct MailCall {
    std::string name;
    std::string recipient;
    std::string user;
    std::string password;
};
std::vector<MailCall> g_mails;

}  // namespace

extern "C" int VLIBIsPortConflict(const char* excluded, const char* ports, const char* protocol, int checks,
                                  VORN_SERVICE_PORT** conflicts)
{
    g_portCalls.push_back(PortCall{excluded, ports, protocol, checks});
    return ARX_NEXT(VLIBIsPortConflict)(excluded, ports, protocol, checks, conflicts);
}

extern "C" int VORNMailSendMessageWithoutBlock(const char* name, const VLIBSZHASH* values, const char* recipient,
                                               int /*flags*/)
{
    const char* user = VLIBCSzHashGetValue(values, "%USER_NAME%");
    const char* password = VLIBCSzHashGetValue(values, "%PASSWD%");
    g_mails.push_back(MailCall{name, recipient, user ? user : "(none)", password ? password : "(none)"});
    return 0;
}

namespace {

TEST(SystemInfoTest, VersionsAreReadOnceAndNamesFromThePlatform)
{
    arx_testing::TempRoot root;
    root.WriteFile("/etc.defaults/VERSION", "productversion=\"7.2\"\nsmallfixnumber=\"123456789\"\n");
    EXPECT_EQ(WebUtils::GetVersion(), "1") << "no buildnumber";
    EXPECT_EQ(WebUtils::GetSmallFixNum(), "1234567") << "at most 7 characters";
    root.WriteFile("/etc.defaults/VERSION", "buildnumber=\"64570\"\nsmallfixnumber=\"3\"\n");
    EXPECT_EQ(WebUtils::GetVersion(), "1") << "kept for the life of the process";
    EXPECT_EQ(WebUtils::GetSmallFixNum(), "1234567");

    EXPECT_EQ(WebUtils::getThemeCls(), "default");
    root.WriteFile(VORN_INFO_FILE, "theme=\"\"\n");
    EXPECT_EQ(WebUtils::getThemeCls(), "default");
    root.WriteFile(VORN_INFO_FILE, "theme=\"dark\"\n");
    EXPECT_EQ(WebUtils::getThemeCls(), "dark");

    EXPECT_EQ(WebUtils::GetDomainName(), "");
    root.WriteFile(VORN_INFO_FILE, "domain_joined=yes\ndomain_type=ads\nads_realm=CORP.EXAMPLE\nworkgroup=CORP\n");
    EXPECT_EQ(WebUtils::GetDomainName(), "CORP.EXAMPLE");
    root.WriteFile(VORN_INFO_FILE, "domain_joined=yes\nworkgroup=HOME\n");
    EXPECT_EQ(WebUtils::GetDomainName(), "HOME");
    root.WriteFile(VORN_INFO_FILE, "domain_joined=yes\n");
    EXPECT_EQ(WebUtils::GetDomainName(), "") << "joined, but no name";

    char host[256] = "";
    gethostname(host, sizeof host);
    EXPECT_EQ(WebUtils::GetServerName(), host);

    root.WriteFile("/empty", "");
    root.WriteFile("/full", "x");
    root.MakeDirs("/dir");
    EXPECT_TRUE(WebUtils::checkFileExist(root.Path("/full")));
    EXPECT_FALSE(WebUtils::checkFileExist(root.Path("/empty"))) << "empty counts as missing";
    EXPECT_FALSE(WebUtils::checkFileExist(root.Path("/dir")));
    EXPECT_FALSE(WebUtils::checkFileExist(root.Path("/none")));
}

TEST(SystemInfoTest, MountTypesOfLocalImageRemoteAndGoneRemoteMounts)
{
    arx_testing::TempRoot root;
    root.WriteFile(VORN_MOUNT_TABLE,
                   "/dev/md2 /volume1 ext4 rw 0 0\n"
                   "/dev/loop0 /volume1/disc udf ro 0 0\n"
                   "srv:/x /volume1/nfs nfs rw 0 0\n"
                   "//srv/y /volume1/smb cifs rw 0 0\n"
                   "srv:/z /volume1/gone nfs rw 0 0\n");
    for (const char* dir : {"/volume1/disc", "/volume1/nfs", "/volume1/smb", "/volume1/local"})
        root.MakeDirs(dir);
    struct Row { const char* path; bool mountPoint; const char* type; };
    const Row rows[] = {
        {"/volume1", true, ""},
        {"/volume1/local", false, ""},
        {"/volume1/disc", true, "iso"},
        {"/volume1/nfs", true, "remote"},
        {"/volume1/smb", true, "remote"},
        {"/volume1/gone", false, "remotefail"},  // the server is gone: its mount point cannot be examined
    };
    for (const Row& row : rows) {
        EXPECT_EQ(WebUtils::IsMountPoint(root.Path(row.path)), row.mountPoint) << row.path;
        EXPECT_EQ(WebUtils::getMountType(root.Path(row.path)), row.type) << row.path;
    }
}

TEST(SystemInfoTest, PortTextsAndTheServicesLeftOut)
{
    arx_testing::TempRoot root;
    root.WriteFile(VORN_PORTS_FILE, "[ssh]\ntcp=22\n[http]\ntcp=80\n[http_extra]\ntcp=8080\n");
    g_portCalls.clear();
    EXPECT_FALSE(WebUtils::IsPortConflict("http", 0, 0));
    EXPECT_FALSE(WebUtils::IsPortConflict("x", 10, 9));
    EXPECT_TRUE(g_portCalls.empty()) << "not asked";
    EXPECT_TRUE(WebUtils::IsPortConflict("ftp", 22, 22));
    EXPECT_FALSE(WebUtils::IsPortConflict("ssh", 22, 22));
    EXPECT_TRUE(WebUtils::IsPortConflict("http", 8000, 8100));
    root.WriteFile(VORN_INFO_FILE, "addport=\"yes\"\n");
    EXPECT_FALSE(WebUtils::IsPortConflict("http", 8000, 8100));
    EXPECT_TRUE(WebUtils::IsPortConflict("ftp", 8000, 8100));
    ASSERT_EQ(g_portCalls.size(), 5u);
    EXPECT_EQ(g_portCalls[0].ports, "22") << "one port: no colon";
    EXPECT_EQ(g_portCalls[0].excluded, "ftp");
    EXPECT_EQ(g_portCalls[0].protocol, "tcp");
    EXPECT_EQ(g_portCalls[0].checks, 28);
    EXPECT_EQ(g_portCalls[2].ports, "8000:8100");
    EXPECT_EQ(g_portCalls[2].excluded, "http");
    EXPECT_EQ(g_portCalls[3].excluded, "http, http_extra");
    EXPECT_EQ(g_portCalls[4].excluded, "ftp");
}

TEST(SystemInfoTest, TheUserInformationMail)
{
    arx_testing::TempRoot root;
    root.WriteFile("/usr/vorn/vornman/webman/texts/enu/strings", "[common]\nno_pw = (no password)\n");
    setenv("HTTP_ACCEPT_LANGUAGE", "en", 1);
    g_mails.clear();
    WebUtils::SendUserInfoMail("ann", "secret", "", "userinfo", true);
    EXPECT_TRUE(g_mails.empty()) << "no recipient, no mail";
    WebUtils::SendUserInfoMail("ann", "secret", "ann@example.com", "userinfo", false);
    WebUtils::SendUserInfoMail("ann", "secret", "ann@example.com", "userinfo", true);
    WebUtils::SendUserInfoMail("ann", "", "ann@example.com", "welcome", true);
    unsetenv("HTTP_ACCEPT_LANGUAGE");
    ASSERT_EQ(g_mails.size(), 3u);
    EXPECT_EQ(g_mails[0].password, "********");
    EXPECT_EQ(g_mails[0].user, "ann");
    EXPECT_EQ(g_mails[0].recipient, "ann@example.com");
    EXPECT_EQ(g_mails[0].name, "userinfo");
    EXPECT_EQ(g_mails[1].password, "secret");
    EXPECT_EQ(g_mails[2].password, "(no password)");
    EXPECT_EQ(g_mails[2].name, "welcome");
}

}  // namespace
