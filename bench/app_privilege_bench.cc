// AppPrivilege answering many questions: the object's construction (one
// scan of the desktop's modules) and each answer, with the platform calls
// it makes counted (this program defines the two platform checks, counts
// them and passes them on).  Run under a root made by
// app_privilege_cost.sh: users bench00..bench49, modules
// VORN.PAD.Bench.Module0000...
//
//   app_privilege_bench QUESTIONS USERS MODULES

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>

#include <random>
#include <set>
#include <string>
#include <vector>

#include <vorn/app_privilege.h>
#include <vorn/user.h>

#include <arx/app_privilege.h>

namespace {
long g_platformCalls = 0;

template <typename Function> Function* Next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

double Now()
{
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}
}  // namespace

extern "C" int VLIBGroupIsAdminGroupMem(const char* user, int flags)
{
    ++g_platformCalls;
    static auto* next = Next<int(const char*, int)>("VLIBGroupIsAdminGroupMem");
    return next(user, flags);
}

extern "C" int VLIBAppPrivUserHas(const char* user, const char* app, const char* extra)
{
    ++g_platformCalls;
    static auto* next = Next<int(const char*, const char*, const char*)>("VLIBAppPrivUserHas");
    return next(user, app, extra);
}

int main(int argc, char** argv)
{
    if (argc != 4) {
        fprintf(stderr, "usage: app_privilege_bench QUESTIONS USERS MODULES\n");
        return 2;
    }
    const int questions = atoi(argv[1]);
    const int users = atoi(argv[2]);
    const int modules = atoi(argv[3]);
    std::mt19937 random(7);
    std::vector<std::pair<std::string, std::string>> asked;
    for (int i = 0; i < questions; ++i) {
        char user[32];
        char app[64];
        snprintf(user, sizeof user, "bench%02d", static_cast<int>(random() % users));
        snprintf(app, sizeof app, "VORN.PAD.Bench.Module%04d", static_cast<int>(random() % modules));
        asked.emplace_back(user, app);
    }

    const double start = Now();
    VORN::PAD::AppPrivilege privilege;
    const double built = Now();
    std::set<std::string> seen;
    long firstCalls = 0;
    long laterCalls = 0;
    double firstTime = 0;
    double laterTime = 0;
    int allowed = 0;
    for (const auto& [user, app] : asked) {
        const long before = g_platformCalls;
        const double asking = Now();
        allowed += privilege.IsUserHasAppPriv(user, app, "") ? 1 : 0;
        const bool first = seen.insert(user).second;
        (first ? firstTime : laterTime) += Now() - asking;
        (first ? firstCalls : laterCalls) += g_platformCalls - before;
    }
    const double answered = Now();
    const size_t later = asked.size() - seen.size();
    printf("construction (one scan of %d modules): %.2f ms\n", modules, (built - start) * 1e3);
    printf("%d answers for %zu users: %.3f ms in all, %.3f us per answer (%d allowed)\n", questions, seen.size(),
           (answered - built) * 1e3, (answered - built) * 1e6 / questions, allowed);
    printf("first question of each user: %.1f us on average, %ld platform calls in all\n",
           firstTime * 1e6 / static_cast<double>(seen.size()), firstCalls);
    printf("the %zu questions after: %.3f us on average, %ld platform calls\n", later,
           later > 0 ? laterTime * 1e6 / static_cast<double>(later) : 0.0, laterCalls);
    return laterCalls == 0 ? 0 : 1;
}
