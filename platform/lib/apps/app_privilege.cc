// The application privilege table behind the C interface: read once per
// version of the file (a desktop asks about every application), decided
// with the user database's groups, changed under the table's lock.

#include <vorn/app_privilege.h>

#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>

#include <json/reader.h>
#include <json/writer.h>
#include <vorn/err.h>
#include <vorn/log.h>
#include <vorn/root.h>
#include <vorn/user.h>

#include "base/file_read.h"
#include "base/file_write.h"
#include "base/lock_file.h"
#include "base/safe_open.h"
#include "lib/apps/privilege_table.h"
#include "lib/core/no_throw.h"
#include "lib/users/user_db.h"

namespace {

constexpr mode_t kTableMode = 0644;
// A table names a few users per application; this bounds what a damaged
// one costs every request that asks.
constexpr off_t kLargestTable = 4 << 20;

std::string TablePath()
{
    return VORNRootPathString(VORN_APP_PRIVILEGE_FILE);
}

enum class TableRead { kRead, kMissing, kFailed };

bool ParseTable(const std::string& text, Json::Value& table)
{
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    builder["stackLimit"] = 64;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    try {
        return reader->parse(text.data(), text.data() + text.size(), &table, nullptr) && vorn::IsPrivilegeTable(table);
    } catch (const std::exception&) {
        return false;
    }
}

// Reads the table (links refused: the writer never makes one).  A missing
// file is an empty table; a table that is no table is logged.
TableRead ReadTable(Json::Value& table, struct stat* info)
{
    const std::string path = TablePath();
    std::string text;
    struct stat st;
    if (!base::ReadWholeFile(path.c_str(), text, &st, base::Links::kRefuse)) {
        if (errno == ENOENT) {
            table = Json::Value(Json::objectValue);
            if (info != nullptr)
                memset(info, 0, sizeof *info);
            return TableRead::kMissing;
        }
        VLIBCLog(LOG_ERR, "app_privilege:%d cannot read %s: %m", __LINE__, path.c_str());
        VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
        return TableRead::kFailed;
    }
    if (st.st_size > kLargestTable || !ParseTable(text, table)) {
        VLIBCLog(LOG_ERR, "app_privilege:%d %s is not a privilege table", __LINE__, path.c_str());
        VLIBCErrSet(VLIB_ERR_FORMAT);
        return TableRead::kFailed;
    }
    if (info != nullptr)
        *info = st;
    return TableRead::kRead;
}

// The table as last read by this process, read again when the file is
// another version.
struct CachedTable {
    std::string path;
    struct stat version { };
    bool present = false;
    Json::Value table;
};

const Json::Value* CurrentTable()
{
    static CachedTable cached;
    const std::string path = TablePath();
    struct stat st;
    const bool present = lstat(path.c_str(), &st) == 0;
    if (!present && errno != ENOENT) {
        VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
        return nullptr;
    }
    if (cached.path == path && cached.present == present && (!present || base::SameVersion(cached.version, st)))
        return &cached.table;
    Json::Value table;
    struct stat read;
    const TableRead result = ReadTable(table, &read);
    if (result == TableRead::kFailed) {
        cached.path.clear();
        return nullptr;
    }
    cached.path = path;
    cached.present = result == TableRead::kRead;
    cached.version = read;
    cached.table.swap(table);
    return &cached.table;
}

void AppendStamp(std::string& stamp, const std::string& path)
{
    struct stat st;
    char text[96];
    if (lstat(path.c_str(), &st) != 0)
        snprintf(text, sizeof text, "0");
    else
        snprintf(text, sizeof text, "%llx.%lx.%llx.%llx", static_cast<unsigned long long>(st.st_ino),
                 static_cast<long>(st.st_mtim.tv_sec), static_cast<unsigned long long>(st.st_mtim.tv_nsec),
                 static_cast<unsigned long long>(st.st_size));
    stamp.append(stamp.empty() ? "" : "-").append(text);
}

}  // namespace

extern "C" int VLIBAppPrivUserHas(const char* user, const char* app, const char* /*extra*/)
{
    if (user == nullptr || *user == '\0' || app == nullptr || *app == '\0') {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        const Json::Value* table = CurrentTable();
        if (table == nullptr)
            return -1;
        if (!table->isMember(app))
            return 0;  // no entry: not allowed, whoever asks
        // Rules name users as the database spells them ("alice" for "ALICE").
        vorn::UserEntry entry;
        const vorn::Lookup lookup = vorn::FindUser(user, entry);
        if (lookup == vorn::Lookup::kError) {
            VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        const std::string name = lookup == vorn::Lookup::kFound ? entry.name : std::string(user);
        const int answer = vorn::DecideAppPrivilege(*table, app, name, [&](const std::string& group) {
            return VLIBGroupIsMember(group.c_str(), name.c_str());
        });
        if (answer < 0)
            VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
        return answer;
    });
}

extern "C" int VLIBAppPrivSet(const char* app, const char* name, int rule)
{
    if (app == nullptr || name == nullptr || !vorn::IsPrivilegeName(app) || !vorn::IsPrivilegeName(name) ||
        rule < VLIB_APP_PRIV_NONE || rule > VLIB_APP_PRIV_DENY) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        const std::string path = TablePath();
        base::LockFileGuard lock(path + ".lock", kTableMode);
        if (!lock.locked()) {
            VLIBCLog(LOG_ERR, "app_privilege:%d cannot lock %s.lock: %m", __LINE__, path.c_str());
            VLIBCErrSet(VLIB_ERR_LOCK_FAILED);
            return -1;
        }
        Json::Value table;
        if (ReadTable(table, nullptr) == TableRead::kFailed)
            return -1;  // a damaged table is not overwritten
        vorn::SetAppPrivilege(table, app, name, rule);
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "  ";
        builder["emitUTF8"] = true;
        if (!base::WriteFileAtomically(path, Json::writeString(builder, table) + "\n", kTableMode)) {
            VLIBCLog(LOG_ERR, "app_privilege:%d cannot write %s: %m", __LINE__, path.c_str());
            VLIBCErrSet(VLIB_ERR_WRITE_FAILED);
            return -1;
        }
        return 0;
    });
}

extern "C" int VLIBAppPrivEnum(const char* app, VLIBAppPrivVisitor visit, void* context)
{
    if (app == nullptr || visit == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        const Json::Value* table = CurrentTable();
        if (table == nullptr)
            return -1;
        const Json::Value& entry = (*table)[app];
        int visited = 0;
        struct List {
            const char* name;
            int rule;
        };
        for (const List& list : {List {"allow", VLIB_APP_PRIV_ALLOW}, List {"deny", VLIB_APP_PRIV_DENY}}) {
            for (const Json::Value& element : entry[list.name]) {
                if (element.isString()) {
                    visit(element.asCString(), list.rule, context);
                    ++visited;
                }
            }
        }
        return visited;
    });
}

extern "C" int VLIBAppPrivStampGet(char* buffer, int size)
{
    if (buffer == nullptr || size <= 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        std::string stamp;
        AppendStamp(stamp, TablePath());
        AppendStamp(stamp, VORNRootPathString("/etc/group"));
        if (stamp.size() >= static_cast<size_t>(size)) {
            VLIBCErrSet(VLIB_ERR_BUFFER_TOO_SMALL);
            return -1;
        }
        memcpy(buffer, stamp.c_str(), stamp.size() + 1);
        return static_cast<int>(stamp.size());
    });
}
