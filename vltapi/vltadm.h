// The admin tool's commands that work on objects (load, list), shared
// between its two source files.
#ifndef VLTAPI_VLTADM_H
#define VLTAPI_VLTADM_H

#include <iosfwd>
#include <string>

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

}  // namespace vlt

#endif
