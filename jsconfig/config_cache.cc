#include "jsconfig/config_cache.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <json/writer.h>

#include <vorn/fs.h>
#include <vorn/log.h>
#include <vorn/root.h>

#include "base/descriptor.h"
#include "base/directories.h"
#include "base/safe_open.h"
#include "base/file_write.h"
#include "jsconfig/log_source.h"
#include "webutils/json_text.h"

namespace arx::jsconfig {

namespace {

constexpr char kCacheDir[] = "/var/cache/js_config_parser";
constexpr const char* kDocumentDirs[] = {"brieftext", "config", "texts"};
constexpr mode_t kDirMode = 0755;
constexpr mode_t kFileMode = 0644;
constexpr size_t kLongestCacheName = 128;
// Writers share the lock for a moment; a clear waits for them, and they
// wait for a clear, which removes at most a few thousand files.
constexpr int kWriterLockSeconds = 5;
constexpr int kClearLockSeconds = 30;

std::string Top()
{
    return VORNRootPathString(kCacheDir);
}

std::string LockPath()
{
    return Top() + "/.lock";
}

std::string GenerationPath()
{
    return Top() + "/generation";
}

std::string DirectoryOf(const std::string& path)
{
    return path.substr(0, path.rfind('/'));
}

// Why dir cannot hold the cache, or nullptr when it can.  missing tells a
// directory that does not exist (yet).
const char* NotOwn(const std::string& dir, bool& missing)
{
    missing = false;
    struct stat st;
    if (lstat(dir.c_str(), &st) != 0) {
        missing = errno == ENOENT;
        return missing ? nullptr : "cannot be examined";
    }
    if (S_ISLNK(st.st_mode))
        return "a symbolic link";
    if (!S_ISDIR(st.st_mode))
        return "not a directory";
    if (st.st_uid != 0)
        return "not owned by root";
    if ((st.st_mode & 022) != 0)
        return "writable by others";
    return nullptr;
}

void LogRefused(const std::string& dir, const char* why)
{
    VLIBCLog(LOG_ERR, "%s:%d %s is not the cache's own directory (%s): the cache is not used", kJSConfigParserLogSource,
             __LINE__, dir.c_str(), why);
}

bool IsObjectOrNull(const Json::Value& value)
{
    return value.isNull() || value.isObject();
}

bool HasShape(CacheSession::Document kind, const Json::Value& document)
{
    if (!document.isObject())
        return false;
    switch (kind) {
    case CacheSession::Document::kConfig:
        return IsObjectOrNull(document["_jsConfig"]) && IsObjectOrNull(document["_apps"]) &&
               IsObjectOrNull(document["_grantableApps"]) && (document["_css"].isNull() || document["_css"].isArray());
    case CacheSession::Document::kTexts:
        return IsObjectOrNull(document["_texts"]) && IsObjectOrNull(document["_moduleTexts"]);
    case CacheSession::Document::kBrief: return true;
    }
    return false;
}

std::string CompactJson(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

std::string StampOf(const std::string& path)
{
    struct stat st;
    if (lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        return "";
    char stamp[48];
    snprintf(stamp, sizeof stamp, "%lld.%09ld", static_cast<long long>(st.st_mtim.tv_sec), st.st_mtim.tv_nsec);
    return stamp;
}

// The whole file from its start, whatever the descriptor's offset: a
// process forked with a parser shares the offset of its open texts file.
bool ReadFromStart(int fd, std::string& content)
{
    struct stat st;
    if (fstat(fd, &st) != 0)
        return false;
    size_t length = 0;
    content.resize(static_cast<size_t>(st.st_size) + 1);
    for (;;) {
        const ssize_t got = pread(fd, &content[length], content.size() - length, static_cast<off_t>(length));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return false;
        length += static_cast<size_t>(got);
        if (length < content.size())
            break;
        content.resize(content.size() * 2);  // grown since fstat
    }
    content.resize(length);
    return true;
}

// Removes the files of one document directory; directories in it stay.
bool RemoveDocuments(const std::string& dir)
{
    const int fd = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT)
            return true;
        VLIBCLog(LOG_ERR, "%s:%d Failed to clear %s, %m", kJSConfigParserLogSource, __LINE__, dir.c_str());
        return false;
    }
    DIR* entries = fdopendir(fd);
    if (entries == nullptr) {
        close(fd);
        return false;
    }
    bool ok = true;
    while (const dirent* entry = readdir(entries)) {
        const char* name = entry->d_name;
        if (strcmp(name, ".") == 0 || strcmp(name, "..") == 0)
            continue;
        struct stat st;
        if (fstatat(fd, name, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(st.st_mode))
            continue;
        if (unlinkat(fd, name, 0) != 0 && errno != ENOENT) {
            VLIBCLog(LOG_ERR, "%s:%d Failed to remove %s/%s, %m", kJSConfigParserLogSource, __LINE__, dir.c_str(),
                     name);
            ok = false;
        }
    }
    closedir(entries);
    return ok;
}

}  // namespace

bool IsCacheName(std::string_view name)
{
    return !name.empty() && name.size() <= kLongestCacheName && name.front() != '.' &&
           name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
}

std::string ConfigCachePath(const std::string& key)
{
    return Top() + "/config/" + key + ".json";
}

std::string TextsCachePath(const std::string& key, const std::string& lang)
{
    return Top() + "/texts/" + key + "_" + lang + ".json";
}

std::string BriefCachePath(const std::string& id, const std::string& lang)
{
    return Top() + "/brieftext/" + id + "_" + lang + ".json";
}

bool Generation::operator==(const Generation& other) const
{
    return present == other.present && device == other.device && inode == other.inode &&
           changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
}

Generation CurrentGeneration()
{
    Generation generation;
    struct stat st;
    if (lstat(GenerationPath().c_str(), &st) == 0) {
        generation.present = true;
        generation.device = st.st_dev;
        generation.inode = st.st_ino;
        generation.changed = st.st_ctim;
    }
    return generation;
}

void CacheSession::Begin()
{
    if (begun_)
        return;
    begun_ = true;
    generation_ = CurrentGeneration();
}

bool CacheSession::DirectoriesUsable(const std::string& path)
{
    Begin();
    if (refused_)
        return false;
    for (const std::string& dir : {Top(), DirectoryOf(path)}) {
        if (usable_.count(dir) != 0)
            continue;
        bool missing = false;
        if (const char* why = NotOwn(dir, missing)) {
            LogRefused(dir, why);
            refused_ = true;
            return false;
        }
        if (!missing)
            usable_.insert(dir);
    }
    return true;
}

bool CacheSession::Read(Document kind, const std::string& path, Json::Value& document)
{
    const int fd = Open(path);
    if (fd < 0)
        return false;
    const base::Descriptor file(fd);
    return ReadOpened(kind, fd, path, document);
}

int CacheSession::Open(const std::string& path)
{
    if (!DirectoriesUsable(path))
        return -1;
    const int fd = base::OpenForReading(path.c_str(), base::Links::kRefuse);
    if (fd < 0 && errno != ENOENT)
        VLIBCLog(LOG_ERR, "%s:%d %s is not a cache document (%m): built again", kJSConfigParserLogSource, __LINE__,
                 path.c_str());
    return fd;
}

bool CacheSession::ReadOpened(Document kind, int fd, const std::string& path, Json::Value& document)
{
    std::string content;
    Json::Value parsed;
    if (!ReadFromStart(fd, content) || !arx::webutils::JsonFromText(parsed, content) || !HasShape(kind, parsed)) {
        VLIBCLog(LOG_ERR, "%s:%d %s is not a cache document: built again", kJSConfigParserLogSource, __LINE__,
                 path.c_str());
        return false;
    }
    document.swap(parsed);
    return true;
}

void CacheSession::CreateDirectories()
{
    Begin();
    const std::string top = Top();
    const std::string dirs[] = {VORNRootPathString("/var/cache/"), top + "/", top + "/brieftext/", top + "/config/",
                                top + "/texts/"};
    for (const std::string& dir : dirs) {
        if (access(dir.c_str(), F_OK) == 0)
            continue;
        // "/var/cache/" with its parents: a system root that lacks "/var"
        // (a scratch one) gets it too.
        const bool made = &dir == &dirs[0] ? base::MakeDirectories(dir, kDirMode) : mkdir(dir.c_str(), kDirMode) == 0;
        if (!made) {
            // Another process building the cache at the same moment made
            // it first; whether it is usable is checked below.
            if (errno != EEXIST)
                VLIBCLog(LOG_ERR, "%s:%d Failed to mkdir %s, %m", kJSConfigParserLogSource, __LINE__, dir.c_str());
            continue;
        }
        chmod(dir.c_str(), kDirMode);  // whatever the umask: readers need not be root
    }
    for (const char* name : kDocumentDirs) {
        if (!DirectoriesUsable(top + "/" + name + "/"))
            return;
    }
}

CacheSession::Writer::Writer(CacheSession& session)
{
    if (!session.DirectoriesUsable(LockPath()))
        return;
    lock_ = VLIBCFileLockTimeByFile(LockPath().c_str(), 0, kWriterLockSeconds);
    if (lock_ < 0) {
        VLIBCLog(LOG_ERR, "%s:%d cannot lock %s: the cache is not written", kJSConfigParserLogSource, __LINE__,
                 LockPath().c_str());
        return;
    }
    if (!(CurrentGeneration() == session.generation_)) {
        // Cleared since this parse began: what it found may be stale.
        VLIBCLog(LOG_INFO, "%s:%d the cache was cleared during the parse: not written", kJSConfigParserLogSource,
                 __LINE__);
        VLIBCFileUnlock(lock_);
        lock_ = -1;
    }
}

CacheSession::Writer::~Writer()
{
    VLIBCFileUnlock(lock_);
}

bool CacheSession::Writer::Write(const std::string& path, const Json::Value& document)
{
    if (lock_ < 0)
        return false;
    std::string text;
    try {
        text = CompactJson(document);
    } catch (const std::exception&) {
        return false;  // no memory
    }
    return base::WriteFileAtomically(path, text, kFileMode, base::Temporary::kHidden);
}

std::string CacheStamp(const std::string& key, const std::string& lang)
{
    const std::string config = ConfigCachePath(key);
    const std::string texts = TextsCachePath(key, lang);
    for (const std::string& dir : {Top(), DirectoryOf(config), DirectoryOf(texts)}) {
        bool missing = false;
        if (NotOwn(dir, missing) != nullptr || missing)
            return "";
    }
    // The configuration is written again only after a clear (or when it was
    // damaged); the texts also when the module texts join them, which
    // changes nothing they give.  So the configuration's time is the stamp,
    // once the language's texts are there too.
    if (StampOf(texts).empty())
        return "";
    return StampOf(config);
}

bool ClearCacheFiles()
{
    const std::string top = Top();
    bool missing = false;
    if (const char* why = NotOwn(top, missing)) {
        LogRefused(top, why);
        return false;
    }
    if (missing)
        return true;
    const int lock = VLIBCFileLockTimeByFile(LockPath().c_str(), 1, kClearLockSeconds);
    if (lock < 0) {
        VLIBCLog(LOG_ERR, "%s:%d cannot lock %s: the cache is not cleared", kJSConfigParserLogSource, __LINE__,
                 LockPath().c_str());
        return false;
    }
    // A new generation first: a parse that began before it writes nothing.
    char content[64];
    snprintf(content, sizeof content, "%lld %d\n", static_cast<long long>(time(nullptr)), static_cast<int>(getpid()));
    bool ok = base::WriteFileAtomically(GenerationPath(), content, kFileMode, base::Temporary::kHidden);
    if (!ok)
        VLIBCLog(LOG_ERR, "%s:%d Failed to renew %s, %m", kJSConfigParserLogSource, __LINE__, GenerationPath().c_str());
    for (const char* name : kDocumentDirs) {
        const std::string dir = top + "/" + name;
        bool dirMissing = false;
        if (const char* why = NotOwn(dir, dirMissing)) {
            LogRefused(dir, why);
            ok = false;
            continue;
        }
        ok = RemoveDocuments(dir) && ok;
    }
    VLIBCFileUnlock(lock);
    return ok;
}

}  // namespace arx::jsconfig
