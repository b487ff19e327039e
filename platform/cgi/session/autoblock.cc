#include "cgi/session/autoblock.h"

#include <unistd.h>

#include <memory>
#include <vector>

#include <json/reader.h>
#include <json/writer.h>

#include <vorn/log.h>
#include <vorn/root.h>
#include <vorn/session.h>

#include "base/directories.h"
#include "base/file_read.h"
#include "base/file_write.h"
#include "base/lock_file.h"

namespace vorn {

namespace {

constexpr mode_t kRecordMode = 0600;

struct Record {
    std::vector<long long> failures;  // times of the failures in the window
    long long blockedUntil = 0;
};

std::string Dir()
{
    return VORNRootPathString(VORN_AUTOBLOCK_DIR);
}

// Addresses are canonical (digits, hex letters, '.' and ':'); a request
// without one is counted under "unknown".
std::string RecordPath(const std::string& address)
{
    return Dir() + "/" + (address.empty() ? std::string("unknown") : address);
}

bool ReadRecord(const std::string& path, Record& record)
{
    std::string text;
    if (!base::ReadWholeFile(path.c_str(), text))
        return false;
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors) || !value.isObject())
        return false;
    record = Record();
    if (value["blocked_until"].isInt64())
        record.blockedUntil = value["blocked_until"].asInt64();
    for (const Json::Value& failure : value["failures"]) {
        if (failure.isInt64())
            record.failures.push_back(failure.asInt64());
    }
    return true;
}

bool WriteRecord(const std::string& path, const Record& record)
{
    Json::Value value(Json::objectValue);
    value["blocked_until"] = static_cast<Json::Int64>(record.blockedUntil);
    value["failures"] = Json::Value(Json::arrayValue);
    for (long long failure : record.failures)
        value["failures"].append(static_cast<Json::Int64>(failure));
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return base::WriteFileAtomically(path, Json::writeString(builder, value) + "\n", kRecordMode);
}

void ForgetOld(Record& record, const SessionSettings& settings, long long now)
{
    std::vector<long long> recent;
    for (long long failure : record.failures) {
        if (now - failure < settings.attemptWindowSeconds && failure <= now)
            recent.push_back(failure);
    }
    record.failures.swap(recent);
    if (record.blockedUntil <= now)
        record.blockedUntil = 0;
}

}  // namespace

bool IsBlocked(const std::string& address, const SessionSettings& settings, long long now)
{
    if (settings.maxAttempts <= 0)
        return false;
    Record record;
    return ReadRecord(RecordPath(address), record) && record.blockedUntil > now;
}

void RecordFailure(const std::string& address, const SessionSettings& settings, long long now)
{
    if (settings.maxAttempts <= 0)
        return;
    if (!base::MakePrivateDirectory(Dir())) {
        VLIBCLog(LOG_ERR, "autoblock:%d cannot create %s: %m", __LINE__, Dir().c_str());
        return;
    }
    base::LockFileGuard lock(Dir() + "/.lock", kRecordMode);
    if (!lock.locked()) {
        VLIBCLog(LOG_ERR, "autoblock:%d cannot lock %s/.lock: %m", __LINE__, Dir().c_str());
        return;
    }
    const std::string path = RecordPath(address);
    Record record;
    ReadRecord(path, record);
    ForgetOld(record, settings, now);
    if (record.blockedUntil > now)
        return;  // a block runs its time; attempts during it do not extend it
    record.failures.push_back(now);
    if (static_cast<int>(record.failures.size()) >= settings.maxAttempts) {
        record.failures.clear();
        record.blockedUntil = now + settings.blockSeconds;
        VLIBCLog(LOG_ERR, "autoblock:%d client %s blocked for %lld s after %d failed logins", __LINE__,
                 address.empty() ? "unknown" : address.c_str(), settings.blockSeconds, settings.maxAttempts);
    }
    if (!WriteRecord(path, record))
        VLIBCLog(LOG_ERR, "autoblock:%d cannot write %s: %m", __LINE__, path.c_str());
}

void ClearFailures(const std::string& address)
{
    base::LockFileGuard lock(Dir() + "/.lock", kRecordMode);
    if (lock.locked())
        unlink(RecordPath(address).c_str());
}

void SweepAutoblock(const SessionSettings& settings, long long now)
{
    std::vector<std::string> names;
    if (!base::ListDirectory(Dir(), names))
        return;
    base::LockFileGuard lock(Dir() + "/.lock", kRecordMode);
    if (!lock.locked())
        return;
    for (const std::string& name : names) {
        if (name.empty() || name[0] == '.')
            continue;
        const std::string path = Dir() + "/" + name;
        Record record;
        if (!ReadRecord(path, record))
            continue;
        ForgetOld(record, settings, now);
        if (record.failures.empty() && record.blockedUntil == 0)
            unlink(path.c_str());
    }
}

}  // namespace vorn
