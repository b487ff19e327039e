#include "testing/as_root.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace arx_testing {

namespace {

std::vector<gid_t> Groups()
{
    std::vector<gid_t> groups(static_cast<size_t>(getgroups(0, nullptr)));
    groups.resize(static_cast<size_t>(getgroups(static_cast<int>(groups.size()), groups.data())));
    return groups;
}

}  // namespace

void AsRootTest::SetUp()
{
    if (getuid() != 0 || geteuid() != 0)
        GTEST_SKIP() << "switching identities needs root";
    const passwd* nobody = getpwnam("nobody");
    ASSERT_NE(nobody, nullptr);
    nobodyUid_ = nobody->pw_uid;
    nobodyGid_ = nobody->pw_gid;
    groups_ = Groups();
}

void AsRootTest::TearDown()
{
    if (IsSkipped())
        return;
    uid_t ruid, euid, suid;
    gid_t rgid, egid, sgid;
    getresuid(&ruid, &euid, &suid);
    getresgid(&rgid, &egid, &sgid);
    EXPECT_EQ(euid, 0u) << "the test left the process switched";
    EXPECT_EQ(egid, 0u) << "the test left the process switched";
    EXPECT_EQ(Groups(), groups_) << "the test left other groups";
}

}  // namespace arx_testing
