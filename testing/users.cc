#include "testing/users.h"

namespace arx_testing {

// Hashes made once with crypt(3), SHA-512 at its smallest cost, so that
// tests stay quick.
const TestUser kAdmin = {"admin", "admin-pass", 2001, 2001};
const TestUser kAlice = {"alice", "alice-pass", 2002, kUsersGid};
const TestUser kBob = {"bob", "bob-pass", 2003, kUsersGid};
const TestUser kCarol = {"carol", "carol-pass", 2004, kUsersGid};

namespace {

constexpr char kPasswd[] =
    "root:x:0:0:root:/root:/bin/sh\n"
    "admin:x:2001:2001:Administrator:/home/admin:/bin/sh\n"
    "alice:x:2002:2100:Alice:/home/alice:/bin/sh\n"
    "bob:x:2003:2100:Bob:/home/bob:/bin/sh\n"
    "carol:x:2004:2100:Carol:/home/carol:/bin/sh\n";

constexpr char kGroup[] =
    "root:x:0:\n"
    "administrators:x:101:admin\n"
    "admin:x:2001:\n"
    "users:x:2100:\n"
    "staff:x:2201:alice,admin\n"
    "projects:x:2202:carol,alice\n";

constexpr char kShadow[] =
    "root:*:19000:0:99999:7:::\n"
    "admin:$6$rounds=1000$ICazUCw/UUDZxCj4$64FBaipEoVYk19evf8VlzbnG2sLRHf/XRI6F5JoQqC1IXVp3JCC9Ls/4esftEHDjk5Kv3tJqQ8Sw9EdrmKOV.0:19000:0:99999:7:::\n"
    "alice:$6$rounds=1000$yNLXUcMz4JmtwnyL$VSDVyK8/wRmxOfFHeCWZNeruFLaU/303wJBDRbcDlFo1CYWHBNEN6MnP.8VO0RXne3QMpkejKvuPViGzhTDEY.:19000:0:99999:7:::\n"
    "bob:!$6$rounds=1000$M2EksA8VjFaolEpn$2kE8npFFkv9Qa8NqR.YrWpuufzbD3NUhhv96RsMMhBQY3unSCw.id9.3sv94fQoeJYTMnZctY7mupnyeITojo0:19000:0:99999:7:::\n"
    "carol:$6$rounds=1000$kHnQSD9ubrkCW565$vTZQ.VMGfDYDG5vSXycLIt9JK0uFAsAPsIXAASMuug/A8YQj7b0goy6tM4/ox1zoQhqvyvJG9DtG3K.6G7paD1:19000:0:99999:7::1:\n";

}  // namespace

void WriteUserDatabase(const TempRoot& root)
{
    root.WriteFile("/etc/passwd", kPasswd);
    root.WriteFile("/etc/group", kGroup);
    root.WriteFile("/etc/shadow", kShadow, 0600);
}

}  // namespace arx_testing
