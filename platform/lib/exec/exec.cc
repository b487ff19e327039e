// Running programs: the exported operations over Spawn.

#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

#include <map>
#include <new>
#include <string>
#include <vector>

#include <vorn/err.h>
#include <vorn/exec.h>
#include <vorn/log.h>

#include "lib/core/no_throw.h"
#include "lib/exec/spawn.h"

namespace {

// The arguments most programs get; more are refused rather than cut.
constexpr int kMaxVariadicArguments = 256;

struct FinishedRun {
    int status;
    char* text;  // the stream's buffer, freed with it
};

// Streams of VLIBCPopen and their programs' exit status.
std::map<FILE*, FinishedRun>& Finished()
{
    static std::map<FILE*, FinishedRun> runs;
    return runs;
}

bool Usable(const char* program, const char* const argv[])
{
    if (program != nullptr && *program != '\0' && argv != nullptr && argv[0] != nullptr)
        return true;
    VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
    return false;
}

vorn::SpawnRequest RequestOf(const char* program, const char* const argv[], const VLIBCEXECOPTIONS* options)
{
    vorn::SpawnRequest request;
    request.program = program;
    request.argv = argv;
    request.seconds = options != nullptr && options->seconds > 0 ? options->seconds : VLIBC_EXEC_DEFAULT_SECONDS;
    request.environment = options != nullptr ? options->environment : nullptr;
    return request;
}

// Starts and waits; false (logged, last error set) when it did not start.
bool Run(const vorn::SpawnRequest& request, vorn::SpawnResult& result)
{
    if (vorn::Spawn(request, result))
        return true;
    VLIBCLog(LOG_ERR, "exec:%d cannot run %s: %m", __LINE__, request.program);
    VLIBCErrSet(VLIB_ERR_EXEC_FAILED);
    return false;
}

}  // namespace

extern "C" int VLIBCExecv(const char* program, const char* const argv[], VLIBCEXECOPTIONS* options)
{
    if (!Usable(program, argv) || (options != nullptr && options->output != nullptr && options->output_size < 1)) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        vorn::SpawnRequest request = RequestOf(program, argv, options);
        const bool capture = options != nullptr && options->output != nullptr;
        request.captureOutput = capture;
        request.outputLimit = capture ? static_cast<size_t>(options->output_size) - 1 : 0;
        vorn::SpawnResult result;
        const bool ran = Run(request, result);
        if (capture) {
            memcpy(options->output, result.output.data(), result.output.size());
            options->output[result.output.size()] = '\0';
            options->output_length = static_cast<int>(result.output.size());
        }
        return ran ? vorn::ExitStatusOf(request, result) : -1;
    });
}

extern "C" int VLIBCExec(const char* program, ...)
{
    std::vector<const char*> argv {program};
    va_list args;
    va_start(args, program);
    for (const char* arg = va_arg(args, const char*); arg != nullptr; arg = va_arg(args, const char*)) {
        if (argv.size() > kMaxVariadicArguments) {
            va_end(args);
            VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
            return -1;
        }
        argv.push_back(arg);
    }
    va_end(args);
    argv.push_back(nullptr);
    return VLIBCExecv(program, argv.data(), nullptr);
}

extern "C" FILE* VLIBCPopen(const char* program, const char* mode, const char* const argv[], VLIBCEXECOPTIONS* options)
{
    if (!Usable(program, argv) || mode == nullptr || strcmp(mode, "r") != 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return nullptr;
    }
    return vorn::NoThrow<FILE*>(nullptr, [&]() -> FILE* {
        vorn::SpawnRequest request = RequestOf(program, argv, options);
        request.captureOutput = true;
        request.outputLimit = VLIBC_POPEN_MAX_OUTPUT;
        vorn::SpawnResult result;
        if (!Run(request, result))
            return nullptr;
        const int status = vorn::ExitStatusOf(request, result);
        // fmemopen may refuse a buffer of size 0: an empty output is one
        // terminator, read past at once.
        char* text = static_cast<char*>(malloc(result.output.size() + 1));
        if (text == nullptr)
            throw std::bad_alloc();
        memcpy(text, result.output.data(), result.output.size());
        text[result.output.size()] = '\0';
        FILE* stream = fmemopen(text, result.output.empty() ? 1 : result.output.size(), "r");
        if (stream == nullptr) {
            free(text);
            throw std::bad_alloc();
        }
        if (result.output.empty())
            fgetc(stream);
        Finished()[stream] = FinishedRun {status, text};
        return stream;
    });
}

extern "C" int VLIBCPclose(FILE* stream)
{
    auto& runs = Finished();
    const auto found = runs.find(stream);
    if (stream == nullptr || found == runs.end()) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    const FinishedRun run = found->second;
    runs.erase(found);
    fclose(stream);
    free(run.text);
    return run.status;
}
