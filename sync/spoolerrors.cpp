// Errors in the SQL*Plus spool; see spoolerrors.h.
#include "sync/spoolerrors.h"

#include <ctype.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <memory>

#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "common/ut/trace.h"
#include "sync/phasetime.h"

namespace {

// `prefix`, then `digits` decimal digits and a colon.
bool codedError(const char* line, const char* prefix, int digits) {
    size_t n = strlen(prefix);
    if (strncmp(line, prefix, n) != 0) return false;
    for (int i = 0; i < digits; ++i)
        if (!isdigit(static_cast<unsigned char>(line[n + i]))) return false;
    return line[n + digits] == ':';
}

// The line without its line end and the blanks that pad it to the line size.
std::string trimmed(const char* line) {
    size_t n = strlen(line);
    while (n > 0 && strchr(" \t\r\n", line[n - 1]) != nullptr) --n;
    return std::string(line, n);
}

}  // namespace

bool utIsSpoolErrorLine(const char* line) {
    if (codedError(line, "ORA-", 5) || codedError(line, "SP2-", 4)) return true;
    if (strncmp(line, "ERROR at line", 13) == 0) return true;
    // Only a line that starts so is trimmed: every handle line is padded
    // with blanks to the line size.
    return strncmp(line, "ERROR:", 6) == 0 && trimmed(line) == "ERROR:";
}

// The spool of a large catalog is tens of megabytes that the load reads
// right after, so the scan reads it in large blocks and copies out only the
// lines that can be errors (they start with 'O', 'S' or 'E'); every other
// line is skipped at the speed of memchr. An error line is never split,
// whatever its length: a line that runs over a block is carried over.
size_t utFindSpoolErrors(const char* spoolPath, size_t most, std::vector<std::string>* found) {
    int fd = open(spoolPath, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return 0;
    enum { kBlock = 1 << 20 };
    std::unique_ptr<char[]> block(new char[kBlock]);
    size_t errors = 0;
    std::string line;  // the candidate line so far
    bool atStart = true, candidate = false;
    auto lineEnded = [&] {
        if (candidate && utIsSpoolErrorLine(line.c_str()) && ++errors <= most)
            found->push_back(trimmed(line.c_str()));
        line.clear();
        atStart = true;
    };
    ssize_t n;
    while ((n = read(fd, block.get(), kBlock)) > 0 || (n < 0 && errno == EINTR)) {
        const char* at = block.get();
        const char* end = at + (n > 0 ? n : 0);
        while (at < end) {
            if (atStart) {
                candidate = *at == 'O' || *at == 'S' || *at == 'E';
                atStart = false;
            }
            const char* nl = static_cast<const char*>(memchr(at, '\n', end - at));
            const char* next = nl != nullptr ? nl + 1 : end;
            if (candidate) line.append(at, next - at);
            at = next;
            if (nl != nullptr) lineEnded();
        }
    }
    if (!atStart) lineEnded();
    close(fd);
    return errors;
}

int16_t utCheckSpool(const CatalogConnection* connection, const char* spoolPath) {
    static const char fn[] = "utCheckSpool()";
    utBenchMark("check.start");
    std::vector<std::string> found;
    size_t errors = utFindSpoolErrors(spoolPath, SPOOL_ERRORS_SHOWN, &found);
    if (errors == 0) return 0;
    nlMsg(MSG_SEPARATOR);
    for (const std::string& line : found) nlMsg(MSG_LINE, line.c_str());
    nlMsg(SPOOL_QUERY_FAILED, connection->user, connection->connect);
    nlMsg(MSG_SEPARATOR);
    TRACE(TR_ORCLEVEL0, " %s: %lu error lines in '%s', the first: '%s'\n", fn,
          static_cast<unsigned long>(errors), spoolPath, found.front().c_str());
    if (!TR_ORCLEVEL2) unlink(spoolPath);
    return SPOOL_QUERY_FAILED;
}
