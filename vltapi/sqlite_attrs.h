// An object's attributes packed into one value, for the SQLite repository's
// name index.
//
// A query in name order reads a row's columns one library call at a time,
// and at a million objects those calls were most of the query's cost. The
// objects table therefore has a generated column, `attrs`, that SQLite
// computes from the other columns and keeps in the name index only (it is
// virtual: the table rows do not hold it twice). A name-ordered query reads
// four columns of the index (id, hl, ll, attrs) and unpacks the rest here.
//
// The value is text: the decimal numbers type, state, has_data, ins_date,
// deact_date, size, the byte lengths of owner and mc, each followed by a
// comma, and then the bytes of owner, mc and info, one after the other.
// Older repositories have no such column and are read column by column.
#ifndef VLTAPI_SQLITE_ATTRS_H
#define VLTAPI_SQLITE_ATTRS_H

#include <stddef.h>

#include "vltapi/store.h"

namespace vlt {

// The column's definition, for CREATE TABLE and ALTER TABLE ADD COLUMN.
extern const char* const kAttrsColumn;
// The name index over the objects table, with the columns a query filters
// on and the packed attributes.
extern const char* const kNameIndex;

// Fills the object's attributes other than id, node, file space and names
// from a packed value of `n` bytes; false when the value is not one.
bool unpackAttrs(const char* p, size_t n, ObjectRecord& o);

}  // namespace vlt

#endif
