// Handles wider than the spool's line. SQL*Plus writes a value longer than
// the line size over several lines, cut at the line size, so a handle of
// 81 characters reaches the spool as a full line of 80 and a line of 1.
// Each line on its own is not the handle; loaded alone, the pieces would
// leave the object of that handle without a match, and it would be offered
// for deletion.
//
// A full line says nothing certain, though: a handle of exactly the line
// size fills a line too, and the next line is then the next handle. So
// every line is kept as a key of its own, and each run of full lines just
// before it is joined with it into further keys. Only keys are added, never
// taken away: an extra key can at worst hide an orphan; it can never make a
// live object look like one.
//
// Thread safety: none; one object per spool being read.
#ifndef ZEBO_SYNC_WRAPPEDHANDLE_H
#define ZEBO_SYNC_WRAPPEDHANDLE_H

#include <stddef.h>

#include <deque>
#include <string>
#include <vector>

enum {
    WRAP_LINE_WIDTH = 80,       // the script's "set linesize 80"
    WRAP_LONGEST_HANDLE = 1024  // the catalog's handle column holds at most this
};

class UtWrappedHandles {
  public:
    explicit UtWrappedHandles(size_t lineWidth = WRAP_LINE_WIDTH,
                              size_t longest = WRAP_LONGEST_HANDLE);

    // The keys that the next spool line adds to the index, given its first
    // token (null for a line without one): the token itself first, then the
    // token joined to each run of full lines that came right before it,
    // shortest run first. A line without a token ends every run.
    void next(const char* token, std::vector<std::string>* keys);

  private:
    size_t lineWidth_;
    size_t longestRun_;             // full lines that one handle can span before its last
    std::deque<std::string> full_;  // the full lines just before, oldest first
};

#endif
