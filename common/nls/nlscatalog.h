// Opening message catalogs and reading one message from them.
//
// A catalog is looked for as "<install dir>/<language>/<file>", then by its
// bare name on the system's catalog path (NLSPATH), then under a language
// folder derived from the locale name: "zh_TW.BIG5" is "Zh_TW", a code set
// (".UTF-8") is cut off, and a two-letter language is looked up in a fixed
// table ("de" is "de_DE"); an unknown one becomes "en_US".
//
// Thread safety: openCat runs during initialisation; nlReadMessage runs
// under nls_mutex. The seams are set by tests while single-threaded.
#ifndef ZEBO_COMMON_NLS_NLSCATALOG_H
#define ZEBO_COMMON_NLS_NLSCATALOG_H

#include <nl_types.h>
#include <stddef.h>

#include "common/nls/nlsobject.h"

// The catalog reader (catgets) and how often it was called: tests count
// catalog reads to see cache hits and evictions, or return texts of their
// own.
typedef char* (*nlCatgetsFn)(nl_catd catalog, int set, int number, const char* dflt);
extern nlCatgetsFn nlCatgetsSeam;
extern unsigned long nlCatalogReads;

// Opens installDir/language/file (file "" or null: "rvkclientV3.cat") into
// *handle. 0, or 2 when no catalog could be opened or the path would be too
// long. The last path tried is kept in nlLastCatalogPath.
int openCat(const char* installDir, const char* language, const char* file, nl_catd* handle);
extern char nlLastCatalogPath[NL_NAME_MAX];

// The language folder for a locale name (see above); out has `size` bytes.
void nlLanguageDir(const char* language, char* out, size_t size);

// Reads message `number` from the English catalog when obj->useEnglishOnce
// is set, else from the user's. A missing or corrupted message leaves a
// QES9999E report pending (shown and logged after the lock); a retired one
// (letter M) gives null silently; no memory leaves QES0109E pending.
// REQUIRES: nls_mutex held.
NLSMsg* nlReadMessage(nlsObject_t* obj, unsigned number);

#endif
