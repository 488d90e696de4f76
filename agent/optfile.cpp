#include "agent/optfile.h"

#include <ctype.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <wchar.h>
#include <wctype.h>

#include "agent/agentenv.h"
#include "agent/errorlog.h"
#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "common/ut/trace.h"

const char* const optLookup[OPT_COUNT] = {
    "RVKI_DIR",          "RVKI_LOG",          "RVKI_ORC_DIR",      "RVKI_ORC_CONFIG",
    "ZEBO_AVG_SIZE",     "ZEBO_FS",           "ZEBO_NODE",         "ZEBO_OWNER",
    "ZEBO_PSWDPATH",     "ZEBO_TRACE_MAX",    "ZEBO_TRACE_FILE",   "ZEBO_TRACE_FLAGS",
    "ZEBO_MGMT_CLASS_2", "ZEBO_MGMT_CLASS_3", "ZEBO_MGMT_CLASS_4", "ZEBO_NUM_BUFFERS",
    "ZEBO_DATE_FMT",     "ZEBO_TIME_FMT",     "ZEBO_NUM_FMT",      "ZEBO_LANGUAGE",
    "ZEBO_TEST_FLAGS"};

namespace {

const char kKeywordDelimiters[] = " ,\n\t";

// Writes a message of the agent catalog to the fallback log. Nothing when
// the text cannot be built.
void reportOptionError(unsigned number, const char* first, const char* second) {
    char* text = second ? nlFormatText(number, first, second) : nlFormatText(number, first);
    if (!text) return;
    psNonNlsErrorMsg("%s", text);
    free(text);
}

// Reads the next piece of at most 512 characters; drops one trailing line
// feed or carriage return. False at end of file.
bool readPiece(FILE* file, char* line, int* lineCount) {
    if (!fgets(line, ZEBO_OPT_LINE_MAX + 1, file)) return false;
    if (lineCount) ++*lineCount;
    size_t n = strlen(line);
    if (n && (line[n - 1] == '\n' || line[n - 1] == '\r')) line[n - 1] = '\0';
    return true;
}

bool isCommentOrBlank(const char* line) {
    while (isspace(static_cast<unsigned char>(*line))) ++line;
    return *line == '\0' || *line == '*';
}

// Upper-cases a keyword through wide characters, so that every letter of the
// locale folds, not only ASCII. Bytes that are no valid multibyte text are
// folded one by one instead.
void upperCaseKeyword(char* text, size_t size) {
    const size_t kWideMax = ZEBO_OPT_LINE_MAX;
    wchar_t wide[kWideMax + 1];
    size_t count = mbstowcs(wide, text, kWideMax);
    if (count != static_cast<size_t>(-1)) {
        wide[count < kWideMax ? count : kWideMax] = L'\0';
        for (size_t i = 0; wide[i]; ++i) wide[i] = static_cast<wchar_t>(towupper(wide[i]));
        char folded[4 * (ZEBO_OPT_LINE_MAX + 1)];
        size_t bytes = wcstombs(folded, wide, sizeof folded);
        if (bytes != static_cast<size_t>(-1) && bytes < size) {
            memcpy(text, folded, bytes + 1);
            return;
        }
    }
    for (char* p = text; *p; ++p) *p = static_cast<char>(toupper(static_cast<unsigned char>(*p)));
}

// Splits a line into its keyword (upper-cased, into `keyword`) and the rest
// after the delimiter that ended it (null when nothing follows).
bool splitKeyword(char* line, char* keyword, size_t keywordSize, const char** rest) {
    char* start = line + strspn(line, kKeywordDelimiters);
    if (*start == '\0') return false;
    size_t length = strcspn(start, kKeywordDelimiters);
    if (length >= keywordSize) length = keywordSize - 1;
    memcpy(keyword, start, length);
    keyword[length] = '\0';
    upperCaseKeyword(keyword, keywordSize);
    char* end = start + strcspn(start, kKeywordDelimiters);
    *rest = (*end == '\0') ? nullptr : end + 1;
    return true;
}

// Reads on to the next line that holds a keyword (comments and blank lines
// skipped) into `line`, and splits it as splitKeyword does; `keyword` has
// room for a whole line. False at the end of the file.
bool nextKeywordLine(FILE* file, int* lineCount, char* line, char* keyword, const char** rest) {
    while (readPiece(file, line, lineCount)) {
        if (isCommentOrBlank(line)) continue;
        if (splitKeyword(line, keyword, ZEBO_OPT_LINE_MAX + 1, rest)) return true;
    }
    return false;
}

// Leading and trailing white space removed, every double quote dropped.
void cleanValue(const char* raw, char* value, size_t size) {
    while (isspace(static_cast<unsigned char>(*raw))) ++raw;
    size_t out = 0;
    for (; *raw && out + 1 < size; ++raw) {
        if (*raw != '"') value[out++] = *raw;
    }
    while (out > 0 && isspace(static_cast<unsigned char>(value[out - 1]))) --out;
    value[out] = '\0';
}

int keywordSlot(const char* keyword) {
    for (int i = 0; i < OPT_COUNT; ++i) {
        if (strcmp(keyword, optLookup[i]) == 0) return i;
    }
    return -1;
}

// Copies a value into a 512-byte slot, cut to 511 characters. The source
// may be the slot itself shifted (memmove).
void copySlot(char* slot, const char* text) {
    size_t n = strnlen(text, ZEBO_OPT_VALUE_SIZE - 1);
    memmove(slot, text, n);
    slot[n] = '\0';
}

}  // namespace

int16_t zeboOpenOptFile(FILE** file, char* path, int* lineCount) {
    *file = nullptr;
    if (lineCount) *lineCount = 0;
    char value[ZEBO_PATH_SIZE];
    if (psGetEnv("ZEBO_OPTFILE", value, sizeof value)) {
        size_t n = strlen(value);
        if (n > 1 && ((value[0] == '"' && value[n - 1] == '"') ||
                      (value[0] == '\'' && value[n - 1] == '\''))) {
            memcpy(path, value + 1, n - 2);
            path[n - 2] = '\0';
        } else {
            memcpy(path, value, n + 1);
        }
    } else {
        int rc = zeboGetDefaultOptFile(path, ZEBO_PATH_SIZE);
        if (rc != 0) return static_cast<int16_t>(rc);
    }
    *file = fopen(path, "r");
    // A directory opens for reading, but no line can be read from it: the
    // run would go on with the defaults as if the file were empty.
    struct stat st;
    if (*file && (fstat(fileno(*file), &st) != 0 || S_ISDIR(st.st_mode))) {
        fclose(*file);
        *file = nullptr;
    }
    if (!*file) {
        TRACE(TR_ORCLEVEL0, " %s: Exit - cannot open '%s'\n\n", "zeboOpenOptFile()", path);
        reportOptionError(MSG_OPTFILE_NOT_OPENED, path, nullptr);
        return ZEBO_RC_AGENT_FAILED;
    }
    return 0;
}

int16_t zeboParseOptFile(AgentContext* context, FILE* file, const char* path, int* lineCount) {
    char line[ZEBO_OPT_LINE_MAX + 1];
    char keyword[ZEBO_OPT_LINE_MAX + 1];
    const char* rest = nullptr;
    while (nextKeywordLine(file, lineCount, line, keyword, &rest)) {
        int slot = keywordSlot(keyword);
        if (slot < 0) {
            TRACE(TR_ORCLEVEL0, " %s: unknown keyword '%s' in line %d\n", "zeboParseOptFile()",
                  keyword, lineCount ? *lineCount : 0);
            reportOptionError(MSG_UNKNOWN_KEYWORD, keyword, path);
            return ZEBO_RC_AGENT_FAILED;
        }
        if (!rest || *rest == '\0') {
            reportOptionError(MSG_KEYWORD_WITHOUT_VALUE, keyword, path);
            return ZEBO_RC_AGENT_FAILED;
        }
        if (slot == OPT_ZEBO_TEST_FLAGS) {
            // Test flags carry their own quoting; the parser of the flags
            // needs them exactly as written.
            copySlot(context->optValue[slot], rest);
            continue;
        }
        char value[ZEBO_OPT_VALUE_SIZE];
        cleanValue(rest, value, sizeof value);
        if (value[0] == '\0') {
            reportOptionError(MSG_KEYWORD_WITHOUT_VALUE, keyword, path);
            return ZEBO_RC_AGENT_FAILED;
        }
        copySlot(context->optValue[slot], value);
    }
    return 0;
}

void zeboCheckFS(AgentContext* context) {
    static const char kName[] = "zeboCheckFS()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", kName);
    char* fs = context->optValue[OPT_ZEBO_FS];
    if (fs[0] != '/') {
        char normal[ZEBO_OPT_VALUE_SIZE];
        const char* name = (fs[0] == '\\') ? fs + 1 : fs;
        size_t n = strnlen(name, ZEBO_OPT_VALUE_SIZE - 2);
        normal[0] = '/';
        memcpy(normal + 1, name, n);
        normal[n + 1] = '\0';
        copySlot(fs, normal);
    }
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", kName);
}

int zeboGetOptValue(FILE* file, const char* keyword, char* value, size_t size) {
    rewind(file);
    char line[ZEBO_OPT_LINE_MAX + 1];
    char found[ZEBO_OPT_LINE_MAX + 1];
    const char* rest = nullptr;
    while (nextKeywordLine(file, nullptr, line, found, &rest)) {
        if (strcmp(found, keyword) != 0) continue;
        // Nothing after the keyword's delimiter is no value, as in the parser.
        if (!rest || *rest == '\0') return -1;
        cleanValue(rest, value, size);
        return 0;
    }
    return -1;
}

int16_t zeboReadOptions(AgentContext* context) {
    static const char kName[] = "zeboReadOptions()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", kName);
    memset(context, 0, sizeof *context);
    char(*slot)[ZEBO_OPT_VALUE_SIZE] = context->optValue;
    copySlot(slot[OPT_ZEBO_AVG_SIZE], "50");
    copySlot(slot[OPT_ZEBO_NUM_BUFFERS], "1");
    snprintf(slot[OPT_ZEBO_FS], ZEBO_OPT_VALUE_SIZE, "/%s", "koruorc");
    int rc = zeboGetApiDir(slot[OPT_RVKI_DIR], ZEBO_OPT_VALUE_SIZE);
    if (rc == 0) rc = zeboGetAgentDir(slot[OPT_RVKI_ORC_DIR], ZEBO_OPT_VALUE_SIZE);
    if (rc != 0) {
        TRACE(TR_ORCLEVEL0, " %s: Exit - directory lookup failed, rc = %d\n\n", kName, rc);
        return static_cast<int16_t>(rc);
    }
    copySlot(slot[OPT_RVKI_LOG], slot[OPT_RVKI_ORC_DIR]);
    copySlot(slot[OPT_ZEBO_PSWDPATH], slot[OPT_RVKI_ORC_DIR]);

    FILE* file = nullptr;
    char path[ZEBO_PATH_SIZE];
    int lineCount = 0;
    int16_t result = zeboOpenOptFile(&file, path, &lineCount);
    if (result != 0) {
        TRACE(TR_ORCLEVEL0, " %s: Exit - zeboOpenOptFile() failed, rc = %d\n\n", kName, result);
        return result;
    }
    result = zeboParseOptFile(context, file, path, &lineCount);
    fclose(file);
    if (result != 0) {
        TRACE(TR_ORCLEVEL0, " %s: Exit - zeboParseOptFile() failed in line %d, rc = %d\n\n", kName,
              lineCount, result);
        return result;
    }
    zeboCheckFS(context);
    if (slot[OPT_RVKI_ORC_CONFIG][0] == '\0') {
        rc = zeboConfigHook(slot[OPT_RVKI_ORC_CONFIG], ZEBO_OPT_VALUE_SIZE);
        if (rc != 0) return static_cast<int16_t>(rc);
    }
    if (slot[OPT_ZEBO_NODE][0] == '\0' && slot[OPT_ZEBO_OWNER][0] == '\0') {
        context->nodeFromApi = 1;
    }
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", kName);
    return 0;
}
