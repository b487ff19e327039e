// The desktop configuration's cache under "/var/cache/js_config_parser/":
//
//   config/KEY.json         {"_jsConfig", "_css", "_apps", "_grantableApps"}
//   texts/KEY_LANG.json     {"_texts", "_moduleTexts"}
//   brieftext/ID_LANG.json  one application's brief texts
//   generation              replaced by every clear
//   .lock                   writers share it, a clear holds it alone
//
// Readers take no lock: every file is written beside its place and renamed
// over it.  The cache is read and written as root, only in directories of
// its own (no links, owned by root, writable by no one else), and never
// through a link.  A parse notes the generation when it first looks at the
// cache and writes nothing once a clear has replaced it, so a module
// installed during a scan is never hidden behind what the scan found.
//
// Everything here runs as the caller is; the parser switches to root
// around it (IF_RUN_AS2).
#ifndef ARX_JSCONFIG_CONFIG_CACHE_H
#define ARX_JSCONFIG_CONFIG_CACHE_H

#include <sys/stat.h>

#include <set>
#include <string>
#include <string_view>

#include <json/value.h>

namespace arx::jsconfig {

// Whether name can be part of a cache file's name: 1 to 128 bytes, no
// '/', no NUL, no leading '.'.
bool IsCacheName(std::string_view name);

// The cache file of a document.
std::string ConfigCachePath(const std::string& key);
std::string TextsCachePath(const std::string& key, const std::string& lang);
std::string BriefCachePath(const std::string& id, const std::string& lang);

// The version of the cache as clears leave it.
struct Generation {
    bool present = false;
    dev_t device = 0;
    ino_t inode = 0;
    struct timespec changed = {0, 0};

    bool operator==(const Generation& other) const;
};
Generation CurrentGeneration();

// One parser's use of the cache.
class CacheSession {
public:
    enum class Document { kConfig, kTexts, kBrief };

    // Reads a document of the cache.  false when it is missing, the cache
    // is refused, or the file is not a document of that kind (logged: it
    // is built again).
    bool Read(Document kind, const std::string& path, Json::Value& document);

    // Read in two steps, for a document that may not be needed: Open
    // takes the file as it is now (a descriptor, or -1 as Read would fail,
    // logged alike), ReadOpened parses it later, when the file at path may
    // have been replaced since.  The caller closes the descriptor.
    int Open(const std::string& path);
    bool ReadOpened(Document kind, int fd, const std::string& path, Json::Value& document);

    // Creates the cache's directories that are missing (0755), logging
    // each that cannot be, then checks that they are the cache's own.
    void CreateDirectories();

    // Whether the cache's directories turned out not to be its own.
    bool refused() const { return refused_; }

    // Writing: one shared lock on the cache for a batch of documents.
    class Writer {
    public:
        explicit Writer(CacheSession& session);
        ~Writer();
        Writer(const Writer&) = delete;
        Writer& operator=(const Writer&) = delete;

        // false when the cache was cleared since the session first looked
        // at it, is refused, or cannot be locked: nothing is to be written.
        bool open() const { return lock_ >= 0; }
        // Writes document (compact JSON, mode 0644) in place of path.
        bool Write(const std::string& path, const Json::Value& document);

    private:
        int lock_ = -1;
    };

private:
    // Notes the generation on the first look at the cache.
    void Begin();
    // Whether the directories holding path are the cache's own (or
    // missing); logs and remembers a refusal.
    bool DirectoriesUsable(const std::string& path);

    bool begun_ = false;
    bool refused_ = false;
    Generation generation_;
    std::set<std::string> usable_;  // directories found to be the cache's own
};

// The stamp of the cache ParsePathFromVornman reads for key and lang: the
// configuration's modification time (seconds and nanoseconds), which
// changes whenever the cache is built again.  "" when either file is
// missing or the cache is refused.
std::string CacheStamp(const std::string& key, const std::string& lang);

// Replaces the generation and removes every document of the cache.
bool ClearCacheFiles();

}  // namespace arx::jsconfig

#endif
