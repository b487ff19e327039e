// CspRule: saving and deleting one application's rule config.  The config
// is written as root; the target files are generated after the identity
// switch has ended, since the generation enters its own critical section.

#include <arx/csp_rule.h>

#include <assert.h>
#include <errno.h>
#include <sys/stat.h>
#include <unistd.h>

#include <arx/json_file.h>
#include <arx/run_as.h>
#include <vorn/err.h>
#include <vorn/log.h>
#include <vorn/root.h>

#include "base/directories.h"
#include "security/csp_generate.h"
#include "security/csp_names.h"
#include "security/csp_rule_private.h"
#include "security/csp_validate.h"
#include "security/log_source.h"

namespace VORN {
namespace ARX {

namespace {

using arx::security::kCspRuleLogSource;

constexpr mode_t kConfigDirMode = 0755;

std::string ConfigDir(bool local)
{
    return VORNRootPathString(local ? arx::security::kLocalConfigDir : arx::security::kSystemConfigDir);
}

// Runs an operation of the exported interface: nothing it throws (in
// practice std::bad_alloc) crosses to the caller.
template <typename Operation>
bool Guarded(Operation operation) noexcept
{
    try {
        return operation();
    } catch (...) {
        VLIBCErrSet(VLIB_ERR_OUT_OF_MEMORY);
        return false;
    }
}

// The target files after a change of a config, generated outside the
// identity switch: the generation enters its own critical section.
bool Regenerate()
{
    if (arx::security::GenerateTarget())
        return true;
    VLIBCLog(LOG_ERR, "%s:%d generate csp error", kCspRuleLogSource, __LINE__);
    return false;
}

}  // namespace

CspRulePrivate::CspRulePrivate(const std::string& name, bool local)
    : name_(name), path_(ConfigDir(local) + "/" + name), local_(local)
{
}

CspRulePrivate::~CspRulePrivate() = default;

bool CspRulePrivate::HasUsableName() const
{
    // Hidden names would never be read back: the generation skips them.
    if (arx::security::IsFileName(name_) && name_[0] != '.')
        return true;
    VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
    VLIBCLog(LOG_ERR, "%s:%d config name \"%s\" refused", kCspRuleLogSource, __LINE__, name_.c_str());
    return false;
}

bool CspRulePrivate::WriteConfig(const Json::Value& conf)
{
    IF_RUN_AS(0, 0) {
        if (!base::MakeDirectories(ConfigDir(local_), kConfigDirMode) || !VORN::JsonToFile(conf, path_)) {
            VLIBCLog(LOG_ERR, "%s:%d config %s save error", kCspRuleLogSource, __LINE__, path_.c_str());
            return false;
        }
        return true;
    } else {
        VLIBCLog(LOG_ERR, "%s:%d cannot enter critical section(uid!=0?)", kCspRuleLogSource, __LINE__);
        return false;
    }
}

bool CspRulePrivate::RemoveConfig()
{
    IF_RUN_AS(0, 0) {
        // Gone already (another process deleted it meanwhile): what was asked.
        if (unlink(path_.c_str()) != 0 && errno != ENOENT) {
            VLIBCLog(LOG_ERR, "%s:%d config %s delete error", kCspRuleLogSource, __LINE__, path_.c_str());
            return false;
        }
        return true;
    } else {
        VLIBCLog(LOG_ERR, "%s:%d cannot enter critical section(uid!=0?)", kCspRuleLogSource, __LINE__);
        return false;
    }
}

bool CspRulePrivate::Save(const Json::Value& conf)
{
    if (!HasUsableName())
        return false;
    if (!arx::security::IsValidConf(conf)) {
        VLIBCErrSet(VLIB_ERR_FORMAT);
        VLIBCLog(LOG_ERR, "%s:%d csp config %s format error", kCspRuleLogSource, __LINE__, name_.c_str());
        return false;
    }
    return WriteConfig(conf) && Regenerate();
}

bool CspRulePrivate::Delete()
{
    if (!HasUsableName())
        return false;
    struct stat st;
    if (lstat(path_.c_str(), &st) != 0 && errno == ENOENT)
        return true;
    return RemoveConfig() && Regenerate();
}

bool CspRulePrivate::GenerateCSPTarget()
{
    return arx::security::GenerateTarget();
}

bool CspRulePrivate::IsValidConf(const Json::Value& conf)
{
    return arx::security::IsValidConf(conf);
}

bool CspRulePrivate::IsValidUrl(const std::string& /*directive*/, const std::string& url)
{
    return arx::security::IsValidUrl(url);
}

CspRule::CspRule(const std::string& name, bool local)
{
    // Out of memory leaves the handle empty, and every operation false.
    try {
        d_.reset(new CspRulePrivate(name, local));
    } catch (...) {
        VLIBCErrSet(VLIB_ERR_OUT_OF_MEMORY);
    }
}

CspRule::~CspRule() = default;

bool CspRule::Save(const Json::Value& conf)
{
    assert(d_);
    return d_ && Guarded([&] { return d_->Save(conf); });
}

bool CspRule::Delete()
{
    assert(d_);
    return d_ && Guarded([&] { return d_->Delete(); });
}

bool CspRule::GenerateCSPTarget()
{
    return Guarded([] { return CspRulePrivate::GenerateCSPTarget(); });
}

bool CspRule::IsValidConf(const Json::Value& conf)
{
    return Guarded([&] { return CspRulePrivate::IsValidConf(conf); });
}

bool CspRule::IsValidUrl(const std::string& directive, const std::string& url)
{
    assert(d_);
    return d_ && Guarded([&] { return d_->IsValidUrl(directive, url); });
}

}  // namespace ARX
}  // namespace VORN
