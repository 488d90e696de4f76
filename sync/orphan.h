// An orphan: a server object whose name the recovery catalog no longer
// lists. The orphan detection builds one record per object into syncList;
// the pick list marks records (picked) and the deletion removes them.
#ifndef ZEBO_SYNC_ORPHAN_H
#define ZEBO_SYNC_ORPHAN_H

#include <stdint.h>

#include "sync/linkedlist.h"

enum {
    ORPHAN_NAME_SIZE = 1282,  // file space + high-level + low-level name
    ORPHAN_ID_SIZE = 64,      // the session's node id text
    ORPHAN_OWNER_SIZE = 66    // the session's owner text
};

struct OrphanRecord {
    char name[ORPHAN_NAME_SIZE];
    char id[ORPHAN_ID_SIZE];
    char owner[ORPHAN_OWNER_SIZE];
    uint32_t objIdHi;
    uint32_t objIdLo;
    uint16_t insYear;
    uint8_t insMonth, insDay, insHour, insMinute, insSecond;
    uint32_t sizeHi;  // the size estimate, 64 bits as two halves
    uint32_t sizeLo;
    uint32_t picked;  // 1 when the administrator marked it for deletion
};

// A catalog connection as typed at the prompts.
enum { CATALOG_FIELD_SIZE = 1025 };
struct CatalogConnection {
    char user[CATALOG_FIELD_SIZE];
    char password[CATALOG_FIELD_SIZE];
    char connect[CATALOG_FIELD_SIZE];
};

typedef CLinkedList<OrphanRecord> SyncList;
typedef CLinkedList<CatalogConnection> CatalogList;

#endif
