#include "cgi/session/autoblock.h"

#include <arpa/inet.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include <json/writer.h>

#include <vorn/log.h>
#include <vorn/root.h>
#include <vorn/session.h>

#include "base/directories.h"
#include "base/file_read.h"
#include "base/file_write.h"
#include "base/json_read.h"
#include "base/lock_file.h"
#include "cgi/session/sweep_stamp.h"

namespace vorn {

namespace {

constexpr mode_t kRecordMode = 0600;

struct Record {
    std::vector<long long> attempts;  // times of the attempts in the window
    long long blockedUntil = 0;
};

std::string Dir()
{
    return VORNRootPathString(VORN_AUTOBLOCK_DIR);
}

std::string PathOf(const std::string& record)
{
    return Dir() + "/" + record;
}

// A missing record is an empty one; false for one that cannot be read.
bool ReadRecord(const std::string& path, Record& record)
{
    record = Record();
    std::string text;
    if (!base::ReadWholeFile(path.c_str(), text, nullptr, base::Links::kRefuse))
        return errno == ENOENT;
    Json::Value value;
    try {
        base::JsonReader reader;
        if (!reader.Parse(text, value) || !value.isObject())
            return false;
    } catch (const std::exception&) {
        return false;  // nested past the reader's limit, or no memory
    }
    if (value["blocked_until"].isInt64())
        record.blockedUntil = value["blocked_until"].asInt64();
    for (const Json::Value& attempt : value["attempts"]) {
        if (attempt.isInt64())
            record.attempts.push_back(attempt.asInt64());
    }
    return true;
}

bool WriteRecord(const std::string& path, const Record& record)
{
    Json::Value value(Json::objectValue);
    value["blocked_until"] = static_cast<Json::Int64>(record.blockedUntil);
    value["attempts"] = Json::Value(Json::arrayValue);
    for (long long attempt : record.attempts)
        value["attempts"].append(static_cast<Json::Int64>(attempt));
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    if (base::WriteFileAtomically(path, Json::writeString(builder, value) + "\n", kRecordMode))
        return true;
    VLIBCLog(LOG_ERR, "autoblock:%d cannot write %s: %m", __LINE__, path.c_str());
    return false;
}

// Drops attempts older than the window, and any a window or more ahead of
// now (a clock set back): an attempt a second ahead was counted by another
// process that read the clock later, and still counts.
void ForgetOld(Record& record, const SessionSettings& settings, long long now)
{
    const long long window = settings.attemptWindowSeconds;
    record.attempts.erase(std::remove_if(record.attempts.begin(), record.attempts.end(),
                                         [&](long long at) { return now - at >= window || at - now >= window; }),
                          record.attempts.end());
    if (record.blockedUntil <= now)
        record.blockedUntil = 0;
}

bool Empty(const Record& record)
{
    return record.attempts.empty() && record.blockedUntil == 0;
}

// The records' lock, with the directory made first.
class RecordsLock {
public:
    RecordsLock() : made_(base::MakePrivateDirectory(Dir())), lock_(Dir() + "/.lock", kRecordMode)
    {
        if (!made_ || !lock_.locked())
            VLIBCLog(LOG_ERR, "autoblock:%d cannot lock %s/.lock: %m", __LINE__, Dir().c_str());
    }
    bool locked() const { return made_ && lock_.locked(); }

private:
    bool made_;
    base::LockFileGuard lock_;
};

// The records an attempt counts in, each with its path.
std::vector<std::string> PathsOf(const BlockingRecords& records)
{
    std::vector<std::string> paths;
    for (const std::string* record : {&records.address, &records.account}) {
        if (!record->empty())
            paths.push_back(PathOf(*record));
    }
    return paths;
}

void Uncount(Record& record, long long at)
{
    const auto found = std::find(record.attempts.begin(), record.attempts.end(), at);
    if (found != record.attempts.end())
        record.attempts.erase(found);
}

}  // namespace

std::string LoggableName(const std::string& name)
{
    std::string text;
    for (char c : name.substr(0, 64))
        text.push_back(c >= 0x20 && c < 0x7F ? c : '?');
    return text;
}

std::string AddressRecord(const std::string& address)
{
    in_addr v4;
    if (inet_pton(AF_INET, address.c_str(), &v4) == 1)
        return "ip-" + address;
    in6_addr v6;
    if (inet_pton(AF_INET6, address.c_str(), &v6) != 1)
        return "";
    memset(&v6.s6_addr[8], 0, 8);
    char prefix[INET6_ADDRSTRLEN];
    if (inet_ntop(AF_INET6, &v6, prefix, sizeof prefix) == nullptr)
        return "";
    return std::string("ip-") + prefix + "-64";
}

std::string AccountRecord(const std::string& name)
{
    // FNV-1a over the name, case folded.  Not a secret: a name that
    // collides with another gains nothing over trying that name itself.
    unsigned long long hash = 14695981039346656037ULL;
    for (char c : name) {
        hash ^= static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
        hash *= 1099511628211ULL;
    }
    char text[32];
    snprintf(text, sizeof text, "user-%016llx", hash);
    return text;
}

Admission AdmitAttempt(BlockingRecords& records, const SessionSettings& settings)
{
    records.counted = false;
    if (settings.maxAttempts <= 0)
        return Admission::kAdmitted;
    const RecordsLock lock;
    if (!lock.locked())
        return Admission::kError;
    // The clock is read under the lock, so that attempts are counted in the
    // order of their times.
    const long long now = time(nullptr);
    records.at = now;
    const std::vector<std::string> paths = PathsOf(records);
    std::vector<Record> read(paths.size());
    for (size_t i = 0; i < paths.size(); ++i) {
        if (!ReadRecord(paths[i], read[i])) {
            VLIBCLog(LOG_ERR, "autoblock:%d %s is damaged and starts over", __LINE__, paths[i].c_str());
            read[i] = Record();
        }
        ForgetOld(read[i], settings, now);
        // A block runs its time; attempts during it are not counted.
        if (read[i].blockedUntil > now || static_cast<int>(read[i].attempts.size()) >= settings.maxAttempts)
            return Admission::kBlocked;
    }
    for (size_t i = 0; i < paths.size(); ++i) {
        read[i].attempts.push_back(now);
        if (!WriteRecord(paths[i], read[i]))
            return Admission::kError;
    }
    records.counted = true;
    return Admission::kAdmitted;
}

void ConcludeAttempt(const BlockingRecords& records, AttemptOutcome outcome, const SessionSettings& settings)
{
    if (!records.counted)
        return;
    const RecordsLock lock;
    if (!lock.locked())
        return;
    const long long now = time(nullptr);
    for (const std::string* name : {&records.address, &records.account}) {
        if (name->empty())
            continue;
        const std::string path = PathOf(*name);
        Record record;
        if (!ReadRecord(path, record))
            continue;
        ForgetOld(record, settings, now);
        if (outcome == AttemptOutcome::kSucceeded && name == &records.account) {
            unlink(path.c_str());
            continue;
        }
        if (outcome != AttemptOutcome::kFailed) {
            Uncount(record, records.at);
        } else if (static_cast<int>(record.attempts.size()) >= settings.maxAttempts && record.blockedUntil == 0) {
            record.attempts.clear();
            record.blockedUntil = now + settings.blockSeconds;
            const std::string who = name == &records.account ? " (" + LoggableName(records.name) + ")" : "";
            VLIBCLog(LOG_AUTH | LOG_WARNING, "autoblock:%d %s%s blocked for %lld s after %d failed logins", __LINE__,
                     name->c_str(), who.c_str(), settings.blockSeconds, settings.maxAttempts);
        } else {
            continue;
        }
        if (Empty(record))
            unlink(path.c_str());
        else
            WriteRecord(path, record);
    }
}

void SweepAutoblockWhenDue(const SessionSettings& settings, long long now)
{
    if (settings.maxAttempts <= 0 || !base::MakePrivateDirectory(Dir()) || !SweepIsDue(Dir() + "/.swept", now))
        return;
    std::vector<std::string> names;
    if (!base::ListDirectory(Dir(), names))
        return;
    const RecordsLock lock;
    if (!lock.locked())
        return;
    for (const std::string& name : names) {
        if (name.empty() || name[0] == '.')
            continue;
        const std::string path = PathOf(name);
        Record record;
        if (ReadRecord(path, record))
            ForgetOld(record, settings, now);
        // A record that cannot be read tells nothing either.
        if (Empty(record))
            unlink(path.c_str());
    }
}

}  // namespace vorn
