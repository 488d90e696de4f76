// The Recovery Catalog query and the default date range; see catquery.h.
#include "sync/catquery.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "common/nls/nls.h"
#include "common/unx/nlsfmt.h"
#include "common/ut/testflags.h"
#include "common/ut/trace.h"
#include "sync/sigcleanup.h"
#include "sync/sqlplusrun.h"
#include "sync/tempfiles.h"
#include "sync/visible.h"

namespace {

// The script, line for line. "spool off" stands after "quit" and is never
// reached; kept deliberately as the script has always been written, since
// quitting closes the spool file anyway.
std::string buildScript(const CatalogConnection* c, const std::string& spoolPath, const char* from,
                        const char* to) {
    std::string s;
    s.reserve(512 + strlen(c->user) + strlen(c->password) + strlen(c->connect) + spoolPath.size());
    // No quoting: SQL*Plus takes the logon line as the administrator typed it.
    s.append(c->user).append("/").append(c->password).append("@").append(c->connect);
    s.append("\nspool ").append(spoolPath);
    s.append(
        "\nset term off "
        "\nset heading on"
        "\nset pagesize 0"
        "\nset linesize 80"
        "\nset recsep off"
        "\nset sqlterminator on"
        "\nalter session set NLS_DATE_FORMAT='MM/DD/YYYY:hh24:mi:ss';"
        "\nselect handle from rc_backup_piece where completion_time >='");
    s.append(from).append(":00:00:00' and completion_time <='").append(to);
    s.append(":23:59:59';\nquit\nspool off");
    return s;
}

int16_t cannotCreate(const char* fn, const char* path) {
    int saved = errno;
    nlMsgFramed(CATQ_SCRIPT_FAILED, path);
    TRACE(TR_ORCLEVEL0, " %s: Exit - could not create '%s', errno = %d\n\n", fn, path, saved);
    return CATQ_SCRIPT_FAILED;
}

// A directory whose name no script line can carry is refused by name.
int16_t unusableDirectory(const char* fn, const char* spoolPath) {
    std::string dir(spoolPath);
    dir.erase(dir.rfind('/') == std::string::npos ? 0 : dir.rfind('/'));
    nlMsgFramed(CATQ_BAD_TEMP_DIR, utVisibleText(dir.c_str()).c_str());
    TRACE(TR_ORCLEVEL0, " %s: Exit - unusable temporary directory\n\n", fn);
    return CATQ_SCRIPT_FAILED;
}

// Removes a file of the query unless ORCLEVEL2 keeps it for diagnosis.
void removeUnlessKept(const char* path) {
    if (TR_ORCLEVEL2) return;
    unlink(path);
    utForgetFile(path);
}

// Creates a file of the query exclusively and privately; a signal removes
// it from then on, unless ORCLEVEL2 keeps it.
FILE* createTracked(const char* path) {
    FILE* file = utCreatePrivateFile(path);
    if (file != nullptr && !TR_ORCLEVEL2) utTrackFile(path);
    return file;
}

}  // namespace

int16_t zeboQueryCatalog(const CatalogConnection* connection, const char* scriptPath,
                         const char* spoolPath, const nlDateTime* fromDate,
                         const nlDateTime* toDate) {
    static const char fn[] = "zeboQueryCatalog()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", fn);

    char from[UT_DATE_TEXT_SIZE];
    char to[UT_DATE_TEXT_SIZE];
    snprintf(from, sizeof from, "%d/%d/%d", fromDate->month, fromDate->day, fromDate->year);
    snprintf(to, sizeof to, "%d/%d/%d", toDate->month, toDate->day, toDate->year);

    std::string spoolArgument;
    if (!utSpoolArgument(spoolPath, &spoolArgument)) return unusableDirectory(fn, spoolPath);
    // Sized to the answers rather than fixed: a script cut short would lose
    // its "quit" and leave SQL*Plus waiting for input from the terminal.
    std::string script = buildScript(connection, spoolArgument, from, to);
    TRACE(TR_ORCLEVEL2, " %s: Both fromDate and toDate specified, sqlCommand is:\n%s\n", fn,
          script.c_str());

    FILE* file = createTracked(scriptPath);
    if (file == nullptr) return cannotCreate(fn, scriptPath);
    bool written = fputs(script.c_str(), file) >= 0;
    if (fclose(file) != 0) written = false;
    if (!written) {
        unlink(scriptPath);
        utForgetFile(scriptPath);
        return cannotCreate(fn, scriptPath);
    }

    // The spool exists before SQL*Plus starts, so that nobody else decides
    // what the file at that name is.
    FILE* spool = createTracked(spoolPath);
    if (spool == nullptr) {
        removeUnlessKept(scriptPath);
        return cannotCreate(fn, spoolPath);
    }
    fclose(spool);

    if (TEST_SYNCDBNORMAN.set) {
        // Without SQL*Plus the catalog lists nothing; the script stays for
        // inspection.
        utForgetFile(scriptPath);
        TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", fn);
        return 0;
    }

    std::string command;
    int status = utRunSqlPlus(scriptPath, &command);
    removeUnlessKept(scriptPath);
    if (static_cast<uint16_t>(status) != 0) {
        removeUnlessKept(spoolPath);
        nlMsgFramed(CATQ_SQLPLUS_FAILED);
        TRACE(TR_ORCLEVEL0, " %s: Exit - SQLPLUS command '%s' failed\n\n", fn, command.c_str());
        return CATQ_SQLPLUS_FAILED;
    }
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", fn);
    return 0;
}

void utDefaultDateRange(char* fromText, char* toText) {
    static const char fn[] = "utDefaultDateRange()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", fn);
    const char* fmt = date_fmt_str;
    char sep = strlen(fmt) >= 3 ? fmt[2] : '/';

    // Places (0 to 2) of the day and the year among the first three fields.
    int dayPlace = 0;
    int yearPlace = 0;
    int field = 0;
    for (const char* p = fmt; *p != '\0' && p[1] != '\0' && field < 3; ++p) {
        if (*p != '%') continue;
        char letter = *++p;
        if (letter == 'd') dayPlace = field;
        if (letter == 'Y' || letter == 'y') yearPlace = field;
        ++field;
    }

    if (yearPlace == 1)
        snprintf(fromText, UT_DATE_TEXT_SIZE, "01%c1990%c01", sep, sep);
    else if (yearPlace == 2)
        snprintf(fromText, UT_DATE_TEXT_SIZE, "01%c01%c1990", sep, sep);
    else
        snprintf(fromText, UT_DATE_TEXT_SIZE, "1990%c01%c01", sep, sep);

    nlDateTime today;
    nlToday(&today);
    char y[8], m[4], d[4];
    snprintf(y, sizeof y, "%04d", today.year);
    snprintf(m, sizeof m, "%02d", today.month);
    snprintf(d, sizeof d, "%02d", today.day);
    const char* part[3];
    if (yearPlace == 0) {
        part[0] = y;
        part[1] = dayPlace == 1 ? d : m;
        part[2] = dayPlace == 1 ? m : d;
    } else if (yearPlace == 1) {
        part[0] = dayPlace != 0 ? m : d;
        part[1] = y;
        part[2] = dayPlace != 0 ? d : m;
    } else {
        part[0] = dayPlace != 0 ? m : d;
        part[1] = dayPlace != 0 ? d : m;
        part[2] = y;
    }
    snprintf(toText, UT_DATE_TEXT_SIZE, "%s%c%s%c%s", part[0], sep, part[1], sep, part[2]);
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK, from = '%s', to = '%s'\n\n", fn, fromText, toText);
}
