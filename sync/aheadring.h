// AheadRing: a second thread that fills a small ring of batches ahead of
// the one thread that reads them, so that producing the next batches (a
// server query, a spool's parsing) overlaps with using the one in hand.
//
// The ring only hands out batch numbers (0 to AHEAD_BATCHES - 1); the
// batches themselves are the owner's. The filler owns a batch from the
// moment it is free until it has filled it; the reader from take() until
// its next take() or stop(). The filler fills in ring order and runs at
// most the ring ahead. It starts with the shutdown signals blocked, so
// that their handler (which ends the process) runs on the main thread.
//
// Not shared: one reader thread calls take() and stop().
#ifndef ZEBO_SYNC_AHEADRING_H
#define ZEBO_SYNC_AHEADRING_H

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

enum { AHEAD_BATCHES = 4 };

class AheadRing {
  public:
    // Fills one batch by its number; false when it was the last one (it
    // may have nothing in it). Between items it asks stopping().
    using Fill = std::function<bool(int batch)>;

    AheadRing() = default;
    ~AheadRing() { stop(); }
    AheadRing(const AheadRing&) = delete;
    AheadRing& operator=(const AheadRing&) = delete;

    // Starts the filler; false when no thread could be had.
    bool start(Fill fill);
    // Gives the batch in hand back and waits for the next filled one: its
    // number, or -1 after the last (or after stop()), the thread then ended.
    int take();
    // For the filler, between items: true once the reader stopped.
    bool stopping() const { return stopping_.load(std::memory_order_relaxed); }
    // Ends the thread after the item it is at; the batches filled ahead are
    // dropped. A stopped ring stays stopped.
    void stop();
    // Whether the filler's thread was started and is not yet joined.
    bool running() const { return thread_.joinable(); }

  private:
    void run();

    Fill fill_;
    std::atomic<bool> stopping_{false};
    // Guarded by mutex_: batches filled and not yet given back (the one in
    // the reader's hand included), and whether the last one is among them.
    std::mutex mutex_;
    std::condition_variable changed_;
    int full_ = 0;
    bool done_ = false;
    int inHand_ = -1;  // the reader's side: the batch it holds
    std::thread thread_;
};

#endif
