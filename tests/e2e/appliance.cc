#include "tests/e2e/appliance.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

#include "testing/temp_root.h"

namespace arx_e2e {

namespace {

int FreeLoopbackPort()
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        close(fd);
        throw std::runtime_error("no free loopback port");
    }
    close(fd);
    return ntohs(address.sin_port);
}

bool Accepts(int port)
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool ok = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(fd);
    return ok;
}

int Run(const std::string& command)
{
    const int status = system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

Appliance::Appliance(const std::string& rootOverlay) : overlay_(rootOverlay)
{
    char pattern[] = "/tmp/arx-e2e.XXXXXX";
    if (mkdtemp(pattern) == nullptr)
        throw std::runtime_error("mkdtemp failed");
    scratch_ = pattern;
    // A port found free can be taken before lighttpd binds it: try again.
    for (int attempt = 0; attempt < 5; ++attempt) {
        if (Start())
            return;
    }
    throw std::runtime_error("lighttpd did not start: " + ErrorLog());
}

Appliance::~Appliance()
{
    Stop();
    arx_testing::RemoveTree(scratch_);
}

bool Appliance::Start()
{
    port_ = FreeLoopbackPort();
    const std::string stage = std::string(ARX_SOURCE_DIR) + "/scripts/stage-root.sh " + scratch_ + " " +
                              ARX_BUILD_DIR + " " + std::to_string(port_) + " " + overlay_;
    if (Run(stage) != 0)
        throw std::runtime_error("staging the appliance failed");
    const std::string config = scratch_ + "/lighttpd.conf";
    server_ = fork();
    if (server_ < 0)
        throw std::runtime_error("fork failed");
    if (server_ == 0) {
        execl(ARX_LIGHTTPD, "lighttpd", "-D", "-f", config.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    for (int wait = 0; wait < 500; ++wait) {
        if (Accepts(port_))
            return true;
        int status;
        if (waitpid(server_, &status, WNOHANG) == server_) {
            server_ = -1;
            return false;
        }
        usleep(10 * 1000);
    }
    Stop();
    return false;
}

void Appliance::Stop()
{
    if (server_ <= 0)
        return;
    kill(server_, SIGTERM);
    int status;
    waitpid(server_, &status, 0);
    server_ = -1;
}

std::string Appliance::Url(const std::string& path) const
{
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::string Appliance::ErrorLog() const
{
    return arx_testing::ReadWholeFile(scratch_ + "/log/error.log");
}

}  // namespace arx_e2e
