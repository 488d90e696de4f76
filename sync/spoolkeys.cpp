// Cutting the spool into index keys; see spoolkeys.h.
#include "sync/spoolkeys.h"

#include <string.h>

#include <vector>

#include "sync/loadbtree.h"
#include "sync/strtoken.h"

namespace {

// SQL*Plus's closing line of a query: "no rows selected", "1 row
// selected.", "12 rows selected.". Its first word is loaded like any other
// (it matches no object's name), but it is not a handle of the catalog and
// does not count as one.
bool feedbackLine(const char* line) {
    if (strncmp(line, "no rows selected", 16) == 0) return true;
    size_t digits = strspn(line, "0123456789");
    if (digits == 0) return false;
    return strncmp(line + digits, " row selected.", 14) == 0 ||
           strncmp(line + digits, " rows selected.", 15) == 0;
}

}  // namespace

UtSpoolKeys::UtSpoolKeys(FILE* spool, bool ahead) : spool_(spool) {
    if (ahead) ahead_ = ring_.start([this](int batch) { return parse(&batches_[batch]); });
}

// Up to kLines lines that add keys, into *lines; false at the spool's end.
bool UtSpoolKeys::parse(std::string* lines) {
    lines->clear();
    char line[LOAD_PIECE_SIZE + 1];
    std::vector<std::string> keys;
    for (int n = 0; n < kLines;) {
        if (ring_.stopping()) return false;
        if (fgets(line, sizeof line, spool_) == nullptr) return false;
        bool feedback = feedbackLine(line);
        char* save = nullptr;
        char* handle = utStrTok(line, " ,\n\t", &save);
        // Every line goes through, so that a line without a handle ends a
        // handle broken over several lines.
        wrapped_.next(handle, &keys);
        if (handle == nullptr || strcmp(handle, "Session") == 0) continue;
        lines->push_back(feedback ? 'F' : 'H');
        for (const std::string& key : keys) lines->append(key.c_str(), key.size() + 1);
        lines->push_back('\0');
        ++n;
    }
    return true;
}

bool UtSpoolKeys::nextLine(bool* feedback) {
    while (at_ == end_) {
        if (ended_) return false;
        if (ahead_) {
            batch_ = ring_.take();
            if (batch_ < 0) {
                ended_ = true;
                return false;
            }
        } else {
            batch_ = 0;
            ended_ = !parse(&batches_[0]);
        }
        at_ = batches_[batch_].data();
        end_ = at_ + batches_[batch_].size();
    }
    *feedback = *at_++ == 'F';
    return true;
}

const char* UtSpoolKeys::nextKey() {
    const char* key = at_;
    at_ += strlen(key) + 1;
    return *key != '\0' ? key : nullptr;
}

void UtSpoolKeys::stop() {
    ended_ = true;
    at_ = end_;
    ring_.stop();
}
