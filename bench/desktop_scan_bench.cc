// The module scan without the cache against its floor: reading and parsing
// the same config files with jsoncpp in one loop (Google Benchmark, in one
// process, repetitions interleaved).  A second floor adds the checks a
// module's registration cannot do without: whether each script file its
// config names, and its style sheet, can be read.  VORN_ROOT names a root
// with a module tree (bench/make_module_tree.sh).

#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <json/json.h>

#include <arx/js_config_parser.h>

#include "config_floor.h"

namespace {

using bench::ConfigPaths;
using bench::ModulesDirectory;

// One config read whole and parsed.
Json::Value ReadAndParse(const std::string& path, Json::CharReader& reader)
{
    Json::Value config;
    benchmark::DoNotOptimize(bench::ReadAndParse(path, reader, config));
    return config;
}

// The floor: each config read whole and parsed, nothing else.
void ReadAndParseConfigs(benchmark::State& state)
{
    const std::vector<std::string> paths = ConfigPaths();
    const std::unique_ptr<Json::CharReader> reader = bench::ConfigReader();
    for (auto _ : state) {
        for (const std::string& path : paths)
            benchmark::DoNotOptimize(ReadAndParse(path, *reader));
    }
}

// The floor and, per module, whether the files the config names and the
// style sheet are readable, through the modules directory's descriptor.
void ReadParseAndCheckConfigs(benchmark::State& state)
{
    const std::vector<std::string> paths = ConfigPaths();
    const std::string modules = ModulesDirectory();
    const int dir = open(modules.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::unique_ptr<Json::CharReader> reader = bench::ConfigReader();
    for (auto _ : state) {
        for (const std::string& path : paths) {
            const Json::Value config = ReadAndParse(path, *reader);
            const std::string module = path.substr(modules.size() + 1, path.size() - modules.size() - 8);
            for (const std::string& file : config.getMemberNames())
                benchmark::DoNotOptimize(faccessat(dir, (module + "/" + file).c_str(), R_OK, AT_EACCESS));
            benchmark::DoNotOptimize(faccessat(dir, (module + "/style.css").c_str(), R_OK, AT_EACCESS));
        }
    }
    close(dir);
}

// The scan a desktop request makes when there is no cache.
void ColdScan(benchmark::State& state)
{
    for (auto _ : state) {
        VORN::PAD::JSConfigParser parser("enu", false, false);
        parser.ParsePathFromVornman(nullptr);
        benchmark::ClobberMemory();
    }
}

BENCHMARK(ReadAndParseConfigs)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadParseAndCheckConfigs)->Unit(benchmark::kMillisecond);
BENCHMARK(ColdScan)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
