// The module scan without the cache against its floor: reading and parsing
// the same config files with jsoncpp in one loop (Google Benchmark, in one
// process, repetitions interleaved).  A second floor adds the checks a
// module's registration cannot do without: whether each script file its
// config names, and its style sheet, can be read.  VORN_ROOT names a root
// with a module tree (bench/make_module_tree.sh).

#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <json/json.h>

#include <arx/js_config_parser.h>

namespace {

std::string ModulesDirectory()
{
    const char* root = getenv("VORN_ROOT");
    return std::string(root != nullptr ? root : "") + "/usr/vorn/vornman/webman/modules";
}

std::vector<std::string> ConfigPaths()
{
    const std::string modules = ModulesDirectory();
    std::vector<std::string> paths;
    if (DIR* dir = opendir(modules.c_str())) {
        while (const dirent* entry = readdir(dir)) {
            if (entry->d_name[0] != '.')
                paths.push_back(modules + "/" + entry->d_name + "/config");
        }
        closedir(dir);
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::unique_ptr<Json::CharReader> Reader()
{
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    return std::unique_ptr<Json::CharReader>(builder.newCharReader());
}

// One config read whole and parsed.
Json::Value ReadAndParse(const std::string& path, Json::CharReader& reader)
{
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat st;
    fstat(fd, &st);
    std::string text(static_cast<size_t>(st.st_size), '\0');
    benchmark::DoNotOptimize(read(fd, text.data(), text.size()));
    close(fd);
    Json::Value config;
    std::string errors;
    benchmark::DoNotOptimize(reader.parse(text.data(), text.data() + text.size(), &config, &errors));
    return config;
}

// The floor: each config read whole and parsed, nothing else.
void ReadAndParseConfigs(benchmark::State& state)
{
    const std::vector<std::string> paths = ConfigPaths();
    const std::unique_ptr<Json::CharReader> reader = Reader();
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
    const std::unique_ptr<Json::CharReader> reader = Reader();
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
