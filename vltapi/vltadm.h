// The parts of the admin tool that live in files of their own: the
// commands that work on objects (load, list) and the password entry.
#ifndef VLTAPI_VLTADM_H
#define VLTAPI_VLTADM_H

#include <iosfwd>
#include <string>

#include "vltapi/options.h"
#include "vltapi/store.h"

namespace vlt {

// Reads "fs<TAB>hl<TAB>ll<TAB>YYYY-MM-DD HH:MM:SS<TAB>size" lines from `in`
// and stores them as active backup objects of the node in one transaction.
// Returns 0, or 1 after writing a message naming the bad line (nothing is
// stored then). `progress` shows a running count on standard error.
int loadObjects(Store& store, const NodeRecord& node, const std::string& owner,
                const std::string& mgmtClass, std::istream& in, bool progress, std::string& err,
                uint64_t& loaded);

// Writes "id<TAB>fs<TAB>hl<TAB>ll<TAB>date<TAB>size<TAB>state" lines.
int listObjects(Store& store, const NodeRecord& node, std::ostream& out, std::string& err);

// Reads a new password for `node`: from the terminal on standard input
// with the echo off, asked twice; otherwise the first line of standard
// input, and a second line, if there is one, must be the same. Returns ""
// with `pw` set, or what went wrong.
std::string readNewPassword(const std::string& node, std::string& pw);

// Copies the repository of `from` into a new one named by `to` (made by
// the copy) and checks the counts. Returns 0, or 1 with `err` (then the
// new repository holds no nodes or objects).
int copyRepository(const Options& from, const Options& to, std::string& err);

}  // namespace vlt

#endif
