#include "vltapi/options.h"
#include "vltapi/store.h"

#include <stdlib.h>

#include <cctype>
#include <fstream>

#include "rvkapi.h"
#include "vltapi/util.h"

namespace vlt {

std::string dirName(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    if (slash == 0) return "/";
    return path.substr(0, slash);
}

static std::string resolve(const std::string& value, const std::string& baseDir) {
    if (value.empty() || value[0] == '/' || baseDir.empty()) return value;
    return baseDir + "/" + value;
}

static std::string unquote(const std::string& v) {
    if (v.size() >= 2 &&
        ((v.front() == '"' && v.back() == '"') || (v.front() == '\'' && v.back() == '\'')))
        return v.substr(1, v.size() - 2);
    return v;
}

// For a keyword that takes one of two words (upper case): 0 for the first,
// 1 for the second, -1 for any other value.
static int wordIndex(const std::string& upperValue, const char* first, const char* second) {
    if (upperValue == first) return 0;
    if (upperValue == second) return 1;
    return -1;
}

// Sets one option; `baseDir` resolves relative paths. Returns an error text
// or "" when it was accepted.
static std::string setOption(Options& o, const std::string& keyword, const std::string& rawValue,
                             const std::string& baseDir, bool fromString) {
    std::string key = upper(keyword);
    std::string value = unquote(trim(rawValue));
    std::string uv = upper(value);
    if (key == "REPOSITORY") {
        if (value.empty()) return "REPOSITORY needs a file name or a postgresql:// URI";
        // A database server's URI is taken as it is.
        o.repository = isServerRepository(value) ? value : resolve(value, baseDir);
    } else if (key == "SERVERNAME") {
        if (value.empty() || value.size() > RVK_SERVER_NAME_MAX)
            return "SERVERNAME needs a name of 1 to 64 characters";
        o.serverName = value;
    } else if (key == "NODENAME") {
        if (value.empty() || value.size() > RVK_NODE_NAME_MAX)
            return "NODENAME needs a name of 1 to 63 characters";
        o.nodeName = upper(value);
    } else if (key == "PASSWORDACCESS") {
        int word = wordIndex(uv, "PROMPT", "GENERATE");
        if (word < 0) return "PASSWORDACCESS must be PROMPT or GENERATE";
        o.passwordAccess = word == 0 ? RVK_PASSWD_PROMPT : RVK_PASSWD_GENERATE;
    } else if (key == "PASSWORDDIR") {
        if (value.empty()) return "PASSWORDDIR needs a folder";
        o.passwordDir = resolve(value, baseDir);
    } else if (key == "COMPRESSION") {
        int word = wordIndex(uv, "NO", "YES");
        if (word < 0) return "COMPRESSION must be YES or NO";
        o.compression = word == 1;
    } else if (key == "BUSYTIMEOUT") {
        char* end = nullptr;
        long v = strtol(value.c_str(), &end, 10);
        if (value.empty() || *end != '\0' || v < 0 || v > 3600)
            return "BUSYTIMEOUT must be 0 to 3600 seconds";
        o.busyTimeoutMs = static_cast<int>(v * 1000);
    } else if (key == "ASNODE" && fromString) {
        o.asNode = value;
    } else {
        return "unknown option " + keyword;
    }
    return "";
}

int16_t readOptionFile(const std::string& path, Options& out, std::string& err) {
    std::ifstream in(path);
    if (!in) {
        err = "cannot read option file " + path;
        return RVK_RC_OPTFILE_UNREADABLE;
    }
    Options o;
    o.optFile = path;
    // Relative names in the file are relative to its folder, wherever the
    // program runs.
    std::string base = dirName(path);
    if (char* real = realpath(base.c_str(), nullptr)) {
        base = real;
        free(real);
    }
    std::string line;
    int lineNo = 0;
    while (std::getline(in, line)) {
        ++lineNo;
        std::string t = trim(line);
        if (t.empty() || t[0] == '*' || t[0] == '#') continue;
        size_t sp = t.find_first_of(" \t");
        std::string key = t.substr(0, sp);
        std::string value = sp == std::string::npos ? "" : t.substr(sp + 1);
        std::string e = setOption(o, key, value, base, false);
        if (!e.empty()) {
            err = path + ", line " + std::to_string(lineNo) + ": " + e;
            return RVK_RC_OPTION_INVALID;
        }
    }
    out = o;
    return RVK_RC_OK;
}

int16_t applyOptionString(const std::string& text, Options& out, std::string& err) {
    Options o = out;
    size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && isspace(static_cast<unsigned char>(text[i]))) ++i;
        if (i >= text.size()) break;
        size_t j = i;
        while (j < text.size() && !isspace(static_cast<unsigned char>(text[j]))) ++j;
        std::string word = text.substr(i, j - i);
        i = j;
        size_t eq = word.find('=');
        if (word[0] != '-' || eq == std::string::npos) {
            err = "option string: expected -KEYWORD=value, found " + word;
            return RVK_RC_OPTION_INVALID;
        }
        std::string e = setOption(o, word.substr(1, eq - 1), word.substr(eq + 1), "", true);
        if (!e.empty()) {
            err = "option string: " + e;
            return RVK_RC_OPTION_INVALID;
        }
    }
    out = o;
    return RVK_RC_OK;
}

std::string passwordDirectory(const Options& o) {
    if (!o.passwordDir.empty()) return o.passwordDir;
    // A database server has no folder: the option file's folder holds them.
    return isServerRepository(o.repository) ? dirName(o.optFile) : dirName(o.repository);
}

}  // namespace vlt
