#include "testing/testutil.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "zebo_config.h"

namespace zebotest {

TempDir::TempDir() {
    const char* base = getenv("TMPDIR");
    std::string tmpl = std::string(base && *base ? base : "/tmp") + "/zebotest.XXXXXX";
    std::vector<char> buf(tmpl.begin(), tmpl.end());
    buf.push_back('\0');
    if (!mkdtemp(buf.data())) throw std::runtime_error("mkdtemp failed");
    path_ = buf.data();
}

TempDir::~TempDir() {
    if (getenv("ZEBO_KEEP_TEST_DIRS")) return;
    std::string cmd = "chmod -R u+rwx '" + path_ + "' 2>/dev/null; rm -rf '" + path_ + "'";
    if (system(cmd.c_str()) != 0) {
        // Nothing more to do: a leftover folder in /tmp is harmless.
    }
}

std::string TempDir::file(const std::string& name) const {
    return path_ + "/" + name;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void writeFile(const std::string& path, const std::string& text, int mode) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, mode);
    if (fd < 0) throw std::runtime_error("cannot write " + path + ": " + strerror(errno));
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n <= 0) break;
        done += static_cast<size_t>(n);
    }
    close(fd);
}

bool fileExists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

long fileSize(const std::string& path) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return -1;
    return static_cast<long>(st.st_size);
}

RunResult run(const std::string& command, const std::string& input) {
    RunResult r;
    int in[2], out[2], err[2];
    if (pipe(in) || pipe(out) || pipe(err)) return r;
    pid_t pid = fork();
    if (pid == 0) {
        dup2(in[0], 0);
        dup2(out[1], 1);
        dup2(err[1], 2);
        for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) close(fd);
        execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    close(err[1]);
    // Feed the input and drain both outputs together so that no side blocks.
    signal(SIGPIPE, SIG_IGN);
    size_t sent = 0;
    if (input.empty()) {
        close(in[1]);
        in[1] = -1;
    }
    bool outOpen = true, errOpen = true;
    char buf[65536];
    while (outOpen || errOpen) {
        struct pollfd fds[3];
        int n = 0;
        int outIdx = -1, errIdx = -1, inIdx = -1;
        if (outOpen) {
            fds[n] = {out[0], POLLIN, 0};
            outIdx = n++;
        }
        if (errOpen) {
            fds[n] = {err[0], POLLIN, 0};
            errIdx = n++;
        }
        if (in[1] >= 0) {
            fds[n] = {in[1], POLLOUT, 0};
            inIdx = n++;
        }
        if (poll(fds, n, -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        // Appends what a pipe has ready; false at its end.
        auto drain = [&buf](int fd, std::string* into) {
            ssize_t k = read(fd, buf, sizeof buf);
            if (k > 0) into->append(buf, static_cast<size_t>(k));
            return k > 0;
        };
        if (outIdx >= 0 && fds[outIdx].revents) outOpen = drain(out[0], &r.out);
        if (errIdx >= 0 && fds[errIdx].revents) errOpen = drain(err[0], &r.err);
        if (inIdx >= 0 && fds[inIdx].revents) {
            ssize_t k = write(in[1], input.data() + sent, input.size() - sent);
            if (k > 0) sent += static_cast<size_t>(k);
            if (k <= 0 || sent == input.size()) {
                close(in[1]);
                in[1] = -1;
            }
        }
    }
    if (in[1] >= 0) close(in[1]);
    close(out[0]);
    close(err[0]);
    int st = 0;
    while (waitpid(pid, &st, 0) < 0 && errno == EINTR) {
    }
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
    return r;
}

std::string binDir() {
    return ZEBO_BINARY_DIR "/bin";
}
std::string libDir() {
    return ZEBO_BINARY_DIR "/lib";
}
std::string testBinDir() {
    return ZEBO_BINARY_DIR "/testbin";
}
std::string catalogDir() {
    return ZEBO_BINARY_DIR "/catalogs";
}
std::string sourceDir() {
    return ZEBO_SOURCE_DIR;
}

size_t occurrences(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

std::string hexText(const unsigned char* bytes, size_t n) {
    static const char digits[] = "0123456789ABCDEF";
    std::string out;
    for (size_t i = 0; i < n; ++i) {
        out += digits[bytes[i] >> 4];
        out += digits[bytes[i] & 15];
    }
    return out;
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> v;
    std::string cur;
    for (char c : text) {
        if (c == '\n') {
            v.push_back(cur);
            cur.clear();
        } else {
            cur.push_back(c);
        }
    }
    if (!cur.empty()) v.push_back(cur);
    return v;
}

}  // namespace zebotest
