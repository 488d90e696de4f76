// The report file; see orphanreport.h.
#include "sync/orphanreport.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/nls/nls.h"
#include "common/ut/trace.h"
#include "sync/visible.h"

namespace {

std::string isoTime(const UtObjectFacts& o) {
    char text[32];
    snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u", o.year, o.month, o.day, o.hour,
             o.minute, o.second);
    return text;
}

std::string jsonString(const std::string& text) {
    std::string out = "\"";
    for (char c : text) {
        unsigned char u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (c == '\t') {
            out += "\\t";
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\r') {
            out += "\\r";
        } else if (u < 0x20) {
            char escaped[8];
            snprintf(escaped, sizeof escaped, "\\u%04x", u);
            out += escaped;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

std::string tsvLine(const char* kind, const std::string& pass, const std::string& outcome,
                    const UtObjectFacts& o) {
    return std::string(kind) + "\t" + pass + "\t" + outcome + "\t" + std::to_string(o.id) + "\t" +
           isoTime(o) + "\t" + std::to_string(o.size) + "\t" + reportName(o.name) + "\n";
}

std::string jsonObject(const UtObjectFacts& o, const char* outcome) {
    std::string s = "{\"object_id\": " + std::to_string(o.id) + ", \"inserted\": \"" + isoTime(o) +
                    "\", \"size\": " + std::to_string(o.size) +
                    ", \"name\": " + jsonString(reportName(o.name));
    if (outcome != nullptr) s += std::string(", \"outcome\": \"") + outcome + "\"";
    return s + "}";
}

std::string folderOf(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// A new, empty file beside `path`; its name in *made. -1 with errno.
int makeBeside(const std::string& path, std::string* made) {
    std::string base = path.substr(path.rfind('/') == std::string::npos ? 0 : path.rfind('/') + 1);
    std::string name = folderOf(path) + "/." + base + ".XXXXXX";
    std::vector<char> buffer(name.begin(), name.end());
    buffer.push_back('\0');
    int fd = mkstemp(buffer.data());
    if (fd >= 0) *made = buffer.data();
    return fd;
}

}  // namespace

std::string reportName(const std::string& name) {
    return utVisibleText(name.c_str());
}

UtReport::UtReport(const std::string& path) : path_(path) {
    const char* suffix = ".json";
    json_ = path.size() >= strlen(suffix) &&
            path.compare(path.size() - strlen(suffix), strlen(suffix), suffix) == 0;
}

bool UtReport::check(std::string* reason) const {
    struct stat st;
    if (stat(path_.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) {
        *reason = strerror(EISDIR);
        return false;
    }
    std::string made;
    int fd = makeBeside(path_, &made);
    if (fd < 0) {
        *reason = strerror(errno);
        return false;
    }
    close(fd);
    unlink(made.c_str());
    return true;
}

void UtReport::setOrphans(SyncList* syncList) {
    orphans_.clear();
    for (SyncList::Node* n = syncList->getFirst(); n != nullptr; n = syncList->getNext(n))
        orphans_.push_back(utObjectFacts(n->element));
}

void UtReport::addPass(const UtDeletePass& pass) {
    passes_.push_back(pass.entries);
}

std::string UtReport::render() const {
    std::string out;
    if (!json_) {
        out = "kind\tpass\toutcome\tobject_id\tinserted\tsize\tname\n";
        for (const UtObjectFacts& o : orphans_) out += tsvLine("orphan", "", "", o);
        for (size_t p = 0; p < passes_.size(); ++p)
            for (const UtDeleteEntry& e : passes_[p])
                out +=
                    tsvLine("deletion", std::to_string(p + 1), utOutcomeName(e.outcome), e.object);
        return out;
    }
    out = "{\n  \"orphans\": [";
    for (size_t i = 0; i < orphans_.size(); ++i)
        out += std::string(i ? "," : "") + "\n    " + jsonObject(orphans_[i], nullptr);
    out += orphans_.empty() ? "],\n" : "\n  ],\n";
    out += "  \"passes\": [";
    for (size_t p = 0; p < passes_.size(); ++p) {
        out += std::string(p ? "," : "") + "\n    {\"pass\": " + std::to_string(p + 1) +
               ", \"entries\": [";
        const std::vector<UtDeleteEntry>& entries = passes_[p];
        for (size_t i = 0; i < entries.size(); ++i)
            out += std::string(i ? "," : "") + "\n      " +
                   jsonObject(entries[i].object, utOutcomeName(entries[i].outcome));
        out += entries.empty() ? "]}" : "\n    ]}";
    }
    out += passes_.empty() ? "]\n}\n" : "\n  ]\n}\n";
    return out;
}

bool UtReport::write(std::string* reason) const {
    static const char fn[] = "UtReport::write()";
    std::string made;
    int fd = makeBeside(path_, &made);
    if (fd < 0) {
        *reason = strerror(errno);
        return false;
    }
    // A report is no secret: it gets the mode any new file of the user gets.
    mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
    std::string text = render();
    FILE* file = fdopen(fd, "w");
    bool ok = file != nullptr && fwrite(text.data(), 1, text.size(), file) == text.size();
    if (ok) ok = fflush(file) == 0 && fsync(fd) == 0;
    int saved = errno;
    if (file != nullptr ? fclose(file) != 0 : close(fd) != 0) {
        if (ok) saved = errno;
        ok = false;
    }
    if (ok && rename(made.c_str(), path_.c_str()) != 0) {
        saved = errno;
        ok = false;
    }
    if (!ok) {
        unlink(made.c_str());
        *reason = strerror(saved);
        TRACE(TR_ORCLEVEL0, " %s: '%s' not written: %s\n", fn, path_.c_str(), reason->c_str());
        return false;
    }
    TRACE(TR_ORCLEVEL1, " %s: '%s' written, %lu orphans, %lu passes\n", fn, path_.c_str(),
          static_cast<unsigned long>(orphans_.size()), static_cast<unsigned long>(passes_.size()));
    return true;
}

void utShowReportFailure(const std::string& path, const std::string& reason) {
    nlMsgFramed(REPORT_CANNOT_WRITE, path.c_str(), reason.c_str());
}
