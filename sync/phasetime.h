// Time marks for benchmarks: with ZEBO_BENCH_PHASES=FILE in the environment,
// each mark appends a line "EVENT SECONDS" (the monotonic clock) to FILE, so
// that a benchmark can read how long the spool load, the server query and
// matching, the deletion and the release of the filename index took,
// without any tracing. Without the variable a mark costs one test of a flag
// that the first mark sets; nothing is written anywhere.
//
// Thread safety: marks are made on the main thread only.
#ifndef ZEBO_SYNC_PHASETIME_H
#define ZEBO_SYNC_PHASETIME_H

// Appends "EVENT SECONDS\n" to the benchmark's file, when one is named.
void utBenchMark(const char* event);

#endif
