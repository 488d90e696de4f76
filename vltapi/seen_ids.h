// The object ids a session has read in its own queries and not deleted
// since. The PostgreSQL store sends the deletion of such an object without
// waiting for its answer: the object was there when the session looked, so
// only another session can have taken it meanwhile.
//
// Kept as a sorted vector (eight bytes an id, sorted once after a query)
// and the set of ids deleted since, rather than one hash set of every
// object a query returned.
#ifndef VLTAPI_SEEN_IDS_H
#define VLTAPI_SEEN_IDS_H

#include <stdint.h>

#include <algorithm>
#include <unordered_set>
#include <vector>

namespace vlt {

class SeenIds {
  public:
    void add(uint64_t id) {
        ids_.push_back(id);
        sorted_ = false;
    }
    // The object is gone, or may be: it is no longer known to exist.
    void forget(uint64_t id) { gone_.insert(id); }
    void clear() {
        ids_.clear();
        gone_.clear();
        sorted_ = true;
    }
    bool has(uint64_t id) {
        if (!sorted_) {
            std::sort(ids_.begin(), ids_.end());
            ids_.erase(std::unique(ids_.begin(), ids_.end()), ids_.end());
            sorted_ = true;
        }
        return std::binary_search(ids_.begin(), ids_.end(), id) && gone_.count(id) == 0;
    }

  private:
    std::vector<uint64_t> ids_;
    std::unordered_set<uint64_t> gone_;
    bool sorted_ = true;
};

}  // namespace vlt

#endif
