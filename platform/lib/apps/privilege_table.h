// The application privilege table as a document: its rules, the decision
// for one user, and changes of one name's rule.
#ifndef VORN_PLATFORM_PRIVILEGE_TABLE_H
#define VORN_PLATFORM_PRIVILEGE_TABLE_H

#include <functional>
#include <string>
#include <string_view>

#include <json/value.h>

namespace vorn {

// Whether the user belongs to a group: 1 yes, 0 no, -1 unknown (the group
// database cannot be read).
using GroupMembership = std::function<int(const std::string& group)>;

// Whether a document is a table: an object whose members are objects whose
// "allow" and "deny" are arrays when present.
bool IsPrivilegeTable(const Json::Value& table);

// The decision for a user (its name as the user database spells it) on app
// in a well-formed table: 1 allowed, 0 not, -1 when a group on the deny
// list cannot be decided (the answer fails closed).  Elements that are not
// names are ignored.
int DecideAppPrivilege(const Json::Value& table, const std::string& app, const std::string& user,
                       const GroupMembership& isMember);

// Whether a text may be an application id or a name on a list.
bool IsPrivilegeName(std::string_view name);

// Sets name's rule (VLIB_APP_PRIV_*) for app in a well-formed table.
void SetAppPrivilege(Json::Value& table, const std::string& app, const std::string& name, int rule);

}  // namespace vorn

#endif
