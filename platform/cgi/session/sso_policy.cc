#include "cgi/session/sso_policy.h"

#include <errno.h>
#include <unistd.h>

#include <vector>

#include <vorn/log.h>
#include <vorn/root.h>

#include "base/directories.h"
#include "base/file_read.h"
#include "base/file_write.h"
#include "base/text.h"
#include "cgi/session/sweep_stamp.h"

namespace vorn {

namespace {

constexpr char kLoginDefs[] = "/etc/login.defs";
constexpr char kUsedTokens[] = "/run/vorn/sso-used";
constexpr uid_t kDefaultFirstUid = 1000;

bool ParseNumber(std::string_view text, long long& number)
{
    if (text.empty() || text.size() > 10)
        return false;
    number = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        number = number * 10 + (c - '0');
    }
    return true;
}

// Removes the entries whose token has expired (and any that hold no time).
void Sweep(const std::string& dir, long long now)
{
    std::vector<std::string> names;
    if (!base::ListDirectory(dir, names))
        return;
    for (const std::string& name : names) {
        if (name.empty() || name[0] == '.')
            continue;
        const std::string path = dir + "/" + name;
        std::string text;
        long long expires = 0;
        if (base::ReadWholeFile(path.c_str(), text, nullptr, base::Links::kRefuse) &&
            ParseNumber(base::TrimBlanks(text), expires) && expires > now)
            continue;
        unlink(path.c_str());
    }
}

}  // namespace

uid_t FirstOrdinaryUid()
{
    std::string content;
    if (!base::ReadFileCached(VORNRootPathString(kLoginDefs).c_str(), content))
        return kDefaultFirstUid;
    uid_t first = kDefaultFirstUid;
    base::ForEachLine(content, [&](std::string_view line) {
        line = base::TrimBlanks(line);
        const size_t end = line.find_first_of(" \t");
        long long value;
        if (line.substr(0, end) == "UID_MIN" && end != std::string_view::npos &&
            ParseNumber(base::TrimBlanks(line.substr(end)), value))
            first = static_cast<uid_t>(value);
        return true;
    });
    return first;
}

TokenUse RememberToken(const std::string& key, long long expires, long long now)
{
    const std::string dir = VORNRootPathString(kUsedTokens);
    if (!base::MakePrivateDirectory(dir)) {
        VLIBCLog(LOG_ERR, "sso_policy:%d cannot create %s: %m", __LINE__, dir.c_str());
        return TokenUse::kError;
    }
    if (SweepIsDue(dir + "/.swept", now))
        Sweep(dir, now);
    switch (base::CreateFileExclusively(dir + "/" + key, std::to_string(expires) + "\n", 0600)) {
    case 1:
        return TokenUse::kFirst;
    case 0:
        VLIBCLog(LOG_AUTH | LOG_WARNING, "sso_policy:%d token %s was used before", __LINE__, key.c_str());
        return TokenUse::kAgain;
    default:
        VLIBCLog(LOG_ERR, "sso_policy:%d cannot remember token %s: %m", __LINE__, key.c_str());
        return TokenUse::kError;
    }
}

}  // namespace vorn
