// Thumbnail and compression of one picture, either through the library
// (ImageSelectorUtils::AddLoginHistory of a large "logo": the copy, the
// transparency test, the re-encoding and the thumbnail) or as the same
// command lines run directly with posix_spawn.  Prints the wall time of
// each round in microseconds, and the peak resident memory of the largest
// program run, in KiB.
//
//   VORN_ROOT=ROOT image_bench lib|direct PICTURE ROUNDS

#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <arx/image_selector_utils.h>

extern char** environ;

namespace {

double NowUs()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec * 1e6 + ts.tv_nsec / 1e3;
}

// Runs a program with standard input from /dev/null and standard output
// read (and dropped) by this process, as the library does with its output.
void Run(const std::string& program, std::vector<std::string> args, char** env)
{
    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    int out[2];
    if (pipe(out) != 0)
        return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    pid_t pid;
    int status = 0;
    const int spawned = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), env);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    char buffer[16384];
    while (spawned == 0 && read(out[0], buffer, sizeof buffer) > 0) {
    }
    close(out[0]);
    if (spawned != 0 || waitpid(pid, &status, 0) < 0 || status != 0)
        fprintf(stderr, "image_bench: %s failed\n", program.c_str());
}

// The command lines the library runs for a large opaque JPEG logo.
void Direct(const std::string& root, const std::string& picture)
{
    const std::string dir = root + "/usr/vorn/etc/login_image/";
    const std::string policy = "MAGICK_CONFIGURE_PATH=" + root + "/etc/ImageMagick-6";
    char* env[] = {const_cast<char*>("PATH=/usr/bin:/bin"), const_cast<char*>("LANG=C"),
                   const_cast<char*>(policy.c_str()), nullptr};
    const std::string tool = root + "/usr/bin/convert", image = dir + "logo1.jpg";
    Run(root + "/bin/cp", {"/bin/cp", "-f", picture, image}, env);
    Run(tool, {"/usr/bin/convert", image, "-verbose", "info:"}, env);
    Run(tool, {"/usr/bin/convert", image, "-strip", "-interlace", "plane", image}, env);
    Run(tool,
        {"/usr/bin/convert", "-size", "160x160", "-thumbnail", "160x160", "-quality", "90", "-unsharp",
         "0.5x0.5+1.25+0.0", image, dir + "logo1thumb.jpg"},
        env);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 4 || getenv("VORN_ROOT") == nullptr) {
        fprintf(stderr, "usage: VORN_ROOT=ROOT image_bench lib|direct PICTURE ROUNDS\n");
        return 2;
    }
    const bool lib = strcmp(argv[1], "lib") == 0;
    const std::string root = getenv("VORN_ROOT");
    for (int round = 0; round < atoi(argv[3]); ++round) {
        const double start = NowUs();
        if (lib) {
            // Always slot 1, as the direct command lines use.
            ImageSelectorUtils::SetLoginIndexKey("logo", 0);
            char path[4096], thumb[4096];
            if (!ImageSelectorUtils::AddLoginHistory("logo", argv[2], ".jpg", path, thumb, sizeof path, sizeof thumb))
                fprintf(stderr, "image_bench: the library failed\n");
        } else {
            Direct(root, argv[2]);
        }
        printf("%.0f\n", NowUs() - start);
    }
    rusage usage {};
    getrusage(RUSAGE_CHILDREN, &usage);
    fprintf(stderr, "peak_kib %ld\n", usage.ru_maxrss);
    return 0;
}
