// The private part of CspRule.
#ifndef ARX_SECURITY_CSP_RULE_PRIVATE_H
#define ARX_SECURITY_CSP_RULE_PRIVATE_H

#include <string>

#include <json/value.h>

namespace VORN {
namespace ARX {

class CspRulePrivate {
public:
    CspRulePrivate(const std::string& name, bool local);
    virtual ~CspRulePrivate();
    CspRulePrivate(const CspRulePrivate&) = delete;
    CspRulePrivate& operator=(const CspRulePrivate&) = delete;

    bool Save(const Json::Value& conf);
    bool Delete();
    static bool GenerateCSPTarget();
    static bool IsValidConf(const Json::Value& conf);
    bool IsValidUrl(const std::string& directive, const std::string& url);

private:
    // Whether the name can be a config's file name; logs when not.
    bool HasUsableName() const;
    bool WriteConfig(const Json::Value& conf);
    bool RemoveConfig();

    const std::string& name_;  // the caller's string
    std::string path_;
    bool local_;
};

}  // namespace ARX
}  // namespace VORN

#endif
