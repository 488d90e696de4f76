/*
 * rvkapi.h - client API of the VLT backup server ("libApiQZ.so").
 *
 * A program opens sessions with a backup server, queries the backup objects
 * that its node owns, stores and reads objects and deletes them inside
 * transactions. This implementation keeps the "server" in a repository (an
 * embedded database file) that several processes may use at the same time;
 * the admin tool `vltadm` creates and fills it.
 *
 * Conventions
 *   - Every call returns a signed 16-bit return code (RVK_RC_...); 0 is
 *     success. rvkRCMsg / rvkRCMsgEx give the text of every code below.
 *   - Every versioned record starts with its structure version (stVersion).
 *     The caller sets it to the value named here (..._VERSION) and the library
 *     refuses other values with RVK_RC_BAD_STVERSION. Value types that are
 *     embedded in records (rvkObjName, rvkDate, rvkU64) carry no version.
 *   - Strings are NUL-terminated. A string longer than its field gives
 *     RVK_RC_STRING_TOO_LONG; a required pointer that is NULL gives
 *     RVK_RC_NULL_POINTER.
 *   - Node names are not case-sensitive: the server keeps and reports them in
 *     upper case. Passwords are case-sensitive.
 *   - Thread safety: every call may be made from any thread; calls on one
 *     session handle are serialised by the library. A session handle must not
 *     be used in a child process after fork().
 *   - Fault injection for tests: the environment variable RVK_FAULTS, a
 *     comma-separated list of "name@N=rc" or "name@N-M=rc", makes the N-th
 *     (to M-th) call of entry point `name` in this process return rc without
 *     doing anything (the two void calls then simply do nothing).
 */
#ifndef RVKAPI_H
#define RVKAPI_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------ */
/* Version of this library                                                  */
/* ------------------------------------------------------------------------ */

#define RVK_API_VERSION 5
#define RVK_API_RELEASE 5
#define RVK_API_LEVEL 2
#define RVK_API_SUBLEVEL 1

/* ------------------------------------------------------------------------ */
/* Return codes                                                             */
/* ------------------------------------------------------------------------ */

#define RVK_RC_OK 0       /* success                                  */
#define RVK_RC_NO_MATCH 2 /* a query matched no object                */
#define RVK_RC_PASSWD_EXPIRED                                                \
    52                                /* password expired: only rvkChangePW, \
                                         rvkTerminate, rvkQuerySessInfo,     \
                                         rvkQuerySessOptions and the message \
                                         calls work until it is changed      */
#define RVK_RC_NO_MEMORY 102          /* out of memory                            */
#define RVK_RC_NULL_POINTER 109       /* a required pointer argument is NULL      */
#define RVK_RC_BAD_STVERSION 110      /* a record's structure version is wrong    */
#define RVK_RC_INVALID_ARGUMENT 111   /* an argument has a value not allowed here */
#define RVK_RC_STRING_TOO_LONG 112    /* a string does not fit its field          */
#define RVK_RC_INVALID_HANDLE 113     /* no open session has this handle          */
#define RVK_RC_NOT_SET_UP 114         /* rvkSetUp has not been called             */
#define RVK_RC_WRONG_STATE 115        /* call not allowed in the session's state  */
#define RVK_RC_OPTFILE_UNREADABLE 116 /* the option file cannot be read           */
#define RVK_RC_OPTION_INVALID 117     /* bad keyword or value in options          */
#define RVK_RC_NO_REPOSITORY 118      /* no REPOSITORY option                     */
#define RVK_RC_NO_NODE_NAME 119       /* no node name given or in the options     */
#define RVK_RC_NO_PASSWORD 120        /* no password given (PASSWORDACCESS PROMPT)*/
#define RVK_RC_FINISHED 121           /* query finished: no more objects          */
#define RVK_RC_PASSWORD_INVALID 122   /* new password empty, too long or same     */
#define RVK_RC_TXN_LIMIT                                                           \
    123                                 /* more operations in the transaction than \
                                           the server's maximum per transaction     */
#define RVK_RC_OBJ_NOT_FOUND 124        /* object id names no object of this node   */
#define RVK_RC_DELETE_NOT_ALLOWED 125   /* node has no right to delete backups      */
#define RVK_RC_NOT_SUPPORTED 126        /* function not supported by this server    */
#define RVK_RC_FS_NOT_REGISTERED 127    /* file space not registered for this node  */
#define RVK_RC_REPOSITORY_ERROR 128     /* database error; details in the error log */
#define RVK_RC_REPOSITORY_VERSION 129   /* repository made by another version       */
#define RVK_RC_SERVER_BUSY 130          /* repository locked beyond the time-out    */
#define RVK_RC_BUFFER_TOO_SMALL 131     /* caller's buffer smaller than the record  */
#define RVK_RC_WILDCARD_NOT_ALLOWED 132 /* wildcard in a name that must be exact    */
#define RVK_RC_NAME_EXISTS 133          /* an active object already has that name   */
#define RVK_RC_CRYPTO_FAILURE 134       /* the crypto library failed                */
#define RVK_RC_PASSWORD_STORE_ERROR                                          \
    135                              /* stored password file unusable or its \
                                        permissions are not owner-only            */
#define RVK_RC_TOO_MANY_SESSIONS 136 /* too many open sessions in this process   */
#define RVK_RC_AUTH_FAILURE 137      /* node unknown or password wrong           */
#define RVK_RC_UNKNOWN_RC 138        /* rvkRCMsg: the code is not one of these   */
#define RVK_RC_NO_STORED_PASSWORD                                                    \
    168                                   /* PASSWORDACCESS GENERATE but no password \
                                             is stored for the node                    */
#define RVK_RC_FS_ALREADY_REGISTERED 2062 /* file space already registered            */
#define RVK_RC_MORE_DATA 2200             /* more data / another object follows       */
#define RVK_RC_CHECK_REASON_CODE 2302     /* transaction failed: see the reason code  */
#define RVK_RC_COMM_FAILURE                          \
    (-50) /* no connection: the repository cannot be \
             opened (missing file, no access)         */

/* Buffer size for rvkRCMsg, including the terminating NUL. */
#define RVK_MSG_MAX 1024

/* ------------------------------------------------------------------------ */
/* Sizes of name fields (maximum lengths; the fields are one byte longer)   */
/* ------------------------------------------------------------------------ */

#define RVK_PATH_LEN 1280   /* size of path buffers (with NUL)        */
#define RVK_LOGNAME_LEN 256 /* size of the log-name buffer (with NUL)  */
#define RVK_NODE_NAME_MAX 63
#define RVK_OWNER_NAME_MAX 65
#define RVK_PASSWORD_MAX 64
#define RVK_SERVER_NAME_MAX 64
#define RVK_HOST_NAME_MAX 64
#define RVK_SERVER_TYPE_MAX 32
#define RVK_APP_TYPE_MAX 32
#define RVK_FS_NAME_MAX 1024
#define RVK_HL_NAME_MAX 1024
#define RVK_LL_NAME_MAX 256
#define RVK_FS_TYPE_MAX 32
#define RVK_FS_INFO_MAX 500
#define RVK_OBJ_INFO_MAX 255
#define RVK_MC_NAME_MAX 30
#define RVK_DOMAIN_NAME_MAX 30
#define RVK_PS_NAME_MAX 30
#define RVK_APP_MSGID_MAX 8

/* ------------------------------------------------------------------------ */
/* Structure versions                                                       */
/* ------------------------------------------------------------------------ */

#define RVK_ENVSETUP_VERSION 4
#define RVK_APIVERSION_VERSION 1
#define RVK_APIVERSIONEX_VERSION 2
#define RVK_INITEXIN_VERSION 4
#define RVK_INITEXOUT_VERSION 2
#define RVK_SESSOPTIONS_VERSION 1
#define RVK_CLIOPTIONS_VERSION 1
#define RVK_SESSINFO_VERSION 3
#define RVK_DATABLK_VERSION 1
#define RVK_QRYBACKUPDATA_VERSION 2
#define RVK_QRYRESPBACKUP_VERSION 6
#define RVK_QRYFSDATA_VERSION 1
#define RVK_QRYRESPFS_VERSION 1
#define RVK_DELINFO_VERSION 1
#define RVK_ENDTXNEXIN_VERSION 1
#define RVK_ENDTXNEXOUT_VERSION 1
#define RVK_REGFSDATA_VERSION 1
#define RVK_FSUPD_VERSION 1
#define RVK_MCBINDKEY_VERSION 1
#define RVK_OBJATTR_VERSION 1
#define RVK_ENDSENDOBJEXIN_VERSION 1
#define RVK_ENDSENDOBJEXOUT_VERSION 2
#define RVK_GETLIST_VERSION 1
#define RVK_RENAMEIN_VERSION 1
#define RVK_LOGEVENTIN_VERSION 1
#define RVK_LOGEVENTOUT_VERSION 1
#define RVK_MSGBUFFER_VERSION 1
#define RVK_GROUPIN_VERSION 1
#define RVK_GROUPOUT_VERSION 1

/* ------------------------------------------------------------------------ */
/* Constants                                                                */
/* ------------------------------------------------------------------------ */

/* Booleans in uint8_t fields. */
#define RVK_FALSE 0
#define RVK_TRUE 1

/* Multithread flag of rvkSetUp / rvkCleanUp (the library is always safe). */
#define RVK_SINGLETHREAD 0
#define RVK_MULTITHREAD 1

/* Object types (rvkObjName.objType). */
#define RVK_OBJ_FILE 1
#define RVK_OBJ_DIRECTORY 2
#define RVK_OBJ_ANY 0xFF /* queries only: any type */

/* Object states (query data and response). */
#define RVK_STATE_ACTIVE 1
#define RVK_STATE_INACTIVE 2
#define RVK_STATE_ANY 0xFF /* queries only: active and inactive */

/* Query types of rvkBeginQuery. */
#define RVK_QRY_ARCHIVE 0   /* not supported by this server */
#define RVK_QRY_BACKUP 1    /* queryData: rvkQryBackupData, response rvkQryRespBackup */
#define RVK_QRY_FILESPACE 2 /* queryData: rvkQryFSData,     response rvkQryRespFS     */

/* Delete types of rvkDeleteObj. */
#define RVK_DEL_ARCHIVE 1   /* not supported by this server */
#define RVK_DEL_BACKUP_ID 2 /* backup object by its object id */

/* Votes of rvkEndTxn / rvkEndTxnEx. */
#define RVK_VOTE_COMMIT 1
#define RVK_VOTE_ABORT 2

/* Send types (rvkBindMC, rvkSendObj, rvkUpdateObj). */
#define RVK_SEND_ARCHIVE 1 /* not supported by this server */
#define RVK_SEND_BACKUP 2

/* Get types of rvkBeginGetData. */
#define RVK_GET_BACKUP 1
#define RVK_GET_ARCHIVE 2 /* not supported by this server */

/* Repository selector of rvkDeleteFS. */
#define RVK_REPOS_ARCHIVE 1 /* not supported by this server */
#define RVK_REPOS_BACKUP 2
#define RVK_REPOS_ALL 3

/* Password access (rvkCliOptions / rvkSessOptions .passwordAccess). */
#define RVK_PASSWD_PROMPT 0   /* the caller gives the password at log-on  */
#define RVK_PASSWD_GENERATE 1 /* the library keeps the node's password    */

/* User-name authorities (rvkInitExOut.userNameAuthorities). */
#define RVK_AUTH_NODE 0 /* an ordinary node session */

/* rvkUpdateFS actions (may be or-ed). */
#define RVK_FSUPD_FSTYPE 0x01
#define RVK_FSUPD_FSINFO 0x02
#define RVK_FSUPD_BACKSTARTDATE 0x04
#define RVK_FSUPD_BACKCOMPLETEDATE 0x08
#define RVK_FSUPD_OCCUPANCY 0x10
#define RVK_FSUPD_CAPACITY 0x20

/* rvkUpdateObj actions (may be or-ed). */
#define RVK_UPDOBJ_OWNER 0x01
#define RVK_UPDOBJ_OBJINFO 0x02
#define RVK_UPDOBJ_MC 0x04

/* Event severities and log types (rvkLogEventIn). */
#define RVK_SEV_INFO 0
#define RVK_SEV_WARNING 1
#define RVK_SEV_ERROR 2
#define RVK_SEV_SEVERE 3
#define RVK_LOG_SERVER 0 /* the server's activity log               */
#define RVK_LOG_CLIENT 1 /* the client error log (set-up log dir)   */
#define RVK_LOG_BOTH 2

/* Access-rule types of rvkSetAccess (access rules are not supported). */
#define RVK_ACCESS_BACKUP 1
#define RVK_ACCESS_ARCHIVE 2

/* Object-group actions of rvkGroupHandler (object groups are not supported). */
#define RVK_GROUP_OPEN 1
#define RVK_GROUP_CLOSE 2
#define RVK_GROUP_ADD 3
#define RVK_GROUP_ASSIGN 4
#define RVK_GROUP_REMOVE 5

/* ------------------------------------------------------------------------ */
/* Value types                                                              */
/* ------------------------------------------------------------------------ */

/* A 64-bit unsigned value as two 32-bit halves (object ids, sizes). */
typedef struct rvkU64 {
    uint32_t hi;
    uint32_t lo;
} rvkU64;

/* A date and time of day in the server's local time. All zero = no date
   (in a point-in-time field: "now"). */
typedef struct rvkDate {
    uint16_t year;  /* e.g. 2024 */
    uint8_t month;  /* 1-12 */
    uint8_t day;    /* 1-31 */
    uint8_t hour;   /* 0-23 */
    uint8_t minute; /* 0-59 */
    uint8_t second; /* 0-59 */
} rvkDate;

/* Name of an object: file space, high-level and low-level name, type. In
   queries the three names may hold the wildcards "*" (any sequence, "/"
   included) and "?" (any one character). */
typedef struct rvkObjName {
    char fs[RVK_FS_NAME_MAX + 1];
    char hl[RVK_HL_NAME_MAX + 1];
    char ll[RVK_LL_NAME_MAX + 1];
    uint8_t objType; /* RVK_OBJ_... */
} rvkObjName;

/* ------------------------------------------------------------------------ */
/* Environment set-up, versions, log-on                                     */
/* ------------------------------------------------------------------------ */

/* rvkSetUp input (version 4). Zero it, then fill what you need. Empty
   strings take the defaults:
     apiDir:  RVKI_DIR, else the directory the library was built for;
     optFile: RVKI_CONFIG, else apiDir "/rvk.opt";
     logDir:  RVKI_LOG, else apiDir;     logName: "rvkerror.log". */
typedef struct rvkEnvSetUp {
    uint16_t stVersion; /* RVK_ENVSETUP_VERSION */
    char apiDir[RVK_PATH_LEN];
    char optFile[RVK_PATH_LEN];
    char logDir[RVK_PATH_LEN];
    char** argv; /* program's argument vector, may be NULL */
    char logName[RVK_LOGNAME_LEN];
    uint8_t incExclCaseSensitive; /* accepted and ignored */
    uint8_t reserved[31];
} rvkEnvSetUp;

/* rvkQueryApiVersion output (version 1). */
typedef struct rvkApiVersion {
    uint16_t stVersion; /* RVK_APIVERSION_VERSION */
    uint16_t version;
    uint16_t release;
    uint16_t level;
} rvkApiVersion;

/* rvkQueryApiVersionEx output, and the caller's build version at log-on
   (version 2). */
typedef struct rvkApiVersionEx {
    uint16_t stVersion; /* RVK_APIVERSIONEX_VERSION */
    uint16_t version;
    uint16_t release;
    uint16_t level;
    uint16_t subLevel;
} rvkApiVersionEx;

/* rvkInitEx input (version 4). NULL or empty strings are "not given". */
typedef struct rvkInitExIn {
    uint16_t stVersion;            /* RVK_INITEXIN_VERSION */
    rvkApiVersionEx* apiVersionEx; /* caller's build version; NULL allowed */
    char* nodeName;                /* NULL: NODENAME option                */
    char* ownerName;               /* owner of objects sent; NULL: ""      */
    char* password;                /* NULL: stored password (GENERATE)     */
    char* userName;                /* not used, must be NULL or empty      */
    char* userPassword;            /* not used, must be NULL or empty      */
    char* appType;                 /* e.g. "ZEBO Linux86"; the node type   */
    char* optFile;                 /* replaces the set-up's option file    */
    char* options;                 /* "-KEYWORD=value ..." overrides       */
} rvkInitExIn;

/* rvkInitEx output (version 2). */
typedef struct rvkInitExOut {
    uint16_t stVersion;          /* RVK_INITEXOUT_VERSION */
    int16_t userNameAuthorities; /* RVK_AUTH_NODE */
    int16_t infoRC;              /* 0 */
    char serverName[RVK_SERVER_NAME_MAX + 1];
    uint16_t serverVer;
    uint16_t serverRel;
    uint16_t serverLev;
    uint16_t serverSubLev;
} rvkInitExOut;

/* Options as read from the option file (rvkQueryCliOptions, version 1). */
typedef struct rvkCliOptions {
    uint16_t stVersion; /* RVK_CLIOPTIONS_VERSION */
    char apiDir[RVK_PATH_LEN];
    char optFile[RVK_PATH_LEN];
    char serverName[RVK_SERVER_NAME_MAX + 1]; /* SERVERNAME  */
    int16_t commMethod;                       /* always 0: local repository */
    char serverAddress[RVK_PATH_LEN];         /* REPOSITORY  */
    char nodeName[RVK_NODE_NAME_MAX + 1];     /* NODENAME    */
    uint8_t compression;                      /* COMPRESSION */
    uint8_t compressAlways;                   /* always 1    */
    uint8_t passwordAccess;                   /* RVK_PASSWD_... */
} rvkCliOptions;

/* Options in effect for a session (rvkQuerySessOptions, version 1): the
   option file with the log-on's option string applied. */
typedef struct rvkSessOptions {
    uint16_t stVersion; /* RVK_SESSOPTIONS_VERSION */
    char apiDir[RVK_PATH_LEN];
    char optFile[RVK_PATH_LEN];
    char serverName[RVK_SERVER_NAME_MAX + 1];
    int16_t commMethod;
    char serverAddress[RVK_PATH_LEN];     /* the repository */
    char nodeName[RVK_NODE_NAME_MAX + 1]; /* the session's node */
    uint8_t compression;
    uint8_t compressAlways;
    uint8_t passwordAccess;
} rvkSessOptions;

/* Session information (rvkQuerySessInfo, version 3). */
typedef struct rvkSessInfo {
    uint16_t stVersion; /* RVK_SESSINFO_VERSION */
    char serverHost[RVK_HOST_NAME_MAX + 1];
    uint16_t serverPort;
    rvkDate serverDate; /* now, server time */
    char serverType[RVK_SERVER_TYPE_MAX + 1];
    int16_t serverVer;
    int16_t serverRel;
    int16_t serverLev;
    int16_t serverSubLev;
    char nodeType[RVK_APP_TYPE_MAX + 1]; /* log-on's appType */
    char fsDelim;                        /* '/' */
    char hlDelim;                        /* '/' */
    uint8_t compression;                 /* COMPRESSION option */
    uint8_t archDel;                     /* node may delete archives */
    uint8_t backDel;                     /* node may delete backups  */
    uint32_t maxBytesPerTxn;             /* 0: no limit */
    uint32_t maxObjPerTxn;               /* server setting */
    char id[RVK_NODE_NAME_MAX + 1];      /* the node, upper case */
    char owner[RVK_OWNER_NAME_MAX + 1];  /* log-on's owner */
    char confFile[RVK_PATH_LEN];         /* option file used */
    uint8_t opNoTrace;                   /* 1: the library has no trace */
    char domainName[RVK_DOMAIN_NAME_MAX + 1];
    char policySetName[RVK_PS_NAME_MAX + 1];
    rvkDate polActDate; /* repository creation */
    char dfltMCName[RVK_MC_NAME_MAX + 1];
    uint16_t backRetention; /* days */
    uint16_t archRetention; /* days */
    char serverName[RVK_SERVER_NAME_MAX + 1];
} rvkSessInfo;

/* ------------------------------------------------------------------------ */
/* Data blocks, queries                                                     */
/* ------------------------------------------------------------------------ */

/* A caller buffer (version 1): bufferPtr/bufferLen describe it, numBytes
   tells how many bytes are in use (set by the library on output, by the
   caller on input to rvkSendData/rvkSendObj). */
typedef struct rvkDataBlk {
    uint16_t stVersion; /* RVK_DATABLK_VERSION */
    uint32_t bufferLen;
    uint32_t numBytes;
    char* bufferPtr;
} rvkDataBlk;

/* Backup query (RVK_QRY_BACKUP, version 2). Matches the node's objects whose
   names match objName (wildcards allowed, objType RVK_OBJ_ANY for any type),
   whose owner matches owner (NULL or "" or "*" = any; wildcards allowed),
   whose state is objState, and, when pitDate is not all zero, that were
   inserted at or before pitDate (with RVK_STATE_ACTIVE: that were active at
   that moment). */
typedef struct rvkQryBackupData {
    uint16_t stVersion; /* RVK_QRYBACKUPDATA_VERSION */
    rvkObjName* objName;
    char* owner;
    uint8_t objState; /* RVK_STATE_... */
    rvkDate pitDate;
} rvkQryBackupData;

/* One backup object (response version 6). */
typedef struct rvkQryRespBackup {
    uint16_t stVersion; /* RVK_QRYRESPBACKUP_VERSION, set by the caller */
    rvkObjName objName;
    char owner[RVK_OWNER_NAME_MAX + 1];
    rvkU64 objId;
    rvkDate insDate;
    rvkDate expDate;     /* deactivation date; zero while active */
    rvkU64 sizeEstimate; /* bytes */
    uint8_t objState;    /* RVK_STATE_ACTIVE or RVK_STATE_INACTIVE */
    uint8_t hasData;     /* RVK_TRUE when data was stored with it */
    char mcName[RVK_MC_NAME_MAX + 1];
    uint16_t objInfoLen;
    char objInfo[RVK_OBJ_INFO_MAX];
} rvkQryRespBackup;

/* File-space query (RVK_QRY_FILESPACE, version 1). */
typedef struct rvkQryFSData {
    uint16_t stVersion; /* RVK_QRYFSDATA_VERSION */
    char* fsName;       /* wildcards allowed; NULL = "*" */
} rvkQryFSData;

/* One file space (response version 1). */
typedef struct rvkQryRespFS {
    uint16_t stVersion; /* RVK_QRYRESPFS_VERSION, set by the caller */
    char fsName[RVK_FS_NAME_MAX + 1];
    char fsType[RVK_FS_TYPE_MAX + 1];
    rvkU64 occupancy;
    rvkU64 capacity;
    rvkDate regDate;
    rvkDate backStartDate;
    rvkDate backCompleteDate;
    uint16_t fsInfoLen;
    char fsInfo[RVK_FS_INFO_MAX];
} rvkQryRespFS;

/* ------------------------------------------------------------------------ */
/* Transactions, deletion                                                   */
/* ------------------------------------------------------------------------ */

/* Deletion information, passed BY VALUE (version 1). */
typedef struct rvkDelInfo {
    uint32_t stVersion; /* RVK_DELINFO_VERSION */
    uint32_t objIdHi;
    uint32_t objIdLo;
} rvkDelInfo;

typedef struct rvkEndTxnExIn {
    uint16_t stVersion; /* RVK_ENDTXNEXIN_VERSION */
    uint32_t handle;
    uint8_t vote; /* RVK_VOTE_... */
} rvkEndTxnExIn;

typedef struct rvkEndTxnExOut {
    uint16_t stVersion;      /* RVK_ENDTXNEXOUT_VERSION */
    uint16_t reason;         /* see rvkEndTxn */
    rvkU64 groupLeaderObjId; /* always 0: no object groups */
} rvkEndTxnExOut;

/* ------------------------------------------------------------------------ */
/* File spaces, storing and reading objects                                 */
/* ------------------------------------------------------------------------ */

typedef struct rvkRegFSData {
    uint16_t stVersion; /* RVK_REGFSDATA_VERSION */
    char* fsName;       /* no wildcards */
    char* fsType;       /* NULL: "" */
    rvkU64 occupancy;
    rvkU64 capacity;
    uint16_t fsInfoLen;
    char fsInfo[RVK_FS_INFO_MAX];
} rvkRegFSData;

typedef struct rvkFSUpd {
    uint16_t stVersion; /* RVK_FSUPD_VERSION */
    char* fsType;
    rvkU64 occupancy;
    rvkU64 capacity;
    uint16_t fsInfoLen;
    char fsInfo[RVK_FS_INFO_MAX];
} rvkFSUpd;

/* rvkBindMC output (version 1): every object is bound to the server's
   default management class. */
typedef struct rvkMcBindKey {
    uint16_t stVersion; /* RVK_MCBINDKEY_VERSION */
    char mcName[RVK_MC_NAME_MAX + 1];
    uint8_t backupCGExists;  /* RVK_TRUE  */
    uint8_t archiveCGExists; /* RVK_FALSE */
    char backupCopyDest[RVK_MC_NAME_MAX + 1];
    char archiveCopyDest[RVK_MC_NAME_MAX + 1];
} rvkMcBindKey;

/* Object attributes for rvkSendObj / rvkUpdateObj (version 1). */
typedef struct rvkObjAttr {
    uint16_t stVersion;                 /* RVK_OBJATTR_VERSION */
    char owner[RVK_OWNER_NAME_MAX + 1]; /* "" = the session's owner */
    rvkU64 sizeEstimate;                /* reported by queries until data is sent */
    uint8_t objCompressed;              /* accepted and kept as 0 */
    uint16_t objInfoLen;
    char* objInfo; /* objInfoLen bytes, may be NULL if 0 */
    char* mcName;  /* rvkUpdateObj with RVK_UPDOBJ_MC */
} rvkObjAttr;

typedef struct rvkEndSendObjExIn {
    uint16_t stVersion; /* RVK_ENDSENDOBJEXIN_VERSION */
    uint32_t handle;
} rvkEndSendObjExIn;

typedef struct rvkEndSendObjExOut {
    uint16_t stVersion;            /* RVK_ENDSENDOBJEXOUT_VERSION */
    uint64_t totalBytesSent;       /* data bytes of the object */
    uint64_t totalStoredBytes;     /* bytes kept in the repository */
    uint64_t totalCompressedBytes; /* equals totalStoredBytes: no compression */
    uint32_t txnObjCount;          /* operations so far in the transaction */
    uint8_t objCompressed;         /* RVK_FALSE */
} rvkEndSendObjExOut;

/* rvkBeginGetData list (version 1). */
typedef struct rvkGetList {
    uint16_t stVersion; /* RVK_GETLIST_VERSION */
    uint32_t numObjId;
    rvkU64* objId; /* numObjId ids, read in this order */
} rvkGetList;

/* rvkRenameObj input (version 1). */
typedef struct rvkRenameIn {
    uint16_t stVersion;  /* RVK_RENAMEIN_VERSION */
    uint8_t repository;  /* RVK_REPOS_BACKUP */
    rvkObjName* objName; /* current name (exact) */
    char newHl[RVK_HL_NAME_MAX + 1];
    char newLl[RVK_LL_NAME_MAX + 1];
    uint8_t merge; /* RVK_TRUE: an active object of the new
                      name becomes inactive; RVK_FALSE: it
                      makes the rename fail (RVK_RC_NAME_EXISTS) */
    rvkU64 objId;  /* the object to rename */
} rvkRenameIn;

/* ------------------------------------------------------------------------ */
/* Events, messages                                                         */
/* ------------------------------------------------------------------------ */

typedef struct rvkLogEventIn {
    uint16_t stVersion; /* RVK_LOGEVENTIN_VERSION */
    uint32_t severity;  /* RVK_SEV_... */
    char appMsgId[RVK_APP_MSGID_MAX + 1];
    uint8_t logType; /* RVK_LOG_... */
    char* message;
} rvkLogEventIn;

typedef struct rvkLogEventOut {
    uint16_t stVersion; /* RVK_LOGEVENTOUT_VERSION */
    rvkDate serverDate; /* when the event was logged */
} rvkLogEventOut;

/* rvkRCMsgEx buffer (version 1). */
typedef struct rvkMsgBuffer {
    uint16_t stVersion; /* RVK_MSGBUFFER_VERSION */
    char* buffer;
    uint32_t bufferSize; /* bytes, with room for the NUL */
    uint32_t msgLength;  /* out: full length of the text */
} rvkMsgBuffer;

/* ------------------------------------------------------------------------ */
/* Access rules and object groups (not supported by this server)           */
/* ------------------------------------------------------------------------ */

typedef struct rvkAccessRule {
    uint16_t stVersion;
    uint32_t ruleNumber;
    uint8_t accessType;
    rvkObjName objName;
    char node[RVK_NODE_NAME_MAX + 1];
    char owner[RVK_OWNER_NAME_MAX + 1];
} rvkAccessRule;

typedef struct rvkGroupHandlerIn {
    uint16_t stVersion; /* RVK_GROUPIN_VERSION */
    uint32_t handle;
    uint8_t groupType;
    uint8_t actionType; /* RVK_GROUP_... */
    rvkU64 leaderObjId;
    rvkObjName* objName;
    uint32_t numMembers;
    rvkU64* memberObjIds;
} rvkGroupHandlerIn;

typedef struct rvkGroupHandlerOut {
    uint16_t stVersion; /* RVK_GROUPOUT_VERSION */
} rvkGroupHandlerOut;

/* ------------------------------------------------------------------------ */
/* Entry points                                                             */
/* ------------------------------------------------------------------------ */

#if defined(__GNUC__)
#define RVK_EXPORT __attribute__((visibility("default")))
#else
#define RVK_EXPORT
#endif

/* --- Environment --------------------------------------------------------- */

/* Records the environment (directories, option file, error log) for the
   sessions opened later; env may be NULL (all defaults). The option file is
   read at log-on, not here. May be called again; later sessions use the new
   environment. Returns 0, RVK_RC_BAD_STVERSION, RVK_RC_STRING_TOO_LONG. */
RVK_EXPORT int16_t rvkSetUp(uint8_t multiThread, rvkEnvSetUp* env);

/* Ends every open session (an open transaction is rolled back) and forgets
   the environment. Returns 0. */
RVK_EXPORT int16_t rvkCleanUp(uint8_t multiThread);

/* Version of this library: 5.5.2.1. Fill stVersion first (0 is taken as the
   current version and set); another version leaves the record untouched. */
RVK_EXPORT void rvkQueryApiVersion(rvkApiVersion* version);
RVK_EXPORT void rvkQueryApiVersionEx(rvkApiVersionEx* version);

/* The option file's settings (read now). Returns 0, RVK_RC_NOT_SET_UP,
   RVK_RC_BAD_STVERSION, RVK_RC_OPTFILE_UNREADABLE, RVK_RC_OPTION_INVALID. */
RVK_EXPORT int16_t rvkQueryCliOptions(rvkCliOptions* options);

/* --- Sessions ------------------------------------------------------------ */

/* Logs on. Node name: in->nodeName, else the NODENAME option. Password:
   in->password, else (PASSWORDACCESS GENERATE) the password stored for the
   node. On success *handle is the new session. Returns
     0; RVK_RC_PASSWD_EXPIRED (52, *handle is valid: change the password with
        rvkChangePW before any other work);
     RVK_RC_AUTH_FAILURE (137) for an unknown node or a wrong password;
     RVK_RC_COMM_FAILURE (-50) when the repository cannot be opened;
     RVK_RC_NO_STORED_PASSWORD, RVK_RC_PASSWORD_STORE_ERROR, RVK_RC_NO_PASSWORD,
     RVK_RC_NO_NODE_NAME, RVK_RC_NO_REPOSITORY, RVK_RC_OPTFILE_UNREADABLE,
     RVK_RC_OPTION_INVALID, RVK_RC_REPOSITORY_VERSION, RVK_RC_SERVER_BUSY,
     RVK_RC_REPOSITORY_ERROR, RVK_RC_NOT_SUPPORTED (option -ASNODE),
     RVK_RC_NOT_SET_UP, RVK_RC_NULL_POINTER, RVK_RC_BAD_STVERSION,
     RVK_RC_STRING_TOO_LONG, RVK_RC_TOO_MANY_SESSIONS.
   On failure *handle is 0 (except for 52). */
RVK_EXPORT int16_t rvkInitEx(uint32_t* handle, rvkInitExIn* in, rvkInitExOut* out);

/* The older log-on: as rvkInitEx with those fields. */
RVK_EXPORT int16_t rvkInit(uint32_t* handle, rvkApiVersion* clientVersion, char* nodeName,
                           char* ownerName, char* password, char* appType, char* optFile,
                           char* options);

/* Ends the session; an open transaction is rolled back, an open query or
   read ended. Returns 0 or RVK_RC_INVALID_HANDLE. */
RVK_EXPORT int16_t rvkTerminate(uint32_t handle);

/* Changes the node's password (oldPW must be the current one). With
   PASSWORDACCESS GENERATE the stored password is replaced too. Returns 0,
   RVK_RC_AUTH_FAILURE (old password wrong), RVK_RC_PASSWORD_INVALID,
   RVK_RC_PASSWORD_STORE_ERROR, RVK_RC_REPOSITORY_ERROR, ... */
RVK_EXPORT int16_t rvkChangePW(uint32_t handle, char* oldPW, char* newPW);

/* Session information (server, node, policy, maximum objects per
   transaction). Returns 0, RVK_RC_INVALID_HANDLE, RVK_RC_BAD_STVERSION, ... */
RVK_EXPORT int16_t rvkQuerySessInfo(uint32_t handle, rvkSessInfo* info);

/* Options in effect for the session. */
RVK_EXPORT int16_t rvkQuerySessOptions(uint32_t handle, rvkSessOptions* options);

/* --- Queries ------------------------------------------------------------- */

/* Starts a query (RVK_QRY_BACKUP or RVK_QRY_FILESPACE) outside a
   transaction. Returns 0, RVK_RC_WRONG_STATE (query, transaction or read
   already open), RVK_RC_NOT_SUPPORTED (archive), RVK_RC_INVALID_ARGUMENT,
   RVK_RC_BAD_STVERSION, RVK_RC_NULL_POINTER, RVK_RC_STRING_TOO_LONG,
   RVK_RC_REPOSITORY_ERROR, RVK_RC_PASSWD_EXPIRED. */
RVK_EXPORT int16_t rvkBeginQuery(uint32_t handle, uint8_t queryType, void* queryData);

/* Next result into dataBlk->bufferPtr (a rvkQryRespBackup or rvkQryRespFS
   whose stVersion the caller has set; bufferLen at least its size).
   Returns RVK_RC_MORE_DATA (2200) with each result, then RVK_RC_FINISHED
   (121), or RVK_RC_NO_MATCH (2) when nothing matched at all; also
   RVK_RC_WRONG_STATE, RVK_RC_BUFFER_TOO_SMALL, RVK_RC_BAD_STVERSION. */
RVK_EXPORT int16_t rvkGetNextQObj(uint32_t handle, rvkDataBlk* dataBlk);

/* Ends the query. Returns 0 or RVK_RC_WRONG_STATE. */
RVK_EXPORT int16_t rvkEndQuery(uint32_t handle);

/* --- Transactions -------------------------------------------------------- */

/* Starts a transaction. At most maxObjPerTxn (session information, read
   afresh here) operations (rvkDeleteObj, rvkSendObj, rvkRenameObj,
   rvkUpdateObj) may be made in it. A failed operation dooms the whole
   transaction. From its first change to its end it holds the repository's
   write lock: other sessions, in this process or others, wait to make
   changes (busy time-out: option BUSYTIMEOUT). Returns 0 or
   RVK_RC_WRONG_STATE. */
RVK_EXPORT int16_t rvkBeginTxn(uint32_t handle);

/* Deletes a backup object of the session's node by id (RVK_DEL_BACKUP_ID);
   the deletion becomes durable only with a commit. Returns 0,
   RVK_RC_OBJ_NOT_FOUND (no such object of this node: another node's object
   is never touched), RVK_RC_TXN_LIMIT, RVK_RC_DELETE_NOT_ALLOWED,
   RVK_RC_NOT_SUPPORTED (archive), RVK_RC_INVALID_ARGUMENT,
   RVK_RC_WRONG_STATE (no transaction), RVK_RC_BAD_STVERSION,
   RVK_RC_SERVER_BUSY, RVK_RC_REPOSITORY_ERROR.
   Any failure inside a transaction dooms it (see rvkEndTxn).
   On a database server, the deletion of an object that this session's own
   queries returned is confirmed at the commit: when another session
   deleted the object meanwhile, rvkEndTxn gives RVK_RC_CHECK_REASON_CODE
   with reason RVK_RC_OBJ_NOT_FOUND and keeps nothing. */
RVK_EXPORT int16_t rvkDeleteObj(uint32_t handle, uint8_t delType, rvkDelInfo delInfo);

/* Ends the transaction.
   Commit: every change of the transaction becomes durable and each deletion
   is written to the activity log; returns 0 with *reason 0. When an
   operation of the transaction failed, or the commit itself fails, nothing
   is kept and the result is RVK_RC_CHECK_REASON_CODE (2302) with *reason
   the failure's code.
   Abort: nothing of the transaction is kept (an object being sent is
   dropped too); returns 0 with *reason 0.
   Also RVK_RC_WRONG_STATE (no transaction, or a commit while an object send
   is not ended),
   RVK_RC_INVALID_ARGUMENT (vote), RVK_RC_NULL_POINTER. */
RVK_EXPORT int16_t rvkEndTxn(uint32_t handle, uint8_t vote, uint16_t* reason);

/* rvkEndTxn with records; out->reason as above, group leader id 0. */
RVK_EXPORT int16_t rvkEndTxnEx(rvkEndTxnExIn* in, rvkEndTxnExOut* out);

/* --- File spaces --------------------------------------------------------- */

/* Registers a file space for the node, outside a transaction. Returns 0,
   RVK_RC_FS_ALREADY_REGISTERED (2062), RVK_RC_WILDCARD_NOT_ALLOWED, ... */
RVK_EXPORT int16_t rvkRegisterFS(uint32_t handle, rvkRegFSData* regFS);

/* Updates the fields named by action (RVK_FSUPD_...). Returns 0,
   RVK_RC_FS_NOT_REGISTERED, ... */
RVK_EXPORT int16_t rvkUpdateFS(uint32_t handle, char* fsName, rvkFSUpd* upd, uint32_t action);

/* Deletes a file space and all the node's objects in it (RVK_REPOS_BACKUP or
   RVK_REPOS_ALL), outside a transaction; logged in the activity log.
   Returns 0, RVK_RC_FS_NOT_REGISTERED, RVK_RC_DELETE_NOT_ALLOWED,
   RVK_RC_NOT_SUPPORTED (RVK_REPOS_ARCHIVE), ... */
RVK_EXPORT int16_t rvkDeleteFS(uint32_t handle, char* fsName, uint8_t repository);

/* --- Storing objects ----------------------------------------------------- */

/* Binds the object to a management class (always the server's default).
   Returns 0, RVK_RC_NOT_SUPPORTED (archive), ... */
RVK_EXPORT int16_t rvkBindMC(uint32_t handle, rvkObjName* objName, uint8_t sendType,
                             rvkMcBindKey* mcBindKey);

/* Starts storing a backup object inside a transaction; sendBuff must be
   NULL. dataBlk (may be NULL) carries the first data. The file space must
   be registered; names must not hold wildcards. On commit the new object
   becomes active and an active object of the same name inactive. Returns 0,
   RVK_RC_FS_NOT_REGISTERED, RVK_RC_TXN_LIMIT, RVK_RC_WILDCARD_NOT_ALLOWED,
   RVK_RC_NOT_SUPPORTED (archive), RVK_RC_WRONG_STATE, ... */
RVK_EXPORT int16_t rvkSendObj(uint32_t handle, uint8_t sendType, void* sendBuff,
                              rvkObjName* objName, rvkObjAttr* objAttr, rvkDataBlk* dataBlk);

/* More data for the object being sent. Returns 0, RVK_RC_WRONG_STATE, ... */
RVK_EXPORT int16_t rvkSendData(uint32_t handle, rvkDataBlk* dataBlk);

/* Ends the object being sent. Returns 0 or RVK_RC_WRONG_STATE. */
RVK_EXPORT int16_t rvkEndSendObj(uint32_t handle);
RVK_EXPORT int16_t rvkEndSendObjEx(rvkEndSendObjExIn* in, rvkEndSendObjExOut* out);

/* Renames a backup object of the node inside a transaction. Returns 0,
   RVK_RC_OBJ_NOT_FOUND, RVK_RC_NAME_EXISTS, RVK_RC_TXN_LIMIT, ... */
RVK_EXPORT int16_t rvkRenameObj(uint32_t handle, rvkRenameIn* in);

/* Updates owner, object information or management class (action
   RVK_UPDOBJ_...) of the node's active backup object of that exact name,
   inside a transaction. Returns 0, RVK_RC_NO_MATCH (no active object of
   that name), RVK_RC_TXN_LIMIT, ... */
RVK_EXPORT int16_t rvkUpdateObj(uint32_t handle, uint8_t sendType, void* sendBuff,
                                rvkObjName* objName, rvkObjAttr* objAttr, uint32_t action);

/* --- Reading objects ----------------------------------------------------- */

/* Starts reading the data of the listed backup objects (outside a
   transaction). Returns 0, RVK_RC_OBJ_NOT_FOUND (an id names no object of
   the node), RVK_RC_NOT_SUPPORTED (archive), RVK_RC_WRONG_STATE, ... */
RVK_EXPORT int16_t rvkBeginGetData(uint32_t handle, uint8_t mountWait, uint8_t getType,
                                   rvkGetList* getList);

/* Opens the next object of the list (objId must be that object) and puts
   its first data into dataBlk (numBytes set). Returns RVK_RC_MORE_DATA when
   more data follows, RVK_RC_FINISHED when all of it was delivered,
   RVK_RC_INVALID_ARGUMENT (not the next id of the list), RVK_RC_WRONG_STATE. */
RVK_EXPORT int16_t rvkGetObj(uint32_t handle, rvkU64* objId, rvkDataBlk* dataBlk);

/* More data of the open object: RVK_RC_MORE_DATA or RVK_RC_FINISHED. */
RVK_EXPORT int16_t rvkGetData(uint32_t handle, rvkDataBlk* dataBlk);

/* Ends the open object / the whole read. 0 or RVK_RC_WRONG_STATE. */
RVK_EXPORT int16_t rvkEndGetObj(uint32_t handle);
RVK_EXPORT int16_t rvkEndGetData(uint32_t handle);

/* --- Access rules, object groups: RVK_RC_NOT_SUPPORTED ------------------- */

RVK_EXPORT int16_t rvkSetAccess(uint32_t handle, uint8_t accessType, rvkObjName* objName,
                                char* node, char* owner);
RVK_EXPORT int16_t rvkQueryAccess(uint32_t handle, rvkAccessRule** rules, uint16_t* numRules);
RVK_EXPORT int16_t rvkDeleteAccess(uint32_t handle, uint32_t ruleNumber);
RVK_EXPORT int16_t rvkGroupHandler(rvkGroupHandlerIn* in, rvkGroupHandlerOut* out);

/* --- Messages, events ---------------------------------------------------- */

/* Text of a return code into msg (at least RVK_MSG_MAX bytes), in the form
   "RVKnnnnS text" (S: I, W or E). handle may be 0. Returns 0, or
   RVK_RC_UNKNOWN_RC (the buffer then holds a text saying so), or
   RVK_RC_NULL_POINTER. */
RVK_EXPORT int16_t rvkRCMsg(uint32_t handle, int16_t rc, char* msg);

/* As rvkRCMsg into msg->buffer of msg->bufferSize bytes (cut to fit);
   msg->msgLength is the full length of the text. */
RVK_EXPORT int16_t rvkRCMsgEx(int16_t rc, rvkMsgBuffer* msg);

/* Appends an event to the server's activity log and/or the client error
   log. out may be NULL. Returns 0, RVK_RC_INVALID_ARGUMENT, ... */
RVK_EXPORT int16_t rvkLogEventEx(uint32_t handle, rvkLogEventIn* in, rvkLogEventOut* out);

/* --- Cipher -------------------------------------------------------------- */

/* Makes an 8-byte key from a node name (case-insensitive; "" allowed) and
   the installation key, the file "vltapi.key" of the API directory (made,
   mode 0600, when it is missing). The key buffer is left as it was on
   failure. Returns 0, RVK_RC_NULL_POINTER, RVK_RC_STRING_TOO_LONG,
   RVK_RC_CRYPTO_FAILURE (also when the installation key cannot be read or
   made, or others may read it; the client error log says why). */
RVK_EXPORT int16_t rvkCreateDesKeyEx(unsigned char* key, char* nodeName);

/* Enciphers / deciphers one 8-byte block with a key from rvkCreateDesKeyEx
   (triple DES, the key expanded inside the library with the installation
   key). Returns 0, RVK_RC_NULL_POINTER, RVK_RC_CRYPTO_FAILURE (the output
   block is then left as it was). */
RVK_EXPORT int16_t rvkEncryptEx(unsigned char* key, unsigned char* plain, unsigned char* cipher);
RVK_EXPORT int16_t rvkDecryptEx(unsigned char* key, unsigned char* cipher, unsigned char* plain);

#ifdef __cplusplus
}
#endif

/* ------------------------------------------------------------------------ */
/* The 43 entry points as a list                                            */
/* RVK_ENTRY_POINTS(X) expands X(Name) once per entry point, Name without its
   "rvk" prefix, for programs that load the library at run time and for
   tables kept per entry point. The order is the one in which programs look
   the names up: almost alphabetical (RenameObj before RCMsg, SetAccess
   before SendData), and it stays as it is, since the i-th name found feeds
   the i-th slot of such a table. */
/* clang-format off */
#define RVK_ENTRY_POINTS(X)                                                                  \
    X(BeginGetData) X(BeginQuery) X(BeginTxn) X(BindMC) X(ChangePW) X(CleanUp)               \
    X(CreateDesKeyEx) X(DecryptEx) X(DeleteAccess) X(DeleteFS) X(DeleteObj) X(EncryptEx)     \
    X(EndGetData) X(EndGetObj) X(EndQuery) X(EndSendObj) X(EndSendObjEx) X(EndTxn)           \
    X(EndTxnEx) X(GetData) X(GetNextQObj) X(GetObj) X(GroupHandler) X(Init) X(InitEx)        \
    X(LogEventEx) X(QueryAccess) X(QueryApiVersion) X(QueryApiVersionEx) X(QueryCliOptions)  \
    X(QuerySessInfo) X(QuerySessOptions) X(RegisterFS) X(RenameObj) X(RCMsg) X(RCMsgEx)      \
    X(SetAccess) X(SendData) X(SendObj) X(SetUp) X(Terminate) X(UpdateFS) X(UpdateObj)
/* clang-format on */
#define RVK_ENTRY_COUNT 43

#ifdef __cplusplus
#include <string.h>

/* For C++ callers: a zeroed record of structure version `version`, the way
   every call wants its records and every call fills its answers. */
template <typename Record>
inline Record rvkRecord(uint16_t version) {
    Record r;
    memset(&r, 0, sizeof r);
    r.stVersion = version;
    return r;
}
#endif

#endif /* RVKAPI_H */
