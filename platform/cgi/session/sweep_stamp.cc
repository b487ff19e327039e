#include "cgi/session/sweep_stamp.h"

#include <sys/stat.h>
#include <unistd.h>

#include "base/safe_open.h"

namespace vorn {

bool SweepIsDue(const std::string& stampPath, long long now)
{
    struct stat st;
    if (stat(stampPath.c_str(), &st) == 0 && now - st.st_mtime < kSweepInterval && st.st_mtime <= now)
        return false;
    const int fd = base::OpenForWriting(stampPath.c_str(), 0600);
    if (fd < 0)
        return false;
    futimens(fd, nullptr);
    close(fd);
    return true;
}

}  // namespace vorn
