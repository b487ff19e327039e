// SaveJsonFile of a 64 KiB settings document against its floor: the same
// bytes written to a temporary file, synced and renamed over the file,
// the cheapest write that readers never see half of.  Interleaved round by
// round; prints the median and mean of each in microseconds.
//
//   settings-save-bench ROUNDS DIRECTORY
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include <json/json.h>

#include <arx/webutils.h>

namespace {

double NowMicroseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1e6 + now.tv_nsec / 1e3;
}

// Settings as the desktop keeps them: many small members, 64 KiB in all.
Json::Value Document()
{
    Json::Value settings(Json::objectValue);
    for (int i = 0; Json::FastWriter().write(settings).size() < 64 * 1024; ++i) {
        Json::Value& entry = settings["Desktop"]["widgets"][i];
        entry["id"] = "widget-" + std::to_string(i);
        entry["position"]["x"] = i * 7 % 1280;
        entry["position"]["y"] = i * 13 % 720;
        entry["visible"] = i % 3 != 0;
        entry["title"] = "A widget with a title of some length";
    }
    return settings;
}

bool WriteSyncRename(const std::string& path, const std::string& text)
{
    const std::string temporary = path + ".tmp";
    const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return false;
    const bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && fsync(fd) == 0;
    return close(fd) == 0 && ok && rename(temporary.c_str(), path.c_str()) == 0;
}

void Print(const char* name, std::vector<double> times)
{
    std::sort(times.begin(), times.end());
    const double mean = std::accumulate(times.begin(), times.end(), 0.0) / times.size();
    printf("%s %.1f %.1f\n", name, times[times.size() / 2], mean);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    const int rounds = atoi(argv[1]);
    const std::string dir = argv[2];
    Json::Value settings = Document();
    const std::string text = Json::FastWriter().write(settings);
    std::vector<double> saves, floors;
    for (int round = 0; round < rounds; ++round) {
        double start = NowMicroseconds();
        if (!WebUtils::SaveJsonFile(settings, (dir + "/usersettings").c_str()))
            return 1;
        saves.push_back(NowMicroseconds() - start);
        start = NowMicroseconds();
        if (!WriteSyncRename(dir + "/floor", text))
            return 1;
        floors.push_back(NowMicroseconds() - start);
    }
    printf("bytes %zu\n", text.size());
    Print("save", saves);
    Print("floor", floors);
    return 0;
}
