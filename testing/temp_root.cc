#include "testing/temp_root.h"

#include <errno.h>
#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include <vorn/root.h>

namespace arx_testing {

namespace {

int RemoveEntry(const char* path, const struct stat*, int, struct FTW*)
{
    remove(path);
    return 0;
}

}  // namespace

void RemoveTree(const std::string& dir)
{
    if (!dir.empty())
        nftw(dir.c_str(), RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
}

std::string ReadWholeFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

TempRoot::TempRoot()
{
    char pattern[] = "/tmp/arx-test.XXXXXX";
    if (mkdtemp(pattern) == nullptr)
        throw std::runtime_error("mkdtemp failed");
    // Tests switch to unprivileged users that must be able to reach files
    // they own below the root.
    chmod(pattern, 0755);
    dir_ = pattern;
    if (const char* previous = getenv("VORN_ROOT")) {
        previousRoot_ = previous;
        hadPreviousRoot_ = true;
    }
    setenv("VORN_ROOT", dir_.c_str(), 1);
    VORNRootReload();
}

TempRoot::~TempRoot()
{
    RemoveTree(dir_);
    if (hadPreviousRoot_)
        setenv("VORN_ROOT", previousRoot_.c_str(), 1);
    else
        unsetenv("VORN_ROOT");
    VORNRootReload();
}

void TempRoot::MakeDirs(const std::string& systemPath, mode_t mode) const
{
    std::string path = dir_;
    size_t start = 1;
    while (start <= systemPath.size()) {
        size_t slash = systemPath.find('/', start);
        if (slash == std::string::npos)
            slash = systemPath.size();
        path = dir_ + systemPath.substr(0, slash);
        // Exactly mode, whatever the umask (a sticky world-writable "/tmp").
        if (mkdir(path.c_str(), mode) == 0 ? chmod(path.c_str(), mode) != 0 : errno != EEXIST)
            throw std::runtime_error("mkdir " + path + " failed");
        start = slash + 1;
    }
}

void TempRoot::WriteFile(const std::string& systemPath, const std::string& content, mode_t mode) const
{
    const size_t slash = systemPath.rfind('/');
    if (slash != std::string::npos && slash > 0)
        MakeDirs(systemPath.substr(0, slash));
    // A new file replaces the old by rename, as the system's own writers
    // do: readers that keep what they read per version of a file see it.
    const std::string path = Path(systemPath);
    const std::string temporary = path + ".writing";
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    out << content;
    out.close();
    if (!out || chmod(temporary.c_str(), mode) != 0 || rename(temporary.c_str(), path.c_str()) != 0)
        throw std::runtime_error("cannot write " + path);
}

std::string TempRoot::ReadFile(const std::string& systemPath) const
{
    return ReadWholeFile(Path(systemPath));
}

}  // namespace arx_testing
