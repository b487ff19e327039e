#include <string>

#include <gtest/gtest.h>
#include <vorn/webserver.h>

#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::LogCapture;
using arx_testing::TempRoot;

TEST(WebServerTest, PortsComeFromTheConfigurationOrTheirDefaults)
{
    struct Row {
        const char* description;
        std::string current;
        std::string defaults;
        int http;
        int https;
        size_t logLines;
    };
    const Row rows[] = {
        {"no configuration at all", "", "", 5000, 5001, 0},
        {"factory defaults", "", "http_port=\"80\"\nhttps_port=\"443\"\n", 80, 443, 0},
        {"current values over the defaults", "http_port=\"8080\"\n", "http_port=\"80\"\nhttps_port=\"443\"\n", 8080,
         443, 0},
        {"highest port", "http_port=\"65535\"\nhttps_port=\"1\"\n", "", 65535, 1, 0},
        {"zero is no port", "http_port=\"0\"\n", "", 5000, 5001, 1},
        {"beyond 16 bits", "https_port=\"65536\"\n", "", 5000, 5001, 1},
        {"trailing text", "http_port=\"80x\"\n", "", 5000, 5001, 1},
        {"sign", "https_port=\"+443\"\n", "", 5000, 5001, 1},
        {"negative", "http_port=\"-1\"\n", "", 5000, 5001, 1},
        {"blank inside", "http_port=\"8 0\"\n", "", 5000, 5001, 1},
    };
    for (const Row& row : rows) {
        TempRoot root;
        root.WriteFile("/etc/vorninfo.conf", row.current);
        root.WriteFile("/etc.defaults/vorninfo.conf", row.defaults);
        LogCapture log;
        const vornw3::Engine engine;
        EXPECT_EQ(engine.GetARX().GetHttpPort(), row.http) << row.description;
        EXPECT_EQ(engine.GetARX().GetHttpsPort(), row.https) << row.description;
        EXPECT_EQ(log.lines().size(), row.logLines) << row.description;
    }
}

TEST(WebServerTest, RefusedValueIsNamedInTheLog)
{
    TempRoot root;
    root.WriteFile("/etc/vorninfo.conf", "https_port=\"secure\"\n");
    LogCapture log;
    EXPECT_EQ(VORNWebServerPortGet(1), 5001);
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(arx_testing::WithoutLineNumber(log.lines()[0].text),
              "web_server:# https_port [secure] is not a port, using 5001");
}

}  // namespace
