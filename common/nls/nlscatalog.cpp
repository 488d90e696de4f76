#include "common/nls/nlscatalog.h"

#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "common/nls/nlsdecode.h"
#include "common/nls/nlssignature.h"
#include "common/unx/psenv.h"
#include "common/ut/trace.h"

nlCatgetsFn nlCatgetsSeam = catgets;
unsigned long nlCatalogReads = 0;
char nlLastCatalogPath[NL_NAME_MAX];

namespace {

const char kDefaultRepository[] = "rvkclientV3.cat";

struct LanguageRow {
    const char* key;
    const char* dir;
};

// Two-letter language names and their catalog folders; looked up with a
// case-sensitive comparison ("Ja" and "ja" are different folders).
const LanguageRow kLanguages[] = {
    {"Ja", "Ja_JP"}, {"Zh", "Zh_CN"}, {"de", "de_DE"}, {"en", "en_US"},
    {"es", "es_ES"}, {"fr", "fr_FR"}, {"it", "it_IT"}, {"ja", "ja_JP"},
    {"ko", "ko_KR"}, {"pt", "pt_BR"}, {"zh", "zh_CN"},
};

const char* baseName(const char* path) {
    const char* slash = strrchr(path, '/');
    return slash ? slash + 1 : path;
}

nl_catd tryOpen(const char* path) {
    snprintf(nlLastCatalogPath, sizeof nlLastCatalogPath, "%s", path);
    return catopen(path, NL_CAT_LOCALE);
}

void traceOpen(nl_catd cat) {
    int e = errno;
    TRACE(TR_NLS, "catopen() returned %p (%d) errno = %d '%s'\n", static_cast<void*>(cat),
          static_cast<int>(reinterpret_cast<intptr_t>(cat)), e, strerror(e));
}

}  // namespace

void nlLanguageDir(const char* language, char* out, size_t size) {
    char name[64];
    snprintf(name, sizeof name, "%s", language ? language : "");
    if (strcmp(name, "zh_TW.BIG5") == 0) {
        snprintf(out, size, "Zh_TW");
        return;
    }
    if (char* dot = strchr(name, '.')) *dot = 0;
    if (strlen(name) == 2) {
        for (const LanguageRow& row : kLanguages) {
            if (strcmp(row.key, name) == 0) {
                snprintf(out, size, "%s", row.dir);
                return;
            }
        }
        TRACE(TR_NLS, "Language specification \"%s\" not found, substituting US English\n", name);
        snprintf(out, size, "en_US");
        return;
    }
    snprintf(out, size, "%s", name);
}

int openCat(const char* installDir, const char* language, const char* file, nl_catd* handle) {
    if (!installDir) installDir = "";
    if (!language) language = "";
    TRACE(TR_NLS, "openCat(): lang: '%s', reposFile: '%s', dsdir: '%s', eitherCatP: %p\n", language,
          file ? file : trNullString, installDir, static_cast<void*>(handle));
    if (!file || !*file) file = kDefaultRepository;
    if (strlen(installDir) + strlen(language) + strlen(file) + 2 >= NL_NAME_MAX) {
        TRACE(TR_NLS, "openCat(): The passed arguments are too long\n");
        return 2;
    }
    char path[NL_NAME_MAX];
    snprintf(path, sizeof path, "%s/%s/%s", installDir, language, file);
    nl_catd cat = tryOpen(path);
    if (cat == NL_CAT_NOT_OPEN) {
        errno = 0;
        cat = catopen(file, NL_CAT_LOCALE);
    }
    traceOpen(cat);
    if (cat != NL_CAT_NOT_OPEN) {
        *handle = cat;
        return 0;
    }

    char dir[64];
    nlLanguageDir(language, dir, sizeof dir);
    snprintf(Language, sizeof Language, "%s", dir);
    if (strlen(installDir) + strlen(dir) + strlen(file) + 2 >= NL_NAME_MAX) {
        TRACE(TR_NLS, "openCat(): The passed arguments are too long\n");
        return 2;
    }
    snprintf(path, sizeof path, "%s/%s/%s", installDir, dir, file);
    cat = tryOpen(path);
    traceOpen(cat);
    if (cat == NL_CAT_NOT_OPEN) return 2;
    *handle = cat;
    return 0;
}

NLSMsg* nlReadMessage(nlsObject_t* obj, unsigned number) {
    nl_catd cat = obj->useEnglishOnce ? obj->englishCat : obj->userCat;
    TRACE(TR_NLS, "Going to catgets() for localCatP = %p (%d)\n", static_cast<void*>(cat),
          static_cast<int>(reinterpret_cast<intptr_t>(cat)));
    if (cat == NL_CAT_NOT_OPEN) cat = obj->englishCat;
    // Before a successful initialisation there is no catalog to read: no
    // text, and no error for every message asked for.
    if (cat == NL_CAT_NOT_OPEN) return nullptr;
    errno = 0;
    ++nlCatalogReads;
    const char* text = nlCatgetsSeam(cat, 1, static_cast<int>(number), kNlDefaultText);
    if (!text || errno != 0) {
        int e = errno;
        TRACE(TR_NLS, "Returned from catgets() errno = %d/%s\n", e, strerror(e));
    } else {
        TRACE(TR_NLS, "Returned from catgets() msgP = %s\n", text);
    }
    if (!text) text = kNlDefaultText;

    NLSMsg* msg = nullptr;
    nlDecodeStatus status = nlDecodeCatalogText(number, text, &msg);
    if (status == NL_DECODE_OK && !nlSignatureAccepted(cat, msg)) {
        // Formatting it would read arguments that the caller never passed.
        TRACE(TR_NLS, "Message %u does not take the program's arguments\n", number);
        psAllocator.freeFn(msg);
        msg = nullptr;
        status = NL_DECODE_CORRUPTED;
    }
    switch (status) {
        case NL_DECODE_OK:
            return msg;
        case NL_DECODE_RETIRED:
            return nullptr;
        case NL_DECODE_MISSING:
            nlSetPending(obj, NL_SEV_E, 1, "QES9999E %s(%u): Message No %u could not be found.\n",
                         baseName(__FILE__), static_cast<unsigned>(__LINE__), number);
            return nullptr;
        case NL_DECODE_CORRUPTED:
            nlSetPending(obj, NL_SEV_E, 1, "QES9999E %s(%u): Message No %u is corrupted.\n",
                         baseName(__FILE__), static_cast<unsigned>(__LINE__), number);
            return nullptr;
        case NL_DECODE_NO_MEMORY:
            nlSetPending(obj, NL_SEV_E, 0,
                         "QES0109E Insufficient memory for allocation of message structure.\n");
            return nullptr;
    }
    return nullptr;
}
