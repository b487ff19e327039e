// The request context: the records of sliced uploads.  Each record is a
// key-value file "/tmp/slice_file_id/ID" whose one key, the id, names the
// file that collects the upload's slices; later slices are appended to
// that file, possibly as root.  So records are written and read as root,
// in a directory only root may enter, and a record counts only when it is
// root's own file (see docs/uploads.md).

#include <arx/webman.h>

#include <dirent.h>
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <string>

#include <arx/run_as.h>
#include <vorn/file.h>
#include <vorn/fs.h>
#include <vorn/log.h>
#include <vorn/root.h>

#include "webman/log_source.h"

using arx::webman::kWebManLogSource;

namespace {

constexpr char kRecordDir[] = "/tmp/slice_file_id";
constexpr size_t kLongestRecordPath = 4094;
constexpr int kValueSize = 4095;
constexpr time_t kAbandonedAfterSeconds = 24 * 60 * 60;

// Root's and closed to everyone else (a link is not followed).
bool IsRootsOwn(const std::string& path, mode_t type, mode_t mode)
{
    struct stat st;
    return lstat(path.c_str(), &st) == 0 && (st.st_mode & S_IFMT) == type && st.st_uid == 0 &&
           (st.st_mode & 07777) == mode && (type != S_IFREG || st.st_nlink == 1);
}

bool RecordDirIsTrusted(const std::string& dir)
{
    struct stat st;
    if (IsRootsOwn(dir, S_IFDIR, 0700) || lstat(dir.c_str(), &st) != 0)
        return IsRootsOwn(dir, S_IFDIR, 0700);
    VLIBCLog(LOG_ERR, "%s:%d %s is not root's own directory of mode 0700: slice records refused", kWebManLogSource,
             __LINE__, dir.c_str());
    return false;
}

// The record's path for the id of this request, "" when it has none or
// the path would be too long.
std::string RecordOfRequest()
{
    const char* id = getenv("HTTP_X_TMP_FILE");
    if (id == nullptr)
        return "";
    const std::string record = VORNRootPathString(kRecordDir) + "/" + id;
    return record.size() <= kLongestRecordPath ? record : "";
}

// realpath gives the record's own path back: no "..", no link on the way.
bool ResolvesToItself(const std::string& record)
{
    char* resolved = realpath(record.c_str(), nullptr);
    const bool same = resolved != nullptr && record == resolved;
    free(resolved);
    return same;
}

// A name the record directory can hold for an id: no path, and never the
// lock file of another record.
bool IsRecordName(const char* id)
{
    const size_t length = strlen(id);
    return length > 0 && strchr(id, '/') == nullptr && strcmp(id, ".") != 0 && strcmp(id, "..") != 0 &&
           !(length >= 5 && strcmp(id + length - 5, ".lock") == 0);
}

bool UntouchedForADay(const struct stat& st, time_t now)
{
    return st.st_mtime < now - kAbandonedAfterSeconds;
}

// Removes the records of sliced uploads abandoned a day ago: a record
// written over a day ago whose file is gone (the platform sweeps collecting
// files left a day) or was not added to for a day.  Only root's regular
// files are read; a record and its lock file are removed by name.
void SweepAbandonedRecords(const std::string& dir)
{
    DIR* stream = opendir(dir.c_str());
    if (stream == nullptr)
        return;
    const time_t now = time(nullptr);
    while (const dirent* entry = readdir(stream)) {
        const std::string id = entry->d_name;
        const std::string record = dir + "/" + id;
        struct stat st;
        char value[kValueSize + 1];
        if (!IsRecordName(id.c_str()) || lstat(record.c_str(), &st) != 0 || !S_ISREG(st.st_mode) || st.st_uid != 0 ||
            !UntouchedForADay(st, now))
            continue;
        if (VLIBCFileGetKeyValue(record.c_str(), id.c_str(), value, kValueSize, 0) > 0 && lstat(value, &st) == 0 &&
            !UntouchedForADay(st, now))
            continue;
        if (unlink(record.c_str()) == 0) {
            unlink((record + ".lock").c_str());
            VLIBCLog(LOG_NOTICE, "%s:%d removed the record of the sliced upload %s, abandoned a day ago",
                     kWebManLogSource, __LINE__, id.c_str());
        }
    }
    closedir(stream);
}

}  // namespace

bool WebMan::SaveSliceUploadTmpFile(const char* sliceId, const char* tmpFilePath)
{
    if (sliceId == nullptr || tmpFilePath == nullptr || !IsRecordName(sliceId))
        return false;
    const std::string dir = VORNRootPathString(kRecordDir);
    const std::string record = dir + "/" + sliceId;
    if (record.size() > kLongestRecordPath)
        return false;
    IF_RUN_AS(0, 0)
    {
        struct stat st;
        if (lstat(dir.c_str(), &st) != 0 && VORNFSMkdirP(dir.c_str(), 0, 1, 0, 0, 0700) != 0) {
            VLIBCLog(LOG_ERR, "%s:%d Failed to mkdir %s, %m", kWebManLogSource, __LINE__, dir.c_str());
            return false;
        }
        if (!RecordDirIsTrusted(dir))
            return false;
        SweepAbandonedRecords(dir);
        if (VLIBCFileSetKeyValue(record.c_str(), sliceId, tmpFilePath, 0) < 0)
            return false;
        if (chmod(record.c_str(), 0600) != 0)
            VLIBCLog(LOG_ERR, "%s:%d chmod failed.", kWebManLogSource, __LINE__);
        return true;
    }
    return false;
}

const char* WebMan::GetSliceUploadTmpFile()
{
    const char* answer = VornCgiSliceUploadTmpFile();
    const char* id = getenv("HTTP_X_TMP_FILE");
    if (answer != nullptr || id == nullptr)
        return answer;
    if (strchr(id, '=') != nullptr)
        return nullptr;
    const std::string record = RecordOfRequest();
    if (record.empty())
        return nullptr;
    char value[kValueSize + 1];
    bool found = false;
    IF_RUN_AS(0, 0)
    {
        found = RecordDirIsTrusted(VORNRootPathString(kRecordDir)) && ResolvesToItself(record) &&
                IsRootsOwn(record, S_IFREG, 0600) && VLIBCFileGetKeyValue(record.c_str(), id, value, kValueSize, 0) > 0;
    }
    // The platform checks the file it names before it gives it back.
    if (found && setenv("VORN_SLICE_TMP_FILE", value, 1) == 0)
        answer = VornCgiSliceUploadTmpFile();
    return answer;
}

bool WebMan::DeleteSliceUploadTmpFile()
{
    const std::string record = RecordOfRequest();
    if (record.empty())
        return false;
    IF_RUN_AS(0, 0)
    {
        if (!RecordDirIsTrusted(VORNRootPathString(kRecordDir)) || !ResolvesToItself(record))
            return false;
        if (unlink(record.c_str()) != 0 && errno != ENOENT) {
            VLIBCLog(LOG_ERR, "%s:%d unlink failed.", kWebManLogSource, __LINE__);
            return false;
        }
        unlink((record + ".lock").c_str());  // the key-value writer's lock beside it
        return true;
    }
    return false;
}
