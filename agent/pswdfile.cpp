#include "agent/pswdfile.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "agent/agentenv.h"
#include "agent/errorlog.h"
#include "api/drvkapi.h"
#include "catalogs/zebo_names.h"
#include "common/nls/nls.h"
#include "common/ut/trace.h"

namespace {

const char kHeader[] = "Agent for Oracle Backup - Password file";
static_assert(sizeof kHeader - 1 == ZEBO_PSWD_HEADER_SIZE, "header is 39 bytes");

enum { BLOCK = 8 };
const size_t kBlock = BLOCK;

// Writes the header and the enciphered records to `file`. False when a
// write failed.
bool pszeboWriteRecords(FILE* file, unsigned char* key, const char* password) {
    bool ok = fwrite(kHeader, 1, ZEBO_PSWD_HEADER_SIZE, file) == ZEBO_PSWD_HEADER_SIZE;
    size_t left = strlen(password);
    const char* next = password;
    while (ok) {
        unsigned char piece[BLOCK + 1];
        memset(piece, 0, sizeof piece);
        size_t length = left < kBlock ? left : kBlock;
        // cppcheck-suppress knownConditionTrueFalse ; kBlock is not zero, left can be
        if (length == 0) break;
        memcpy(piece, next, length);
        next += length;
        left -= length;
        unsigned char cipher[BLOCK];
        memset(cipher, 0, sizeof cipher);
        gRvkApiObjP->drvkEncryptEx(RvkApiStatusObjP, key, piece, cipher);
        explicit_bzero(piece, sizeof piece);
        ok = fputc('0' + static_cast<int>(length), file) != EOF &&
             fwrite(cipher, 1, BLOCK, file) == BLOCK;
        // cppcheck-suppress knownConditionTrueFalse ; a full block is BLOCK long
        if (length < BLOCK) break;
    }
    return ok;
}

// Writes the file through a new file in the same directory that is renamed
// over the old one: a symlink or another file planted at the path is
// replaced, never followed, and a reader sees the old file or the new one.
// The mode is set through the open descriptor. 0 or -1.
int16_t pszeboWritePswdToFile(const char* path, unsigned char* key, const char* password) {
    static const char kName[] = "pszeboWritePswdToFile()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", kName);
    char temporary[ZEBO_PSWD_PATH_SIZE + 8];
    snprintf(temporary, sizeof temporary, "%s.XXXXXX", path);
    int fd = mkstemp(temporary);
    FILE* file = nullptr;
    if (fd >= 0) {
        file = fdopen(fd, "wb");
        if (!file) close(fd);
    }
    if (!file) {
        if (fd >= 0) unlink(temporary);
        TRACE(TR_ORCLEVEL0, " %s: Exit - Open pswd file failed\n\n", kName);
        return -1;
    }
    // Readable by all, as the agent's password files have always been: the
    // installation key of the client library keeps the password.
    bool ok = fchmod(fd, 0644) == 0 && pszeboWriteRecords(file, key, password) &&
              fflush(file) == 0 && fsync(fd) == 0;
    ok = fclose(file) == 0 && ok;
    if (!ok || rename(temporary, path) != 0) {
        unlink(temporary);
        TRACE(TR_ORCLEVEL0, " %s: Exit - Open pswd file failed\n\n", kName);
        return -1;
    }
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", kName);
    return 0;
}

// Deciphers the records of an open file into `password` (65 bytes).
void pszeboReadPswdFromFile(FILE* file, unsigned char* key, char* password) {
    static const char kName[] = "pszeboReadPswdFromFile()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", kName);
    char header[ZEBO_PSWD_HEADER_SIZE + 1];
    // The header is skipped; its text is not needed after it was read.
    // cppcheck-suppress unreadVariable
    if (!fgets(header, sizeof header, file)) header[0] = '\0';
    size_t used = 0;
    for (;;) {
        int digit = fgetc(file);
        if (digit == EOF) break;
        unsigned char cipher[BLOCK];
        memset(cipher, 0, sizeof cipher);
        // A record cut short still deciphers a whole block: the file is only
        // ever written by pszeboUpdatePswd, so its digits are taken on trust.
        if (fread(cipher, 1, BLOCK, file) == 0) memset(cipher, 0, sizeof cipher);
        unsigned char plain[BLOCK + 1];
        memset(plain, 0, sizeof plain);
        TRACE(TR_ORCLEVEL2, " %s: Calling RVKDECRYPTEX()\n", kName);
        gRvkApiObjP->drvkDecryptEx(RvkApiStatusObjP, key, cipher, plain);
        // The digit is not checked against 1 to 8; only memory bounds the
        // copy, so a damaged file yields a wrong password, never an overrun.
        int count = digit - '0';
        if (count < 0) count = 0;
        if (count > BLOCK) count = BLOCK;
        if (used + count > ZEBO_PSWD_BUFFER_SIZE - 1) count = ZEBO_PSWD_BUFFER_SIZE - 1 - used;
        memcpy(password + used, plain, static_cast<size_t>(count));
        used += static_cast<size_t>(count);
        explicit_bzero(plain, sizeof plain);
    }
    password[used] = '\0';
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", kName);
}

}  // namespace

void pszeboGetFileName(char* dir, char* path, AgentContext* context) {
    static const char kName[] = "pszeboGetFileName()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", kName);
    const char* chosen = context->optValue[OPT_ZEBO_PSWDPATH];
    if (!*chosen) chosen = context->optValue[OPT_RVKI_ORC_DIR];
    if (*chosen) {
        snprintf(dir, ZEBO_PSWD_DIR_SIZE, "%s", chosen);
    } else if (zeboGetAgentDir(dir, ZEBO_PSWD_DIR_SIZE) != 0) {
        dir[0] = '\0';
    }
    size_t n = strlen(dir);
    const char* slash = (n && dir[n - 1] == '/') ? "" : "/";
    snprintf(path, ZEBO_PSWD_PATH_SIZE, "%s%sZEBO.%s", dir, slash,
             context->optValue[OPT_ZEBO_NODE]);
    TRACE(TR_ORCLEVEL2, " %s: rvkHandle = %d, Password Path = '%s'\n", kName, context->rvkHandle,
          path);
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", kName);
}

void pszeboSetKey(unsigned char* key, AgentContext* context) {
    static const char kName[] = "pszeboSetKey()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", kName);
    memset(key, 0, BLOCK);
    gRvkApiObjP->drvkCreateDesKeyEx(RvkApiStatusObjP, key, context->optValue[OPT_ZEBO_NODE]);
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", kName);
}

int16_t psReadPswd(char* password, AgentContext* context) {
    static const char kName[] = "psReadPswd()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", kName);
    char dir[ZEBO_PSWD_DIR_SIZE];
    char path[ZEBO_PSWD_PATH_SIZE];
    unsigned char key[BLOCK];
    password[0] = '\0';
    pszeboGetFileName(dir, path, context);
    pszeboSetKey(key, context);

    // The file is opened first and examined through its descriptor: a
    // symlink at the path is refused, and what is examined is what is read.
    TRACE(TR_ORCLEVEL2, " %s: Calling stat().\n", kName);
    int fd = open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    struct stat status;
    int statRc = fd >= 0 ? fstat(fd, &status) : -1;
    FILE* file = nullptr;
    if (statRc == 0 && S_ISREG(status.st_mode)) {
        if (fchmod(fd, 0644) != 0) {
            // Another user's file keeps its mode; reading it is enough.
        }
        file = fdopen(fd, "rb");
    }
    if (!file && fd >= 0) close(fd);
    if (!file) {
        TRACE(TR_ORCLEVEL0, " %s: Exit - RVK_RC_NO_PASS_FILE\n rc: %d\n\n", kName, statRc);
        char* text = nlFormatText(MSG_NO_PASSWORD_FILE, context->optValue[OPT_ZEBO_NODE]);
        if (text) {
            snprintf(context->errorText, ZEBO_ERROR_TEXT_SIZE, "%s", text);
            free(text);
        }
        zeboErrorMsg(context->errorText);
        TRACE(TR_ORCLEVEL0,
              " %s: Exit - pszeboReadPswdFromFile() failed. rvkHandle = %d, rc= %d\n\n", kName,
              context->rvkHandle, RVK_RC_NO_PASS_FILE);
        explicit_bzero(key, sizeof key);
        return RVK_RC_NO_PASS_FILE;
    }
    pszeboReadPswdFromFile(file, key, password);
    fclose(file);
    explicit_bzero(key, sizeof key);
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", kName);
    return 0;
}

bool psPswdFileDamaged(char* path, AgentContext* context) {
    char dir[ZEBO_PSWD_DIR_SIZE];
    pszeboGetFileName(dir, path, context);
    int fd = open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return false;
    // A whole file of a 64-character password is 39 + 8 * 9 bytes; one byte
    // more is enough to see that a file is longer.
    unsigned char bytes[ZEBO_PSWD_HEADER_SIZE + 8 * (BLOCK + 1) + 1];
    ssize_t n = read(fd, bytes, sizeof bytes);
    close(fd);
    if (n < ZEBO_PSWD_HEADER_SIZE || (n - ZEBO_PSWD_HEADER_SIZE) % (BLOCK + 1) != 0) return true;
    for (ssize_t at = ZEBO_PSWD_HEADER_SIZE; at < n; at += BLOCK + 1) {
        bool last = at + BLOCK + 1 == n;
        if (bytes[at] < '1' || bytes[at] > '8' || (!last && bytes[at] != '8')) return true;
    }
    return false;
}

int16_t pszeboUpdatePswd(const char* password, AgentContext* context) {
    static const char kName[] = "pszeboUpdatePswd()";
    TRACE(TR_ORCLEVEL1, " %s: Enter\n", kName);
    char dir[ZEBO_PSWD_DIR_SIZE];
    char path[ZEBO_PSWD_PATH_SIZE];
    unsigned char key[BLOCK];
    pszeboGetFileName(dir, path, context);
    pszeboSetKey(key, context);

    int16_t rc = 0;
    DIR* handle = opendir(dir);
    if (handle) {
        closedir(handle);
    } else if (errno == ENOENT) {
        if (mkdir(dir, 0700) != 0) rc = ZEBO_RC_PSWD_DIR_MAKE;
    } else {
        rc = ZEBO_RC_PSWD_DIR_OPEN;
    }
    if (rc == 0) rc = pszeboWritePswdToFile(path, key, password);
    explicit_bzero(key, sizeof key);
    if (rc != 0) {
        TRACE(TR_ORCLEVEL0, " %s: pszeboWritePswdToFile() failed rvkHandle = %d, rc = %d\n\n",
              kName, context->rvkHandle, rc);
        return rc;
    }
    TRACE(TR_ORCLEVEL1, " %s: Exit - OK\n\n", kName);
    return 0;
}
