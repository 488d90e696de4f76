// The read-ahead thread and its ring; see aheadring.h.
#include "sync/aheadring.h"

#include <pthread.h>
#include <signal.h>

#include <system_error>

bool AheadRing::start(Fill fill) {
    fill_ = std::move(fill);
    sigset_t shutdown, old;
    sigemptyset(&shutdown);
    for (int signo : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&shutdown, signo);
    // The new thread inherits the mask.
    pthread_sigmask(SIG_BLOCK, &shutdown, &old);
    try {
        thread_ = std::thread(&AheadRing::run, this);
    } catch (const std::system_error&) {
    }
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    return thread_.joinable();
}

void AheadRing::run() {
    for (int batch = 0;; batch = (batch + 1) % AHEAD_BATCHES) {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            changed_.wait(lock, [this] { return full_ < AHEAD_BATCHES || stopping(); });
        }
        if (stopping()) return;
        bool more = fill_(batch);
        std::lock_guard<std::mutex> lock(mutex_);
        ++full_;
        done_ = !more;
        changed_.notify_all();
        if (done_) return;
    }
}

int AheadRing::take() {
    if (!thread_.joinable()) return -1;
    std::unique_lock<std::mutex> lock(mutex_);
    if (inHand_ >= 0) {
        --full_;
        changed_.notify_all();
    }
    inHand_ = (inHand_ + 1) % AHEAD_BATCHES;
    changed_.wait(lock, [this] { return full_ > 0 || done_; });
    if (full_ > 0) return inHand_;
    lock.unlock();
    thread_.join();
    return -1;
}

void AheadRing::stop() {
    if (!thread_.joinable()) return;
    stopping_ = true;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        changed_.notify_all();
    }
    thread_.join();
}
