// Cost of the security headers of one request, with 100 installed rule
// configs and the generated rule already in place, against reading and
// parsing the generated rule alone (which no request can avoid).
//
//   csp_headers_bench [google benchmark options]
//
// The appliance lives in a scratch root (VORN_ROOT) made before the first
// measurement and removed afterwards.

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <benchmark/benchmark.h>
#include <json/json.h>

#include <arx/csp_rule.h>
#include <arx/json_file.h>
#include <arx/security_options.h>
#include <vorn/root.h>

namespace {

constexpr int kConfigs = 100;

// A demo-like default rule.
constexpr char kDefaultRule[] = R"({
    "default-src": ["'none'"], "base-uri": ["'self'"], "child-src": ["'self'"],
    "connect-src": ["'self'", "wss://{HOSTNAME}:5001"], "font-src": ["'self'"], "form-action": ["'self'"],
    "frame-ancestors": ["'self'"], "frame-src": ["'self'"], "img-src": ["'self'", "data:"],
    "media-src": ["'self'"], "object-src": ["'none'"], "script-src": ["'self'"], "style-src": ["'self'"]
})";

void WriteText(const std::string& path, const std::string& text)
{
    FILE* file = fopen(path.c_str(), "w");
    if (file == nullptr || fputs(text.c_str(), file) < 0 || fclose(file) != 0)
        abort();
}

// An application's config: a few hosts of its own, a page of its own for
// one application in ten.
Json::Value Config(int app)
{
    const std::string host = "app" + std::to_string(app) + ".example.net";
    Json::Value config;
    for (const char* name : {"img", "tiles", "thumbs"})
        config["rule"]["img-src"].append(std::string("https://") + name + "." + host);
    config["rule"]["connect-src"].append("https://api." + host + "/v1");
    config["rule"]["connect-src"].append("wss://push." + host);
    config["rule"]["child-src"].append("https://player." + host);
    config["rule"]["font-src"].append("https://fonts." + host);
    if (app % 10 == 0) {
        config["rule-standalone"]["jsid"] = "App" + std::to_string(app) + ".Page";
        config["rule-standalone"]["wildcard"].append("img-src");
    }
    return config;
}

std::string MakeAppliance()
{
    char pattern[] = "/tmp/arx-csp-bench.XXXXXX";
    if (mkdtemp(pattern) == nullptr)
        abort();
    const std::string root = pattern;
    setenv("VORN_ROOT", root.c_str(), 1);
    for (const char* dir : {"/etc", "/usr", "/usr/vorn", "/usr/vorn/share", "/usr/vorn/share/csp", "/usr/vorn/etc",
                            "/usr/vorn/etc/csp"})
        mkdir((root + dir).c_str(), 0755);
    WriteText(root + "/etc/vorninfo.conf",
              "hostname=\"bench\"\ncsp_header_option=\"yes\"\ncheck_frame_options=\"yes\"\n"
              "frame_options_built_in_allow_url=\"https://portal.example.com\"\n");
    WriteText(root + "/usr/vorn/share/csp/rule-default", kDefaultRule);
    for (int app = 0; app < kConfigs; ++app) {
        if (!VORN::JsonToFile(Config(app), root + "/usr/vorn/etc/csp/app-" + std::to_string(app)))
            abort();
    }
    if (!VORN::ARX::CspRule::GenerateCSPTarget())
        abort();
    setenv("HTTP_HOST", "nas.example.com:5000", 1);
    setenv("HTTP_REFERER", "https://nas.example.com:5000/desktop", 1);
    return root;
}

void ReadRule(benchmark::State& state)
{
    const std::string path = VORNRootPathString("/run/csp/rule");
    for (auto _ : state) {
        Json::Value rule;
        if (!VORN::JsonFromFile(rule, path))
            abort();
        benchmark::DoNotOptimize(rule);
    }
}

void SecurityHeaders(benchmark::State& state)
{
    for (auto _ : state) {
        Json::Value headers = VORN::ARX::SecurityOptions(nullptr).GetSecurityHeaders();
        if (!headers.isMember("Content-Security-Policy"))
            abort();
        benchmark::DoNotOptimize(headers);
    }
}

BENCHMARK(ReadRule);
BENCHMARK(SecurityHeaders);

}  // namespace

int main(int argc, char** argv)
{
    const std::string root = MakeAppliance();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    const std::string remove = "rm -rf '" + root + "'";
    return system(remove.c_str()) == 0 ? 0 : 1;
}
