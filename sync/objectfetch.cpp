// Reading a query's objects ahead; see objectfetch.h.
#include "sync/objectfetch.h"

#include <new>

ObjectFetcher::ObjectFetcher(BackupQuery* query, bool ahead) : query_(query) {
    if (!ahead) return;
    rows_.reset(new (std::nothrow) rvkQryRespBackup[AHEAD_BATCHES * kRows]);
    if (rows_ != nullptr && !ring_.start([this](int batch) { return fill(batch); })) rows_.reset();
}

// On the ring's thread: one batch of objects; false after the fetch that
// ended the query (or when the reader stopped).
bool ObjectFetcher::fill(int batch) {
    rvkQryRespBackup* rows = &rows_[batch * kRows];
    int& count = counts_[batch];
    for (count = 0; count < kRows; ++count) {
        // A stop between two fetches leaves the rest unfetched.
        if (ring_.stopping()) return false;
        if (query_->nextInto(&rows[count]) != RVK_RC_MORE_DATA) return false;
    }
    return true;
}

rvkQryRespBackup* ObjectFetcher::next() {
    if (ended_) return nullptr;
    if (!ahead() && rows_ == nullptr) {
        if (query_->next() == RVK_RC_MORE_DATA) return &query_->object();
        ended_ = true;
        return nullptr;
    }
    while (batch_ < 0 || row_ >= counts_[batch_]) {
        batch_ = ring_.take();
        row_ = 0;
        if (batch_ < 0) {
            ended_ = true;
            return nullptr;
        }
    }
    return &rows_[batch_ * kRows + row_++];
}

void ObjectFetcher::stop() {
    ended_ = true;
    ring_.stop();
}
