#include <arx/app_privilege.h>

#include <arx/js_config_parser.h>
#include <vorn/app_privilege.h>
#include <vorn/err.h>
#include <vorn/log.h>
#include <vorn/user.h>

namespace VORN {
namespace PAD {

namespace {

constexpr char kLogSource[] = "AppPrivilege";

// Directory users ("DOMAIN\bob", "bob@example.com") are granted from the
// "domain" list, everyone else from the "local" one.
const char* KindOf(const std::string& user)
{
    return user.find_first_of("\\@") != std::string::npos ? "domain" : "local";
}

std::set<std::string> Ids(const Json::Value& grantable, const char* kind)
{
    std::set<std::string> ids;
    const Json::Value& list = grantable.isObject() ? grantable[kind] : Json::Value::nullSingleton();
    if (list.isArray()) {
        for (const Json::Value& id : list) {
            if (id.isString())
                ids.insert(id.asString());
        }
    }
    return ids;
}

Json::Value GrantableAppsOfAScan()
{
    JSConfigParser parser("enu", false);
    parser.Parse(nullptr);
    return parser.GetGrantableApps();
}

}  // namespace

AppPrivilege::AppPrivilege() : AppPrivilege(GrantableAppsOfAScan())
{ }

AppPrivilege::AppPrivilege(const Json::Value& grantableApps)
    : grantableApps_(grantableApps), local_(Ids(grantableApps, "local")), domain_(Ids(grantableApps, "domain"))
{ }

AppPrivilege::~AppPrivilege() = default;

bool AppPrivilege::IsAdminUser(const std::string& user)
{
    const auto cached = adminCache_.find(user);
    if (cached != adminCache_.end())
        return cached->second;
    const int member = VLIBGroupIsAdminGroupMem(user.c_str(), 0);
    if (member < 0)
        VLIBCLog(LOG_ERR, "%s:%d VLIBGroupIsAdminGroupMem(%s) failed. [0x%04X %s:%d]", kLogSource, __LINE__,
                 user.c_str(), VLIBCErrGet(), VLIBCErrorGetFile(), VLIBCErrorGetLine());
    return adminCache_[user] = member == 1;
}

bool AppPrivilege::IsUserHasAppPriv(const std::string& user, const std::string& app, const std::string& extra)
{
    const char* kind = KindOf(user);
    const Json::Value& grantable = grantableApps_;
    const Json::Value& list = grantable.isObject() ? grantable[kind] : Json::Value::nullSingleton();
    // A user's answers are taken together, the first time: the rest of a
    // desktop's questions cost no platform call.
    const bool admin = IsAdminUser(user);
    const std::set<std::string>& granted = Granted(user, extra, list);
    const std::set<std::string>& ids = kind[0] == 'l' ? local_ : domain_;
    if (ids.count(app) == 0)
        return admin;
    return granted.count(app) != 0;
}

const std::set<std::string>& AppPrivilege::Granted(const std::string& user, const std::string& extra,
                                                   const Json::Value& list)
{
    if (!list.isArray())
        return grantedCache_[std::make_pair(user, extra)];
    const auto key = std::make_pair(user, extra);
    const auto cached = grantedCache_.find(key);
    if (cached != grantedCache_.end())
        return cached->second;
    std::set<std::string>& granted = grantedCache_[key];
    std::set<std::string> asked;
    for (const Json::Value& id : list) {
        if (!id.isString() || !asked.insert(id.asString()).second)
            continue;
        const int answer = VLIBAppPrivUserHas(user.c_str(), id.asCString(), extra.c_str());
        if (answer == 1)
            granted.insert(id.asString());
        if (answer < 0) {
            // The table cannot be read: nothing grantable is allowed.
            VLIBCLog(LOG_ERR, "%s:%d VLIBAppPrivUserHas(%s, %s) failed: nothing granted. [0x%04X %s:%d]", kLogSource,
                     __LINE__, user.c_str(), id.asCString(), VLIBCErrGet(), VLIBCErrorGetFile(), VLIBCErrorGetLine());
            granted.clear();
            break;
        }
    }
    return granted;
}

}  // namespace PAD
}  // namespace VORN
