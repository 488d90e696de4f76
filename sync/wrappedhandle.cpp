// Handles wider than the spool's line; see wrappedhandle.h.
#include "sync/wrappedhandle.h"

#include <string.h>

UtWrappedHandles::UtWrappedHandles(size_t lineWidth, size_t longest)
    : lineWidth_(lineWidth), longestRun_(lineWidth > 0 ? longest / lineWidth : 0) {}

void UtWrappedHandles::next(const char* token, std::vector<std::string>* keys) {
    if (token == nullptr) {
        keys->clear();
        full_.clear();
        return;
    }
    // The first key is assigned in place: its buffer is kept from line to
    // line, so the usual line (no full lines before it) allocates nothing.
    keys->resize(1);
    keys->front().assign(token);
    if (!full_.empty()) {
        std::string joined = token;
        for (auto piece = full_.rbegin(); piece != full_.rend(); ++piece) {
            joined.insert(0, *piece);
            keys->push_back(joined);
        }
    }
    // A line filled to the width may go on in the next line. The runs kept
    // are bounded by the longest handle, so a long series of full lines
    // (handles of exactly the line size) costs a few keys each, not more
    // and more.
    if (lineWidth_ > 0 && strlen(token) == lineWidth_) {
        full_.push_back(token);
        if (full_.size() > longestRun_) full_.pop_front();
    } else {
        full_.clear();
    }
}
