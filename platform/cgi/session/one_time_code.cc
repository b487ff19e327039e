#include "cgi/session/one_time_code.h"

#include <fcntl.h>
#include <stdlib.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vorn/log.h>
#include <vorn/root.h>
#include <vorn/user.h>

#include "base/file_read.h"
#include "base/file_write.h"
#include "lib/core/libraries.h"

namespace vorn {

namespace {

constexpr long long kStepSeconds = 30;
constexpr size_t kMinimumKeyBytes = 10;  // 80 bits
constexpr unsigned kModulus = 1000000;   // 6 digits

using EvpSha1 = const void* (*)();
using Hmac = unsigned char* (*)(const void* md, const void* key, int keyLength, const unsigned char* data,
                                size_t dataLength, unsigned char* out, unsigned* outLength);

// "" for a name that cannot stand as a directory name.
std::string SecretPath(const std::string& user)
{
    if (user.empty() || user == "." || user == ".." || user.find('/') != std::string::npos)
        return "";
    return VORNRootPathString(VORN_PREFERENCE_DIR) + "/" + user + "/otp";
}

// A held flock on the secret file: two logins with the same code cannot
// both pass.
class SecretFile {
public:
    explicit SecretFile(const std::string& path) : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW))
    {
        if (fd_ >= 0 && flock(fd_, LOCK_EX) != 0) {
            close(fd_);
            fd_ = -1;
        }
    }
    ~SecretFile()
    {
        if (fd_ >= 0)
            close(fd_);
    }
    SecretFile(const SecretFile&) = delete;
    SecretFile& operator=(const SecretFile&) = delete;

    bool Read(std::string& text) const
    {
        if (fd_ < 0)
            return false;
        char buffer[256];
        const ssize_t n = pread(fd_, buffer, sizeof buffer, 0);
        if (n < 0)
            return false;
        text.assign(buffer, static_cast<size_t>(n));
        return true;
    }

private:
    int fd_;
};

long long LastUsedStep(const std::string& path)
{
    std::string text;
    if (!base::ReadWholeFile(path.c_str(), text))
        return -1;
    return strtoll(text.c_str(), nullptr, 10);
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

bool HasOneTimeSecret(const std::string& user)
{
    const std::string path = SecretPath(user);
    struct stat st;
    return !path.empty() && lstat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0;
}

OneTimeCheck CheckOneTimeCode(const std::string& user, const char* code, long long now)
{
    unsigned given;
    if (!ParseCode(code, given))
        return OneTimeCheck::kRejected;
    const std::string secretPath = SecretPath(user);
    const SecretFile secret(secretPath);
    std::string text, key;
    if (!secret.Read(text) || !DecodeBase32(text, key) || key.size() < kMinimumKeyBytes) {
        VLIBCLog(LOG_ERR, "one_time_code:%d the secret of %s is missing or not usable", __LINE__, user.c_str());
        return OneTimeCheck::kError;
    }
    const std::string usedPath = secretPath + ".used";
    bool failed = false;
    const long long step = MatchingStep(key, given, now, LastUsedStep(usedPath), failed);
    explicit_bzero(key.data(), key.size());
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
