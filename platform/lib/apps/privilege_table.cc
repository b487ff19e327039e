#include "lib/apps/privilege_table.h"

#include <vorn/app_privilege.h>

namespace vorn {

namespace {

constexpr size_t kLongestName = 255;

// 1 when a list names the user or a group of the user, -1 when a group on
// it cannot be decided, 0 otherwise.
int ListNames(const Json::Value& list, const std::string& user, const GroupMembership& isMember)
{
    int result = 0;
    for (const Json::Value& element : list) {
        if (!element.isString())
            continue;
        const std::string name = element.asString();
        if (name.size() > 1 && name[0] == '@') {
            const int member = isMember(name.substr(1));
            if (member == 1)
                return 1;
            if (member < 0)
                result = -1;
        } else if (name == user) {
            return 1;
        }
    }
    return result;
}

void Remove(Json::Value& list, const std::string& name)
{
    Json::Value kept(Json::arrayValue);
    for (const Json::Value& element : list) {
        if (!(element.isString() && element.asString() == name))
            kept.append(element);
    }
    list.swap(kept);
}

}  // namespace

bool IsPrivilegeTable(const Json::Value& table)
{
    if (!table.isObject())
        return false;
    for (const Json::Value& entry : table) {
        if (!entry.isObject())
            return false;
        for (const char* list : {"allow", "deny"}) {
            if (entry.isMember(list) && !entry[list].isArray())
                return false;
        }
    }
    return true;
}

int DecideAppPrivilege(const Json::Value& table, const std::string& app, const std::string& user,
                       const GroupMembership& isMember)
{
    const Json::Value* entry = table.find(app.data(), app.data() + app.size());
    if (entry == nullptr)
        return 0;
    const int denied = ListNames((*entry)["deny"], user, isMember);
    if (denied != 0)
        return denied > 0 ? 0 : -1;
    return ListNames((*entry)["allow"], user, isMember) > 0 ? 1 : 0;
}

bool IsPrivilegeName(std::string_view name)
{
    if (name.empty() || name.size() > kLongestName || name == "@")
        return false;
    for (const char c : name) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            return false;
    }
    return true;
}

void SetAppPrivilege(Json::Value& table, const std::string& app, const std::string& name, int rule)
{
    Json::Value& entry = table[app];
    for (const char* list : {"allow", "deny"}) {
        if (entry.isMember(list))
            Remove(entry[list], name);
    }
    if (rule == VLIB_APP_PRIV_ALLOW || rule == VLIB_APP_PRIV_DENY) {
        Json::Value& list = entry[rule == VLIB_APP_PRIV_ALLOW ? "allow" : "deny"];
        if (!list.isArray())
            list = Json::Value(Json::arrayValue);
        list.append(name);
    }
    for (const char* list : {"allow", "deny"}) {
        if (entry.isMember(list) && entry[list].empty())
            entry.removeMember(list);
    }
    if (entry.empty())
        table.removeMember(app);
}

}  // namespace vorn
