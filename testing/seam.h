// A seam replaced for one test: the program's seams are plain globals
// (function pointers, hooks) that tests point at fakes. ScopedSeam puts the
// fake in and the old value back when it goes out of scope, also when an
// ASSERT leaves the test early, so that no fake leaks into the next test.
//
//   zebotest::ScopedSeam<PsClockFn> clock(psClock, fakeClock);
#ifndef ZEBO_TESTING_SEAM_H
#define ZEBO_TESTING_SEAM_H

#include <time.h>

#include "common/unx/psenv.h"

namespace zebotest {

template <typename T>
class ScopedSeam {
  public:
    // Explicit although it takes two arguments: cppcheck reads a function
    // pointer type T as one and asks for it.
    explicit ScopedSeam(T& seam, T replacement) : seam_(seam), saved_(seam) { seam_ = replacement; }
    ~ScopedSeam() { seam_ = saved_; }
    ScopedSeam(const ScopedSeam&) = delete;
    ScopedSeam& operator=(const ScopedSeam&) = delete;

  private:
    T& seam_;
    T saved_;
};

// Makes the program's allocator refuse every block of one size (a list
// node, say) while it lives; blocks of other sizes, such as the messages
// that report the failure, are allocated as usual.
class RefusedAllocation {
  public:
    explicit RefusedAllocation(size_t size) : seam_(psAllocator.mallocFn, refuse) {
        refused() = size;
    }

  private:
    static size_t& refused() {
        static size_t size = 0;
        return size;
    }
    static void* refuse(size_t size) {
        return size == refused() ? nullptr : psLibcAllocator.mallocFn(size);
    }
    ScopedSeam<void* (*)(size_t)> seam_;
};

// Holds the program's clock at one instant while it lives.
class FixedClock {
  public:
    explicit FixedClock(time_t secs, long nanos = 0) : seam_(psClock, report) {
        instant() = {secs, nanos};
    }

  private:
    static struct timespec& instant() {
        static struct timespec t;
        return t;
    }
    static void report(struct timespec* now) { *now = instant(); }
    ScopedSeam<PsClockFn> seam_;
};

}  // namespace zebotest

#endif
