// Reading a query's objects ahead; see objectfetch.h.
#include "sync/objectfetch.h"

#include <pthread.h>
#include <signal.h>

#include <new>
#include <system_error>

ObjectFetcher::ObjectFetcher(BackupQuery* query, bool ahead) : query_(query) {
    if (!ahead) return;
    rows_.reset(new (std::nothrow) rvkQryRespBackup[kBatches * kRows]);
    if (rows_ != nullptr && !startThread()) rows_.reset();
}

// The thread starts with the shutdown signals blocked (it inherits the
// mask), so that their handler, which ends the process, runs on the main
// thread. False when no thread could be had: the caller fetches itself.
bool ObjectFetcher::startThread() {
    sigset_t shutdown, old;
    sigemptyset(&shutdown);
    for (int signo : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&shutdown, signo);
    pthread_sigmask(SIG_BLOCK, &shutdown, &old);
    try {
        thread_ = std::thread(&ObjectFetcher::run, this);
    } catch (const std::system_error&) {
    }
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    return thread_.joinable();
}

// The fetching thread: fills the free batches in ring order until a fetch
// returns anything but "more data" or the caller stops it.
void ObjectFetcher::run() {
    for (int batch = 0;; batch = (batch + 1) % kBatches) {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            changed_.wait(lock, [this] { return full_ < kBatches || stopping_; });
            if (stopping_) return;
        }
        rvkQryRespBackup* rows = &rows_[batch * kRows];
        int count = 0;
        bool more = true;
        while (count < kRows && more) {
            more = query_->nextInto(&rows[count]) == RVK_RC_MORE_DATA;
            if (more) ++count;
            // A stop between two fetches leaves the rest unfetched; the
            // caller no longer reads them.
            if (more && count % 8 == 0) {
                std::lock_guard<std::mutex> lock(mutex_);
                if (stopping_) return;
            }
        }
        std::lock_guard<std::mutex> lock(mutex_);
        counts_[batch] = count;
        ++full_;
        done_ = !more;
        changed_.notify_all();
        if (done_) return;
    }
}

rvkQryRespBackup* ObjectFetcher::next() {
    if (ended_) return nullptr;
    if (!ahead()) {
        if (query_->next() == RVK_RC_MORE_DATA) return &query_->object();
        ended_ = true;
        return nullptr;
    }
    while (batch_ < 0 || row_ >= counts_[batch_]) {
        std::unique_lock<std::mutex> lock(mutex_);
        if (batch_ >= 0) {
            --full_;
            changed_.notify_all();
        }
        batch_ = (batch_ + 1) % kBatches;
        row_ = 0;
        changed_.wait(lock, [this] { return full_ > 0 || done_; });
        if (full_ == 0) {
            lock.unlock();
            stop();
            return nullptr;
        }
    }
    return &rows_[batch_ * kRows + row_++];
}

void ObjectFetcher::stop() {
    ended_ = true;
    if (!thread_.joinable()) return;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
        changed_.notify_all();
    }
    thread_.join();
}
