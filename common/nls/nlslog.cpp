// The error log and the schedule log as append-only sinks. Each text becomes
// one line "<date> <time> TID<pid> ==> <text>", the layout of the agent's
// own error lines, so that both kinds read alike in zeboerror.log. The file
// is opened for each line and locked while the line is written, so that
// processes sharing a log do not interleave.
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <mutex>
#include <string>

#include "common/nls/nls.h"
#include "common/nls/nlsobject.h"
#include "common/unx/nlsfmt.h"

namespace {

std::mutex gScheduleLogLock;
std::string gScheduleLog;

void appendStamped(const char* path, const char* text) {
    if (!path || !*path || !text) return;
    char date[16], time[16];
    unsigned long ms = 0;
    nlDateTimeNow(date, sizeof date, time, sizeof time, &ms);
    std::string body(text);
    while (!body.empty() && body.back() == '\n') body.pop_back();
    std::string line = std::string(date) + " " + time + " TID<" + std::to_string(getpid()) +
                       "> ==> " + body + "\n";
    int fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) return;
    if (lockf(fd, F_LOCK, 0) == 0) {
        size_t done = 0;
        while (done < line.size()) {
            ssize_t n = write(fd, line.data() + done, line.size() - done);
            if (n <= 0) break;
            done += static_cast<size_t>(n);
        }
        lockf(fd, F_ULOCK, 0);
    }
    close(fd);
}

}  // namespace

void nlAppendErrorLog(const char* text) {
    nlsObject_t* obj = nlGetGlobalObject();
    if (!obj) return;
    appendStamped(obj->errorLogName, text);
}

void nlSetScheduleLog(const char* path) {
    std::lock_guard<std::mutex> hold(gScheduleLogLock);
    gScheduleLog = path ? path : "";
}

void nlAppendScheduleLog(const char* text) {
    std::string path;
    {
        std::lock_guard<std::mutex> hold(gScheduleLogLock);
        path = gScheduleLog;
    }
    appendStamped(path.c_str(), text);
}
