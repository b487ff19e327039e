#include "image/image_tool.h"

#include <sys/stat.h>
#include <syslog.h>

#include <vorn/exec.h>
#include <vorn/log.h>
#include <vorn/root.h>

#include "image/extensions.h"
#include "image/image_format.h"

namespace arx::image {
namespace {

// The policy directory is the tool's only configuration path besides its
// built-in ones; no HOME, so no user's own policy either.
std::vector<std::string> ToolEnvironment()
{
    return {"PATH=/usr/bin:/bin", "LANG=C", "MAGICK_CONFIGURE_PATH=" + VORNRootPathString(kImagePolicyDir)};
}

bool Allowed(const char* source, const char* input)
{
    const std::string policy = VORNRootPathString(kImagePolicyDir) + "/policy.xml";
    struct stat st;
    if (stat(policy.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        VLIBCLog(LOG_ERR, "%s:%d No image policy at %s; the image tool is not run", source, __LINE__, policy.c_str());
        return false;
    }
    if (FormatOfFile(input) == kImageUnknown) {
        VLIBCLog(LOG_ERR, "%s:%d Not a JPEG, PNG, GIF or BMP image: %s", source, __LINE__, input);
        return false;
    }
    return true;
}

std::vector<const char*> Pointers(const std::vector<std::string>& texts)
{
    std::vector<const char*> pointers;
    for (const std::string& text : texts)
        pointers.push_back(text.c_str());
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

int RunImageTool(const char* source, const char* input, const std::vector<std::string>& args)
{
    if (!Allowed(source, input))
        return -1;
    std::vector<std::string> argv {kImageTool};
    argv.insert(argv.end(), args.begin(), args.end());
    const std::vector<std::string> environment = ToolEnvironment();
    std::vector<const char*> envp = Pointers(environment);
    VLIBCEXECOPTIONS options {};
    options.seconds = kToolSeconds;
    options.environment = envp.data();
    return VLIBCExecv(VORNRootPathString(kImageTool).c_str(), Pointers(argv).data(), &options);
}

bool ReadImageTool(const char* source, const char* input, const std::vector<std::string>& args, std::string& output)
{
    if (!Allowed(source, input))
        return false;
    std::vector<std::string> argv {kImageTool};
    argv.insert(argv.end(), args.begin(), args.end());
    const std::vector<std::string> environment = ToolEnvironment();
    std::vector<const char*> envp = Pointers(environment);
    VLIBCEXECOPTIONS options {};
    options.seconds = kToolSeconds;
    options.environment = envp.data();
    FILE* pipe = VLIBCPopen(VORNRootPathString(kImageTool).c_str(), "r", Pointers(argv).data(), &options);
    if (pipe == nullptr)
        return false;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0)
        output.append(buffer, n);
    VLIBCPclose(pipe);
    return true;
}

int CopyWithTool(const char* src, const char* dst)
{
    const std::string from = AsFileArgument(src), to = AsFileArgument(dst);
    VLIBCEXECOPTIONS options {};
    options.seconds = kToolSeconds;
    const char* argv[] = {kCopyTool, "-f", from.c_str(), to.c_str(), nullptr};
    return VLIBCExecv(VORNRootPathString(kCopyTool).c_str(), argv, &options);
}

}  // namespace arx::image
