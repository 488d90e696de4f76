// Errors in the SQL*Plus spool; see spoolerrors.h.
#include "sync/spoolerrors.h"

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

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

size_t utFindSpoolErrors(const char* spoolPath, size_t most, std::vector<std::string>* found) {
    FILE* spool = fopen(spoolPath, "r");
    if (spool == nullptr) return 0;
    size_t errors = 0;
    char* line = nullptr;
    size_t size = 0;
    // Whole lines: an error line is never split, whatever its length.
    while (getline(&line, &size, spool) != -1) {
        if (!utIsSpoolErrorLine(line)) continue;
        if (++errors <= most) found->push_back(trimmed(line));
    }
    free(line);
    fclose(spool);
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
