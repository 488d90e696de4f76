// The client option file ("rvk.opt") and the option string of a log-on.
//
// The file holds one option per line, "KEYWORD value", keywords in any
// case; lines starting with "*" or "#" and empty lines are comments.
// A relative REPOSITORY or PASSWORDDIR is taken relative to the folder of
// the option file. The option string of a log-on holds "-KEYWORD=value"
// words that override the file.
#ifndef VLTAPI_OPTIONS_H
#define VLTAPI_OPTIONS_H

#include <stdint.h>

#include <string>

namespace vlt {

struct Options {
    std::string optFile;        // the file that was read
    std::string repository;     // REPOSITORY: the database file
    std::string serverName;     // SERVERNAME
    std::string nodeName;       // NODENAME (upper case)
    int passwordAccess = 0;     // PASSWORDACCESS: RVK_PASSWD_PROMPT / _GENERATE
    std::string passwordDir;    // PASSWORDDIR: where GENERATE passwords live
    bool compression = false;   // COMPRESSION YES|NO (reported only)
    int busyTimeoutMs = 30000;  // BUSYTIMEOUT seconds
    std::string asNode;         // -ASNODE= of the option string (refused)
};

// Reads `path` into `out`. Returns 0, RVK_RC_OPTFILE_UNREADABLE or
// RVK_RC_OPTION_INVALID; `err` then says what and where.
int16_t readOptionFile(const std::string& path, Options& out, std::string& err);

// Applies "-KEYWORD=value ..." to `out`. Returns 0 or RVK_RC_OPTION_INVALID.
int16_t applyOptionString(const std::string& text, Options& out, std::string& err);

// The folder of the GENERATE password files: PASSWORDDIR, else the folder
// of the repository.
std::string passwordDirectory(const Options& o);

// The folder part of a path ("." when there is none).
std::string dirName(const std::string& path);

}  // namespace vlt

#endif
