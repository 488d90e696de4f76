#include "agent/errorlog.h"

#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <new>

#include "agent/agentenv.h"
#include "agent/optfile.h"
#include "common/unx/nlsfmt.h"

namespace {

const char kLogName[] = "zeboerror.log";

// "<date> <time>" in the user's layouts.
void makeStamp(char* stamp, size_t size) {
    char date[16], time[16];
    unsigned long ms = 0;
    nlDateTimeNow(date, sizeof date, time, sizeof time, &ms);
    snprintf(stamp, size, "%s %s", date, time);
}

// dir + "/" (unless it ends in one) + zeboerror.log when dir is writable,
// else the bare name: the log then lands in the current directory.
void logPathIn(const char* dir, char* path, size_t size) {
    size_t n = strlen(dir);
    if (n && access(dir, W_OK) == 0) {
        snprintf(path, size, "%s%s%s", dir, dir[n - 1] == '/' ? "" : "/", kLogName);
    } else {
        snprintf(path, size, "%s", kLogName);
    }
}

}  // namespace

int16_t zeboGetErrorLogName(char* path) {
    path[0] = '\0';
    char dir[ZEBO_OPT_VALUE_SIZE] = "";
    FILE* file = nullptr;
    char optPath[ZEBO_PATH_SIZE];
    int lines = 0;
    bool found = false;
    if (zeboOpenOptFile(&file, optPath, &lines) == 0) {
        found = zeboGetOptValue(file, "RVKI_LOG", dir, sizeof dir) == 0;
        fclose(file);
    }
    // A key whose value cleans down to nothing is not missing: its empty
    // directory is not writable, so the log goes to the current directory.
    if (!found) {
        int rc = zeboGetAgentDir(dir, sizeof dir);
        if (rc != 0) return static_cast<int16_t>(rc);
    }
    logPathIn(dir, path, ZEBO_LOG_PATH_SIZE);
    return 0;
}

void psAppendLocked(const char* path, const char* text) {
    if (!path || !*path) return;
    int fd = open(path, O_RDWR | O_CREAT, 0600);
    if (fd < 0) return;
    // The lock covers the file from the start to beyond its end, so a writer
    // that comes second waits until the first line is complete.
    if (lockf(fd, F_LOCK, 0) != 0) {
        close(fd);
        return;
    }
    if (lseek(fd, 0, SEEK_END) >= 0) {
        size_t left = strlen(text);
        const char* p = text;
        while (left > 0) {
            ssize_t n = write(fd, p, left);
            if (n <= 0) break;
            p += n;
            left -= static_cast<size_t>(n);
        }
    }
    lseek(fd, 0, SEEK_SET);
    lockf(fd, F_ULOCK, 0);
    close(fd);
}

void zeboErrorMsg(const char* text) {
    char path[ZEBO_LOG_PATH_SIZE];
    if (zeboGetErrorLogName(path) != 0) return;
    char stamp[40];
    makeStamp(stamp, sizeof stamp);
    const char* body = text ? text : "";
    size_t size = strlen(stamp) + strlen(body) + 64;
    char* line = new (std::nothrow) char[size];
    if (!line) return;
    snprintf(line, size, "%s TID<%d> ==> %s\n", stamp, static_cast<int>(getpid()), body);
    psAppendLocked(path, line);
    delete[] line;
}

void psNonNlsErrorLogName(char* path) {
    char dir[ZEBO_PATH_SIZE];
    if (zeboGetAgentDir(dir, sizeof dir) != 0) dir[0] = '\0';
    logPathIn(dir, path, ZEBO_LOG_PATH_SIZE);
}

void psNonNlsErrorMsg(const char* format, ...) {
    char path[ZEBO_LOG_PATH_SIZE];
    psNonNlsErrorLogName(path);
    FILE* log = fopen(path, "a+");
    if (!log) return;
    char stamp[40];
    makeStamp(stamp, sizeof stamp);
    fprintf(log, "%s TID<%d>  ==>  ", stamp, static_cast<int>(getpid()));
    va_list args;
    va_start(args, format);
    vfprintf(log, format, args);
    va_end(args);
    fputc('\n', log);
    fclose(log);
}
