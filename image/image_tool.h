// Running the image tool and the copy program, looked up under the system
// root, without a shell, within a time limit and under the image policy.
#ifndef ARX_IMAGE_IMAGE_TOOL_H
#define ARX_IMAGE_IMAGE_TOOL_H

#include <string>
#include <vector>

namespace arx::image {

// The names the tools have on the appliance (before root mapping), as the
// log lines give them.
constexpr const char* kImageTool = "/usr/bin/convert";
constexpr const char* kCopyTool = "/bin/cp";
// The policy the image tool runs under: its directory is the tool's
// configuration path.
constexpr const char* kImagePolicyDir = "/etc/ImageMagick-6";
// How long one run of either tool may take.
constexpr int kToolSeconds = 60;

// Runs the image tool with args (argv[0] is the tool's name) when input
// holds an accepted image and the policy is in place: the tool's exit
// status, or -1 (refusals are logged with source).
int RunImageTool(const char* source, const char* input, const std::vector<std::string>& args);

// The tool's standard output for args (the same checks); false when it
// could not run.
bool ReadImageTool(const char* source, const char* input, const std::vector<std::string>& args, std::string& output);

// "/bin/cp" "-f" src dst: the copy program's exit status, or -1.
int CopyWithTool(const char* src, const char* dst);

}  // namespace arx::image

#endif
