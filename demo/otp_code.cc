// otp-code: the current one-time code (RFC 6238: HMAC-SHA1, 30 s steps,
// 6 digits) of a base32 secret, for logging in to the demo as a user with
// two-step login without an authenticator app.
//
//   otp-code RQM3SGID73DO3NP5K6APL3PMDYPYF3IX

#include <stdio.h>
#include <time.h>

#include <string>

#include <openssl/evp.h>
#include <openssl/hmac.h>

namespace {

bool DecodeBase32(const char* text, std::string& bytes)
{
    unsigned bits = 0;
    int count = 0;
    for (const char* c = text; *c != '\0' && *c != '='; ++c) {
        int value;
        if (*c >= 'A' && *c <= 'Z')
            value = *c - 'A';
        else if (*c >= 'a' && *c <= 'z')
            value = *c - 'a';
        else if (*c >= '2' && *c <= '7')
            value = *c - '2' + 26;
        else if (*c == ' ')
            continue;
        else
            return false;
        bits = (bits << 5) | static_cast<unsigned>(value);
        count += 5;
        if (count >= 8) {
            count -= 8;
            bytes.push_back(static_cast<char>((bits >> count) & 0xFF));
        }
    }
    return !bytes.empty();
}

}  // namespace

int main(int argc, char** argv)
{
    std::string key;
    if (argc != 2 || !DecodeBase32(argv[1], key)) {
        fprintf(stderr, "usage: otp-code BASE32-SECRET\n");
        return 2;
    }
    unsigned long long step = static_cast<unsigned long long>(time(nullptr)) / 30;
    unsigned char counter[8];
    for (int i = 7; i >= 0; --i, step >>= 8)
        counter[i] = static_cast<unsigned char>(step & 0xFF);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned length = 0;
    HMAC(EVP_sha1(), key.data(), static_cast<int>(key.size()), counter, sizeof counter, digest, &length);
    const unsigned offset = digest[length - 1] & 0x0F;
    const unsigned value = ((digest[offset] & 0x7Fu) << 24) | (digest[offset + 1] << 16) |
                           (digest[offset + 2] << 8) | digest[offset + 3];
    printf("%06u\n", value % 1000000);
    return 0;
}
