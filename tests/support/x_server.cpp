#include "x_server.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

extern char** environ;

namespace stereon {
namespace test {

XServer::XServer() {
    int pipeFds[2];
    if (pipe(pipeFds) != 0) {
        error = "pipe failed";
        return;
    }
    // -displayfd picks a free display and writes its number to the descriptor once it listens.
    const std::string fd = std::to_string(pipeFds[1]);
    const char* argv[] = {"Xvfb",    "-displayfd", fd.c_str(), "-nolisten", "tcp",
                          "-screen", "0",          "64x64x24", "-noreset",  nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
    // Its complaints about keyboard maps are not the test's business.
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", 0, 0);
    const int rc = posix_spawnp(&pid, "Xvfb", &actions, nullptr, const_cast<char**>(argv), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeFds[1]);
    if (rc != 0) {
        pid = 0;
        close(pipeFds[0]);
        error = "Xvfb did not start (install xvfb)";
        return;
    }
    std::string number;
    for (;;) {
        pollfd poller = {pipeFds[0], POLLIN, 0};
        char c = 0;
        if (poll(&poller, 1, 30000) <= 0 || read(pipeFds[0], &c, 1) != 1 || c == '\n') {
            break;
        }
        number += c;
    }
    close(pipeFds[0]);
    if (number.empty()) {
        error = "Xvfb started but named no display";
        return;
    }
    display = ":" + number;
}

XServer::~XServer() {
    if (pid > 0) {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
    }
}

ScopedEnvironment::ScopedEnvironment(const char* name, const char* value) : name(name) {
    if (const char* old = std::getenv(name)) {
        had = true;
        previous = old;
    }
    if (value != nullptr) {
        setenv(name, value, 1);
    } else {
        unsetenv(name);
    }
}

ScopedEnvironment::~ScopedEnvironment() {
    if (had) {
        setenv(name.c_str(), previous.c_str(), 1);
    } else {
        unsetenv(name.c_str());
    }
}

}  // namespace test
}  // namespace stereon
