// Spool handed over ready; see readyspool.h.
#include "tools/sqlplus/readyspool.h"

#include <stdio.h>
#include <unistd.h>

#include <sstream>

namespace sqlsim {
namespace {

bool copyFile(const std::string& from, const std::string& to) {
    FILE* in = fopen(from.c_str(), "rb");
    if (!in) return false;
    FILE* out = fopen(to.c_str(), "wb");
    bool ok = out != nullptr;
    char buf[1 << 16];
    size_t n;
    while (ok && (n = fread(buf, 1, sizeof buf, in)) > 0) ok = fwrite(buf, 1, n, out) == n;
    ok = ok && !ferror(in);
    fclose(in);
    if (out && fclose(out) != 0) ok = false;
    if (!ok) unlink(to.c_str());
    return ok;
}

}  // namespace

std::string spoolTarget(const std::vector<std::string>& script) {
    for (const std::string& line : script) {
        std::istringstream words(line);
        std::string command, file;
        words >> command >> file;
        if ((command == "spool" || command == "SPOOL") && !file.empty() && file != "off" &&
            file != "OFF")
            return file;
    }
    return "";
}

bool handOverSpool(const std::string& ready, const std::string& target) {
    if (access(ready.c_str(), R_OK) != 0) return false;
    // The program may have made the file already (to own its mode).
    unlink(target.c_str());
    return link(ready.c_str(), target.c_str()) == 0 || copyFile(ready, target);
}

bool keepSpool(const std::string& target, const std::string& ready) {
    std::string partial = ready + ".part";
    if (!copyFile(target, partial)) return false;
    if (rename(partial.c_str(), ready.c_str()) == 0) return true;
    unlink(partial.c_str());
    return false;
}

}  // namespace sqlsim
