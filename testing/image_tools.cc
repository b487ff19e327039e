#include "testing/image_tools.h"

#include <unistd.h>

#include <sstream>

#ifndef ARX_SOURCE_DIR
#error "ARX_SOURCE_DIR names the source tree"
#endif

namespace arx_testing {
namespace {

constexpr const char* kPolicy = "/etc/ImageMagick-6/policy.xml";
constexpr const char* kRuns = "/tmp/tool-runs";

void InstallPolicy(const TempRoot& root)
{
    root.WriteFile(kPolicy, ReadWholeFile(std::string(ARX_SOURCE_DIR) + kPolicy));
}

void Link(const TempRoot& root, const char* systemPath)
{
    root.MakeDirs(std::string(systemPath).substr(0, std::string(systemPath).rfind('/')));
    symlink(systemPath, root.Path(systemPath).c_str());
}

// One line per run: the name, then each argument on its own line, then a
// line "--end--".
std::string Recorder(const TempRoot& root, const char* name, int failStatus)
{
    std::ostringstream script;
    script << "#!/bin/sh\n"
           << "{ echo '" << name << "'; for a in \"$@\"; do printf '%s\\n' \"$a\"; done; echo --end--; } >> '"
           << root.Path(kRuns) << "'\n";
    if (failStatus != 0)
        script << "exit " << failStatus << "\n";
    // The description of the transparency test is empty: an opaque image.
    script << "for a in \"$@\"; do [ \"$a\" = info: ] && exit 0; done\n";
    script << "in=; for a in \"$@\"; do if [ -z \"$in\" ] && [ -f \"$a\" ]; then in=$a; fi; last=$a; done\n"
           << "exec /bin/cp -f -- \"$in\" \"$last\"\n";
    return script.str();
}

}  // namespace

void InstallImageTools(const TempRoot& root)
{
    InstallPolicy(root);
    Link(root, "/usr/bin/convert");
    Link(root, "/bin/cp");
}

void InstallRecordingTools(const TempRoot& root, int failStatus)
{
    InstallPolicy(root);
    root.MakeDirs("/tmp", 01777);
    root.WriteFile("/usr/bin/convert", Recorder(root, "convert", failStatus), 0755);
    root.WriteFile("/bin/cp", Recorder(root, "cp", 0), 0755);
}

std::vector<std::string> RecordedRuns(const TempRoot& root)
{
    std::vector<std::string> runs;
    std::istringstream lines(ReadWholeFile(root.Path(kRuns)));
    std::string line, run;
    while (std::getline(lines, line)) {
        if (line == "--end--") {
            runs.push_back(run);
            run.clear();
        } else {
            run += run.empty() ? line : " " + line;
        }
    }
    return runs;
}

}  // namespace arx_testing
