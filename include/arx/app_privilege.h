// AppPrivilege: whether a user may open a desktop application.
//
// Applications that the desktop configuration lists as grantable (their
// "grantPrivilege": "local" for local users, "domain" for directory users
// such as "DOMAIN\bob" or "bob@example.com", "all" for both) are decided
// by the appliance's application privilege table (VLIBAppPrivUserHas:
// allow and deny lists of users and groups, deny winning); every other
// application is for administrators only.  Nothing is allowed when the
// table cannot be read.
//
//   VORN::PAD::AppPrivilege privilege;     // scans the desktop's modules once
//   if (privilege.IsUserHasAppPriv(user, "Demo.Notes", "")) ...
//
// One object answers many questions: a user's administrator status and
// answers are looked up the first time the user is asked about and kept
// for the object's life, so later questions cost no call to the platform.
// Build a new object to see later changes of the table.
#ifndef ARX_APP_PRIVILEGE_H
#define ARX_APP_PRIVILEGE_H

#include <map>
#include <set>
#include <string>
#include <utility>

#include <json/value.h>

#include <arx/export.h>

namespace VORN {
namespace PAD {

class ARX_EXPORT AppPrivilege {
public:
    // Learns the grantable applications by a scan of the desktop's modules
    // and add-on packages (without the cache).
    AppPrivilege();
    // From the grantable applications a parser has read already
    // (JSConfigParser::GrantableApps(): {"local": [...], "domain": [...]}),
    // for programs that read the cached configuration anyway.
    explicit AppPrivilege(const Json::Value& grantableApps);
    ~AppPrivilege();

    // Whether user is a member of the administrators group (false when
    // that cannot be found out).
    bool IsAdminUser(const std::string& user);
    // Whether user may open app.  extra is passed to the platform's check
    // unchanged.
    bool IsUserHasAppPriv(const std::string& user, const std::string& app, const std::string& extra);

private:
    // The grantable applications of user's kind that user may open.
    const std::set<std::string>& Granted(const std::string& user, const std::string& extra, const Json::Value& list);

    Json::Value grantableApps_;
    std::set<std::string> local_;  // the grantable lists, for lookups
    std::set<std::string> domain_;
    std::map<std::string, bool> adminCache_;
    std::map<std::pair<std::string, std::string>, std::set<std::string>> grantedCache_;
};

}  // namespace PAD
}  // namespace VORN

#endif
