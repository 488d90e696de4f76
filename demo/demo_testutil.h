// Test support for the demonstration: a calendar time written in one call.
#ifndef ZEBO_DEMO_DEMO_TESTUTIL_H
#define ZEBO_DEMO_DEMO_TESTUTIL_H

#include "demo/demotime.h"

namespace demotest {

inline demo::DemoTime at(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) {
    demo::DemoTime t;
    t.year = y;
    t.month = mo;
    t.day = d;
    t.hour = h;
    t.minute = mi;
    t.second = s;
    return t;
}

}  // namespace demotest

#endif
