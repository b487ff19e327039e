// Generation of "/run/csp/rule" and the standalone files.
//
// The generated files are replaced by rename, never rewritten in place, so a
// reader always finds whole JSON, and a failed generation leaves the
// previous files as they were.

#include "security/csp_generate.h"

#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <arx/json_file.h>
#include <vorn/err.h>
#include <vorn/fs.h>
#include <vorn/log.h>
#include <vorn/root.h>

#include "base/directories.h"
#include "security/critical_section.h"
#include "security/csp_names.h"
#include "security/csp_validate.h"
#include "security/log_source.h"

namespace arx::security {

namespace {

constexpr mode_t kDirMode = 0755;
constexpr mode_t kFileMode = 0644;
constexpr int kLockSeconds = 5;

void AppendAll(const Json::Value& sources, Json::Value& target)
{
    if (!sources.isArray() || sources.empty() || !target.isArray())
        return;
    for (const Json::Value& source : sources)
        target.append(source);
}

void EnsureRunDirectories()
{
    const std::string runDir = VORNRootPathString(kRunDir);
    const std::string standaloneDir = VORNRootPathString(kStandaloneDir);
    if (base::IsDirectory(runDir) && base::IsDirectory(standaloneDir))
        return;
    CriticalSection section;
    base::MakeDirectories(standaloneDir, kDirMode);
}

int CollectName(const char* name, void* context)
{
    static_cast<std::vector<std::string>*>(context)->emplace_back(name);
    return 0;
}

// Appends the valid configs of dir, in byte order of their names; broken
// ones are logged and skipped.
void CollectConfigs(const char* systemDir, std::vector<Json::Value>& configs)
{
    const std::string dir = VORNRootPathString(systemDir);
    std::vector<std::string> names;
    if (VLIBCDirEnum(dir.c_str(), VLIBC_DIR_SKIP_HIDDEN | VLIBC_DIR_FILES_ONLY, &CollectName, &names) < 0) {
        if (VLIBCErrGet() != VLIB_ERR_NOT_FOUND)
            VLIBCLog(LOG_ERR, "%s:%d enum dir %s failed", kCspRuleLogSource, __LINE__, dir.c_str());
        return;
    }
    for (const std::string& name : names) {
        const std::string path = dir + "/" + name;
        Json::Value config;
        if (!VORN::JsonFromFile(config, path)) {
            VLIBCLog(LOG_ERR, "%s:%d json format error %s", kCspRuleLogSource, __LINE__, path.c_str());
            continue;
        }
        if (!IsValidConf(config)) {
            VLIBCLog(LOG_ERR, "%s:%d csp rule format error %s", kCspRuleLogSource, __LINE__, path.c_str());
            continue;
        }
        configs.push_back(std::move(config));
    }
}

bool WriteStandaloneFile(const Json::Value& rule, const std::string& path)
{
    if (!VORN::JsonToFile(rule, path)) {
        VLIBCLog(LOG_ERR, "%s:%d save standalone file %s failed", kCspRuleLogSource, __LINE__, path.c_str());
        return false;
    }
    if (chmod(path.c_str(), kFileMode) != 0) {
        VLIBCLog(LOG_ERR, "%s:%d chmod file %s failed", kCspRuleLogSource, __LINE__, path.c_str());
        return false;
    }
    return true;
}

// Entries of "rule-standalone": an object is one entry, an array gives its
// elements (arrays nest).
void GatherStandalone(const Json::Value& standalone, std::vector<Json::Value>& entries)
{
    if (!standalone.isArray()) {
        entries.push_back(standalone);
        return;
    }
    for (const Json::Value& element : standalone)
        GatherStandalone(element, entries);
}

Json::Value StandaloneRule(const Json::Value& entry, const Json::Value& merged)
{
    Json::Value rule = merged;
    if (entry.isMember(RULE))
        Merge({entry}, rule);
    if (entry.isMember(WILDCARD)) {
        for (const Json::Value& directive : entry[WILDCARD]) {
            const std::string name = directive.asString();
            rule[name] = merged.isMember(name) && merged[name].isArray() ? merged[name] : Json::Value(Json::arrayValue);
            rule[name].append("*");
        }
    }
    return rule;
}

// Every page's file; a failed one is logged and the others still written.
bool WriteStandaloneFiles(const std::vector<Json::Value>& configs, const Json::Value& merged)
{
    std::vector<Json::Value> entries;
    for (const Json::Value& config : configs) {
        if (config.isMember(RULE_STANDALONE))
            GatherStandalone(config[RULE_STANDALONE], entries);
    }
    const std::string dir = VORNRootPathString(kStandaloneDir);
    bool ok = true;
    for (const Json::Value& entry : entries) {
        const std::string path = dir + "/" + entry[JSID].asString();
        if (!WriteStandaloneFile(StandaloneRule(entry, merged), path)) {
            VLIBCLog(LOG_ERR, "%s:%d standalone config save failed", kCspRuleLogSource, __LINE__);
            ok = false;
        }
    }
    return ok;
}

bool GenerateLocked()
{
    std::vector<Json::Value> configs;
    CollectConfigs(kSystemConfigDir, configs);
    CollectConfigs(kLocalConfigDir, configs);

    Json::Value rule;
    if (!VORN::JsonFromFile(rule, VORNRootPathString(kDefaultRule)) || !rule.isObject()) {
        VLIBCLog(LOG_ERR, "%s:%d default rule broken", kCspRuleLogSource, __LINE__);
        return false;
    }
    Merge(configs, rule);

    const std::string rulePath = VORNRootPathString(kRuleFile);
    if (!VORN::JsonToFile(rule, rulePath)) {
        VLIBCLog(LOG_ERR, "%s:%d config save failed", kCspRuleLogSource, __LINE__);
        return false;
    }
    if (chmod(rulePath.c_str(), kFileMode) != 0) {
        VLIBCLog(LOG_ERR, "%s:%d chmod %s failed", kCspRuleLogSource, __LINE__, rulePath.c_str());
        return false;
    }
    return WriteStandaloneFiles(configs, rule);
}

}  // namespace

void Merge(const std::vector<Json::Value>& configs, Json::Value& target)
{
    // Every directive exists before any is filled: a config's child-src
    // sources go to frame-src, which may come later in the set.
    for (const std::string& directive : KnownDirectives()) {
        if (!target.isMember(directive))
            target[directive] = Json::Value(Json::arrayValue);
    }
    for (const std::string& directive : KnownDirectives()) {
        // child-src of configs widens frame-src; child-src itself keeps what
        // the default rule lists.
        Json::Value& destination = target[directive == CHILD_SRC ? FRAME_SRC : directive];
        for (const Json::Value& config : configs) {
            const Json::Value& rule = config[RULE];
            if (rule.isObject() && rule.isMember(directive))
                AppendAll(rule[directive], destination);
        }
    }
}

bool GenerateTarget()
{
    CriticalSection section;
    EnsureRunDirectories();
    const std::string lockPath = VORNRootPathString(kLockFile);
    const int lock = VLIBCFileLockTimeByFile(lockPath.c_str(), 1, kLockSeconds);
    if (lock < 0) {
        VLIBCLog(LOG_ERR, "%s:%d lock failed.", kCspRuleLogSource, __LINE__);
        return false;
    }
    const bool ok = GenerateLocked();
    // The lock file goes before the lock: waiters that opened it find it
    // gone and open the path again.
    unlink(lockPath.c_str());
    VLIBCFileUnlock(lock);
    return ok;
}

}  // namespace arx::security
