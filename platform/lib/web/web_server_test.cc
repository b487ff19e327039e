#include <string>

#include <gtest/gtest.h>
#include <vorn/webserver.h>

#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

TEST(WebServerTest, PortsComeFromTheConfigurationOrTheirDefaults)
{
    // The configuration and its factory defaults; the ports; the line logged ("" for none).
    struct Row { const char* description; std::string current, defaults; int http, https; const char* log; };
    const Row rows[] = {
        {"no configuration at all", "", "", 5000, 5001, ""},
        {"factory defaults", "", "http_port=\"80\"\nhttps_port=\"443\"\n", 80, 443, ""},
        {"current values over the defaults", "http_port=\"8080\"\n", "https_port=\"443\"\n", 8080, 443, ""},
        {"the range's ends", "http_port=\"65535\"\nhttps_port=\"1\"\n", "", 65535, 1, ""},
        {"zero is no port", "http_port=\"0\"\n", "", 5000, 5001,
         "web_server:# http_port [0] is not a port, using 5000"},
        {"beyond 16 bits", "https_port=\"65536\"\n", "", 5000, 5001,
         "web_server:# https_port [65536] is not a port, using 5001"},
        {"trailing text", "http_port=\"80x\"\n", "", 5000, 5001,
         "web_server:# http_port [80x] is not a port, using 5000"},
        {"a sign", "https_port=\"+443\"\n", "", 5000, 5001, "web_server:# https_port [+443] is not a port, using 5001"},
    };
    for (const Row& row : rows) {
        arx_testing::TempRoot root;
        root.WriteFile("/etc/vorninfo.conf", row.current);
        root.WriteFile("/etc.defaults/vorninfo.conf", row.defaults);
        arx_testing::LogCapture log;
        const vornw3::Engine engine;
        EXPECT_EQ(engine.GetARX().GetHttpPort(), row.http) << row.description;
        EXPECT_EQ(engine.GetARX().GetHttpsPort(), row.https) << row.description;
        const std::string lines = log.lines().empty() ? "" : arx_testing::WithoutLineNumber(log.lines()[0].text);
        EXPECT_EQ(lines, row.log) << row.description;
    }
}

}  // namespace
