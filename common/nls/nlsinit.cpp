// nlInit: argument checks, the code-page switches, opening the English and
// the user-language catalogs, and the formats.
#include <langinfo.h>
#include <locale.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "catalogs/rvkclientV3_names.h"
#include "common/nls/nls.h"
#include "common/nls/nlscatalog.h"
#include "common/nls/nlsobject.h"
#include "common/nls/nlssignature.h"
#include "common/unx/nlsfmt.h"
#include "common/ut/instr.h"
#include "common/ut/testflags.h"
#include "common/ut/trace.h"

namespace {

const char kDefaultRepository[] = "rvkclientV3.cat";
const size_t kMaxFileName = 1279;
const size_t kMaxInstallDir = 1023;

void setCodePageSwitches() {
    msgReposCodepage = TEST_ANSINLSREPOS.set ? 0 : 1;
    logMsgCodepage = TEST_OEMLOGMSGS.set ? 1 : 0;
    displayCodepage = TEST_OEMDISPLAY.set ? 1 : 0;
}

void setFormats(int dateFmt, int timeFmt, int numberFmt) {
    nlSetDateFormat(dateFmt);
    nlSetTimeFormat(timeFmt);
    nlSetNumberFormat(numberFmt);
}

void keepName(char** field, const char* name) {
    free(*field);
    *field = strdup(name);
}

// The C and POSIX locales, with or without a code set ("C.UTF-8" is the
// default of many systems), are American English, not a language of their
// own: no warning for them.
bool isPlainLocale(const char* name) {
    size_t n = strcspn(name, ".");
    return (n == 1 && name[0] == 'C') || (n == 5 && strncmp(name, "POSIX", 5) == 0);
}

void setLocaleName(const char* name, char* localeField) {
    snprintf(rvkLocale, sizeof rvkLocale, "%s", name);
    if (localeField) snprintf(localeField, sizeof rvkLocale, "%s", name);
}

// The instrumentation engine's own routine for message 476, restored when
// the repository is released.
void (*gEngine476)(const char*, const char*, const char*) = nullptr;

// Shows message 476 for the instrumentation engine.
void showMessage476(const char* what, const char* file, const char* reason) {
    nlMsg(CLI_REPORT_NOT_OPENED, what, file, reason);
}

// Opens both catalogs. 0 or 610. REQUIRES: nls_mutex held.
int openRepositories(nlsObject_t* obj, const char* msgFile, const char* installDir,
                     int applicationType, char* localeField, const char* reposFile) {
    const char* localeArg =
        applicationType == NL_APP_SILENT || applicationType == NL_APP_AGENT_ENTRY ? nullptr : "";

    const char* englishFile = kDefaultRepository;
    if (applicationType >= NL_APP_AGENT_ENTRY && applicationType <= NL_APP_AGENT_OTHER && msgFile)
        englishFile = reposFile && *reposFile ? reposFile : msgFile;
    if (openCat(installDir, "en_US", englishFile, &obj->englishCat) != 0) {
        keepName(&obj->englishFile, nlLastCatalogPath);
        nlSetPending(obj, NL_SEV_E, 0, "QES0101E Unable to open English message repository '%s'.\n",
                     englishFile);
        return NL_RC_INIT_FAILED;
    }
    keepName(&obj->englishFile, nlLastCatalogPath);
    nlBindSignatures(obj->englishCat, englishFile);
    if (!msgFile) return 0;

    if (rvkLocale[0]) {
        snprintf(Language, sizeof Language, "%s", rvkLocale);
        if (openCat(installDir, rvkLocale, msgFile, &obj->userCat) == 0) {
            keepName(&obj->userFile, nlLastCatalogPath);
            nlBindSignatures(obj->userCat, msgFile);
            return 0;
        }
    } else {
        setlocale(LC_ALL, localeArg);
        const char* name = setlocale(LC_MESSAGES, nullptr);
        if (!name) name = "C";
        if (isPlainLocale(name)) name = "en_US";
        setLocaleName(name, localeField);
        TRACE(TR_NLS, "Locale '%s', code set '%s'\n", rvkLocale, nl_langinfo(CODESET));
        snprintf(Language, sizeof Language, "%s", rvkLocale);
        if (openCat(installDir, rvkLocale, msgFile, &obj->userCat) == 0) {
            keepName(&obj->userFile, nlLastCatalogPath);
            nlBindSignatures(obj->userCat, msgFile);
            return 0;
        }
    }

    // English instead of the user's language: a warning, not a failure.
    setLocaleName("en_US", localeField);
    obj->userCat = obj->englishCat;
    char path[NL_NAME_MAX];
    if (strlen(installDir) + strlen(Language) + strlen(msgFile) + 2 >= NL_NAME_MAX)
        snprintf(path, sizeof path, "???");
    else
        snprintf(path, sizeof path, "%s/%s/%s", installDir, Language, msgFile);
    keepName(&obj->userFile, path);
    nlSetPending(obj, NL_SEV_W, 0,
                 "QES0102W Unable to open the message repository %s. The American English "
                 "repository will be used instead.\n",
                 path);
    return 0;
}

}  // namespace

int nlInit(const char* msgFile, int cacheLimit, const char* errorLog, const char* installDir,
           const char* errorLog2, int retainDays, char retainUnit, int retainSize, char retainMode,
           int applicationType, int dateFmt, int timeFmt, int numberFmt, char* localeField,
           const char* reposFile) {
    nlsObject_t* obj = nlGetGlobalObject();
    if (!obj) return NL_RC_INIT_FAILED;
    if (!installDir) installDir = "";
    if ((msgFile && (!*msgFile || strlen(msgFile) > kMaxFileName)) ||
        (errorLog && strlen(errorLog) > kMaxFileName) ||
        (errorLog2 && strlen(errorLog2) > kMaxFileName) || strlen(installDir) > kMaxInstallDir)
        return NL_RC_INIT_FAILED;

    setCodePageSwitches();
    if (obj->initialised) {
        // The program opens the repository before its options are read, with
        // a bare log name; the second call knows the log directory, so the
        // error log moves there.
        if (errorLog && *errorLog)
            snprintf(obj->errorLogName, sizeof obj->errorLogName, "%s", errorLog);
        setFormats(dateFmt, timeFmt, numberFmt);
        return 0;
    }
    snprintf(obj->errorLogName, sizeof obj->errorLogName, "%s", errorLog ? errorLog : "");
    obj->retainDays = retainDays;
    obj->retainUnit = retainUnit;
    obj->retainSize = retainSize;
    obj->retainMode = retainMode;
    obj->applicationType = applicationType;
    obj->cacheLimit = cacheLimit > 0 ? cacheLimit : 1;
    if (!nls_mutex) nls_mutex = pkMutexCreate();

    int rc;
    {
        NlsLock lock(obj);
        rc = openRepositories(obj, msgFile, installDir, applicationType, localeField, reposFile);
        if (rc == 0) obj->initialised = 1;
    }
    // After the locale is set: layout 0 takes the locale's own formats.
    setFormats(dateFmt, timeFmt, numberFmt);
    if (rc == 0 && instrShowMessage476 != showMessage476) {
        gEngine476 = instrShowMessage476;
        instrShowMessage476 = showMessage476;
    }
    return rc;
}

void nlReleaseHooks() {
    if (instrShowMessage476 == showMessage476) instrShowMessage476 = gEngine476;
}
