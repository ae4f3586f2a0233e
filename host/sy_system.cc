#include "host/sy_system.h"

#include <errno.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

namespace NS_sy_system {

int statusOf(int status) {
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    return -1;
}

}  // namespace NS_sy_system

int sy_system(char const* command, int timeoutSeconds) {
    if (command == nullptr) return -1;
    pid_t child = fork();
    if (child < 0) return -1;
    if (child == 0) {
        // Only async-signal-safe calls between fork and exec. A group of its
        // own, so a time-out takes down what the command started too.
        setpgid(0, 0);
        execl("/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    if (timeoutSeconds <= 0) {
        while (waitpid(child, &status, 0) < 0) {
            if (errno != EINTR) return -1;
        }
        return NS_sy_system::statusOf(status);
    }
    struct timespec start {};
    clock_gettime(CLOCK_MONOTONIC, &start);
    while (true) {
        pid_t done = waitpid(child, &status, WNOHANG);
        if (done == child) return NS_sy_system::statusOf(status);
        if (done < 0 && errno != EINTR) return -1;
        struct timespec now {};
        clock_gettime(CLOCK_MONOTONIC, &now);
        long long elapsedMs = (static_cast<long long>(now.tv_sec) - start.tv_sec) * 1000LL +
                              (now.tv_nsec - start.tv_nsec) / 1000000;
        if (elapsedMs >= timeoutSeconds * 1000LL) {
            kill(-child, SIGKILL);
            while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
            }
            return -1;
        }
        struct timespec pause {0, 10 * 1000 * 1000};
        nanosleep(&pause, nullptr);
    }
}
