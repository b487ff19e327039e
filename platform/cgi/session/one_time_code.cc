#include "cgi/session/one_time_code.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vorn/log.h>
#include <vorn/root.h>

#include "base/file_read.h"
#include "base/file_write.h"
#include "base/safe_open.h"
#include "lib/core/libraries.h"

namespace vorn {

namespace {

constexpr long long kStepSeconds = 30;
constexpr size_t kMinimumKeyBytes = 10;  // 80 bits
constexpr unsigned kModulus = 1000000;   // 6 digits
constexpr char kStoreDir[] = "/usr/vorn/etc/otp";
constexpr char kUsedSuffix[] = ".used";

using EvpSha1 = const void* (*)();
using Hmac = unsigned char* (*)(const void* md, const void* key, int keyLength, const unsigned char* data,
                                size_t dataLength, unsigned char* out, unsigned* outLength);

// A step as the used-code record holds it: decimal digits and a line end.
bool ParseStep(std::string text, long long& step)
{
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
        text.pop_back();
    if (text.empty() || text.size() > 18)
        return false;
    step = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        step = step * 10 + (c - '0');
    }
    return true;
}

bool EndsWith(const std::string& text, const std::string& suffix)
{
    return text.size() >= suffix.size() && text.compare(text.size() - suffix.size(), suffix.size(), suffix) == 0;
}

// The store's file of the user's secret; "" for a name that is no file
// name there (nor one that would name another user's used-code record).
std::string SecretPath(const std::string& user)
{
    if (user.empty() || user == "." || user == ".." || user.find('/') != std::string::npos ||
        EndsWith(user, kUsedSuffix))
        return "";
    return VORNRootPathString(kStoreDir) + "/" + user;
}

// The secret file, opened without following a link or waiting on a FIFO,
// and its key.  Holding it open holds an flock on it: two logins with the
// same code cannot both pass.
class Secret {
public:
    explicit Secret(const std::string& path) : fd_(base::OpenForReading(path.c_str(), base::Links::kRefuse, &st_))
    {
        error_ = fd_ < 0 ? errno : 0;
    }
    ~Secret()
    {
        explicit_bzero(key_.data(), key_.size());
        if (fd_ >= 0)
            close(fd_);
    }
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;

    bool missing() const { return fd_ < 0 && error_ == ENOENT; }

    // Reads the key, locked when lock is true; false (logged) when the
    // record cannot be used.
    bool Load(const std::string& user, bool lock)
    {
        std::string text;
        const char* problem = nullptr;
        if (fd_ < 0)
            problem = error_ == ELOOP ? "is a link" : error_ == EINVAL || error_ == EISDIR ? "is no regular file"
                                                                                         : "cannot be opened";
        else if (lock && flock(fd_, LOCK_EX) != 0)
            problem = "cannot be locked";
        else if (!base::ReadWholeDescriptor(fd_, st_, text))
            problem = "cannot be read";
        else if (!DecodeBase32(text, key_) || key_.size() < kMinimumKeyBytes)
            problem = "is not base32 of at least 80 bits";
        explicit_bzero(text.data(), text.size());
        if (problem == nullptr)
            return true;
        VLIBCLog(LOG_ERR, "one_time_code:%d the two-step secret of %s %s", __LINE__, user.c_str(), problem);
        return false;
    }

    const std::string& key() const { return key_; }

private:
    struct stat st_ = {};
    int fd_;
    int error_;
    std::string key_;
};

// The last accepted step: -1 when none was recorded; false (logged) when
// the record is there but cannot be used, since a code could then be used
// again.
bool LastUsedStep(const std::string& path, long long& step)
{
    std::string text;
    step = -1;
    if (!base::ReadWholeFile(path.c_str(), text, nullptr, base::Links::kRefuse)) {
        if (errno == ENOENT)
            return true;
        VLIBCLog(LOG_ERR, "one_time_code:%d cannot read %s: %m", __LINE__, path.c_str());
        return false;
    }
    if (ParseStep(text, step))
        return true;
    VLIBCLog(LOG_ERR, "one_time_code:%d %s holds no step", __LINE__, path.c_str());
    return false;
}

bool ParseCode(const char* text, unsigned& code)
{
    if (text == nullptr || strlen(text) != 6)
        return false;
    code = 0;
    for (const char* c = text; *c != '\0'; ++c) {
        if (*c < '0' || *c > '9')
            return false;
        code = code * 10 + static_cast<unsigned>(*c - '0');
    }
    return true;
}

// Compares every candidate step, so that the time taken does not say which
// one matched.
long long MatchingStep(const std::string& key, unsigned code, long long now, long long lastUsed, bool& failed)
{
    long long matched = -1;
    for (long long step = now / kStepSeconds - 1; step <= now / kStepSeconds + 1; ++step) {
        unsigned expected;
        if (!OneTimeCodeOf(key, static_cast<unsigned long long>(step), expected)) {
            failed = true;
            return -1;
        }
        if (expected == code && step > lastUsed && matched < 0)
            matched = step;
    }
    return matched;
}

}  // namespace

bool DecodeBase32(std::string_view text, std::string& bytes)
{
    bytes.clear();
    unsigned bits = 0;
    int count = 0;
    bool padding = false;
    for (char c : text) {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r')
            continue;
        if (c == '=') {
            padding = true;
            continue;
        }
        int value;
        if (c >= 'A' && c <= 'Z')
            value = c - 'A';
        else if (c >= 'a' && c <= 'z')
            value = c - 'a';
        else if (c >= '2' && c <= '7')
            value = c - '2' + 26;
        else
            return false;
        if (padding)
            return false;  // text after the padding
        bits = (bits << 5) | static_cast<unsigned>(value);
        count += 5;
        if (count >= 8) {
            count -= 8;
            bytes.push_back(static_cast<char>((bits >> count) & 0xFF));
        }
    }
    return true;
}

bool OneTimeCodeOf(const std::string& key, unsigned long long step, unsigned& code)
{
    static const EvpSha1 sha1 = Libcrypto().Find<EvpSha1>("EVP_sha1");
    static const Hmac hmac = Libcrypto().Find<Hmac>("HMAC");
    if (sha1 == nullptr || hmac == nullptr)
        return false;
    unsigned char counter[8];
    for (int i = 7; i >= 0; --i, step >>= 8)
        counter[i] = static_cast<unsigned char>(step & 0xFF);
    unsigned char digest[64];
    unsigned length = 0;
    if (hmac(sha1(), key.data(), static_cast<int>(key.size()), counter, sizeof counter, digest, &length) == nullptr ||
        length < 20)
        return false;
    // Dynamic truncation (RFC 4226 section 5.3).
    const unsigned offset = digest[length - 1] & 0x0F;
    const unsigned value = (static_cast<unsigned>(digest[offset] & 0x7F) << 24) |
                           (static_cast<unsigned>(digest[offset + 1]) << 16) |
                           (static_cast<unsigned>(digest[offset + 2]) << 8) | digest[offset + 3];
    code = value % kModulus;
    return true;
}

TwoStep TwoStepOf(const std::string& user)
{
    const std::string path = SecretPath(user);
    if (path.empty())
        return TwoStep::kOff;
    Secret secret(path);
    if (secret.missing())
        return TwoStep::kOff;
    return secret.Load(user, false) ? TwoStep::kOn : TwoStep::kBroken;
}

OneTimeCheck CheckOneTimeCode(const std::string& user, const char* code, long long now)
{
    unsigned given;
    if (!ParseCode(code, given))
        return OneTimeCheck::kRejected;
    const std::string secretPath = SecretPath(user);
    if (secretPath.empty())
        return OneTimeCheck::kError;
    Secret secret(secretPath);
    if (!secret.Load(user, true))
        return OneTimeCheck::kError;
    const std::string usedPath = secretPath + kUsedSuffix;
    long long lastUsed;
    if (!LastUsedStep(usedPath, lastUsed))
        return OneTimeCheck::kError;
    bool failed = false;
    const long long step = MatchingStep(secret.key(), given, now, lastUsed, failed);
    if (failed)
        return OneTimeCheck::kError;
    if (step < 0)
        return OneTimeCheck::kRejected;
    if (!base::WriteFileAtomically(usedPath, std::to_string(step) + "\n", 0600)) {
        VLIBCLog(LOG_ERR, "one_time_code:%d cannot write %s: %m", __LINE__, usedPath.c_str());
        return OneTimeCheck::kError;  // an unrecorded code could be used again
    }
    return OneTimeCheck::kAccepted;
}

}  // namespace vorn
