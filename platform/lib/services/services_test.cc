// Port conflicts between services, and domain membership.

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/service.h>

#include "testing/temp_root.h"

namespace {

TEST(PortConflictTest, OverlapsWithOtherServices)
{
    arx_testing::TempRoot root;
    root.WriteFile(VORN_PORTS_FILE,
                   "[ftp]\ntcp=21,55536:55899\n"
                   "[http]\ntcp=80,443\n"
                   "[http_extra]\ntcp=8080\n"
                   "[dns]\nudp=53\n"
                   "[broken]\ntcp=80x\n"
                   "[reserved]\ntcp=6000:6010\n");
    root.WriteFile(VORN_INFO_FILE, "http_port=\"5000\"\nhttps_port=\"5001\"\n");
    struct Row { const char* excluded; const char* ports; const char* protocol; int checks; int result; const char* first; };
    const Row rows[] = {
        {"http", "21", "tcp", VORN_PORT_CHECK_ALL, 1, "ftp"},
        {"ftp", "21", "tcp", VORN_PORT_CHECK_ALL, 0, nullptr},          // its own port
        {"ssh", "55000:55600", "tcp", VORN_PORT_CHECK_ALL, 1, "ftp"},    // ranges overlap
        {"ssh", "55900:56000", "tcp", VORN_PORT_CHECK_ALL, 0, nullptr},
        {"ssh", "80,8080", "tcp", VORN_PORT_CHECK_ALL, 2, "http"},
        {"ssh", "80,8080", "tcp", VORN_PORT_CHECK_SERVICES, 2, "http"},
        {"http, http_extra", "80,8080", "tcp", VORN_PORT_CHECK_ALL, 0, nullptr},
        {"ssh", "5001", "tcp", VORN_PORT_CHECK_ALL, 1, "webui"},
        {"ssh", "5001", "tcp", VORN_PORT_CHECK_SERVICES, 0, nullptr},
        {"ssh", "6005", "tcp", VORN_PORT_CHECK_ALL, 1, "reserved"},
        {"ssh", "6005", "tcp", VORN_PORT_CHECK_SERVICES | VORN_PORT_CHECK_WEB_UI, 0, nullptr},
        {"ssh", "53", "udp", VORN_PORT_CHECK_ALL, 1, "dns"},
        {"ssh", "53", "tcp", VORN_PORT_CHECK_ALL, 0, nullptr},
        {"ssh", "0", "tcp", VORN_PORT_CHECK_ALL, -1, nullptr},
        {"ssh", "70000", "tcp", VORN_PORT_CHECK_ALL, -1, nullptr},
        {"ssh", "10:9", "tcp", VORN_PORT_CHECK_ALL, -1, nullptr},
        {"ssh", "22", "sctp", VORN_PORT_CHECK_ALL, -1, nullptr},
        {"ssh", "", "tcp", VORN_PORT_CHECK_ALL, -1, nullptr},
    };
    for (const Row& row : rows) {
        VORN_SERVICE_PORT* list = nullptr;
        EXPECT_EQ(VLIBIsPortConflict(row.excluded, row.ports, row.protocol, row.checks, &list), row.result)
            << row.excluded << " " << row.ports;
        EXPECT_STREQ(list != nullptr ? list->szService : nullptr, row.first) << row.ports;
        VORNServiceConfPortsFree(list);
    }
    EXPECT_EQ(VLIBIsPortConflict("x", "21", "tcp", VORN_PORT_CHECK_ALL, nullptr), 1) << "no list asked for";
}

TEST(DomainTest, MembershipFromTheConfiguration)
{
    arx_testing::TempRoot root;
    char name[64] = "";
    EXPECT_EQ(VORNWinsIsJoined(), 0);
    EXPECT_EQ(VORNWinsRealmGet(name, sizeof name), -1);
    root.WriteFile(VORN_INFO_FILE, "domain_joined=yes\ndomain_type=ads\nads_realm=CORP.EXAMPLE.COM\nworkgroup=CORP\n");
    EXPECT_EQ(VORNWinsIsJoined(), 1);
    EXPECT_EQ(VORNWinsADSJoined(), 1);
    EXPECT_EQ(VORNWinsRealmGet(name, sizeof name), 16);
    EXPECT_STREQ(name, "CORP.EXAMPLE.COM");
    EXPECT_EQ(VORNWorkgroupGet(name, 4), -1) << "does not fit";
    EXPECT_EQ(VLIBCErrGet(), VLIB_ERR_BUFFER_TOO_SMALL);
    root.WriteFile(VORN_INFO_FILE, "domain_joined=yes\ndomain_type=workgroup\nworkgroup=HOME\n");
    EXPECT_EQ(VORNWinsADSJoined(), 0);
    EXPECT_EQ(VORNWorkgroupGet(name, sizeof name), 4);
    EXPECT_STREQ(name, "HOME");
}

}  // namespace
