// The node's password file: the password of ZEBO_NODE, enciphered with a key
// that the client API makes from the node name, in "<dir>/ZEBO.<node>".
// The directory is the first non-empty of ZEBO_PSWDPATH, RVKI_ORC_DIR and
// the agent directory. The program keeps no key material of its own: key,
// encipher and decipher are the API's calls through gRvkApiObjP, and the
// API's key also depends on its installation key, so the file is of no use
// to a user who cannot read that key, nor on another machine.
//
// Layout, with no line ends anywhere:
//   39 bytes  "Agent for Oracle Backup - Password file"
//   9 bytes per piece of up to 8 password characters:
//     1 byte  the piece's length as an ASCII digit "1" to "8"
//     8 bytes the piece, zero-padded, enciphered as one block
// A password of n characters has ceil(n / 8) records; an empty password
// leaves the header alone.
#ifndef ZEBO_AGENT_PSWDFILE_H
#define ZEBO_AGENT_PSWDFILE_H

#include <stdint.h>

#include "agent/agentctx.h"

enum {
    ZEBO_PSWD_DIR_SIZE = 1024,
    ZEBO_PSWD_PATH_SIZE = 1152,
    ZEBO_PSWD_BUFFER_SIZE = 65,  // a password of up to 64 characters and a NUL
    ZEBO_PSWD_HEADER_SIZE = 39,
    RVK_RC_NO_PASS_FILE = 168,     // no password file for the node
    ZEBO_RC_PSWD_DIR_OPEN = 2521,  // the directory exists but cannot be opened
    ZEBO_RC_PSWD_DIR_MAKE = 167    // the directory is absent and cannot be made
};

// Fills dir (1,024 bytes) and path (1,152 bytes) for the context's node.
void pszeboGetFileName(char* dir, char* path, AgentContext* context);

// Makes the node's 8-byte key through the API.
void pszeboSetKey(unsigned char* key, AgentContext* context);

// Reads and deciphers the node's password into `password` (65 bytes).
// 0, or 168 when the file is missing, a symlink, not a regular file or
// unreadable;
// then message 2519 is kept in context->errorText and written to the log.
int16_t psReadPswd(char* password, AgentContext* context);
inline int16_t pszeboReadPswd(char* password, AgentContext* context) {
    return psReadPswd(password, context);
}

// Whether the node's password file exists but does not have the layout
// above (too short for the header, cut inside a record, a length digit
// outside "1" to "8", or a short record before the last). The read keeps
// trusting the file; this only lets a refused log-on name the file.
// `path` (1,152 bytes) receives the file's name.
bool psPswdFileDamaged(char* path, AgentContext* context);

// Writes the node's password file (permissions 0644, its directory made
// with 0700 when it is missing) through a new file renamed into place.
// 0, 2521, 167, or -1 when the file cannot be created.
int16_t pszeboUpdatePswd(const char* password, AgentContext* context);

#endif
