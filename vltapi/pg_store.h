// The repository in a PostgreSQL database (pg_store.cpp, pg_schema.cpp).
//
// The administrator connects as the user the repository URI names, who
// owns the database; a node's session connects as the node's own login
// role with the node's password, so that the server checks the password
// and row-level security limits the session to the node's own rows.
#ifndef VLTAPI_PG_STORE_H
#define VLTAPI_PG_STORE_H

#include <memory>
#include <string>

#include "vltapi/store.h"

namespace vlt {

constexpr const char* kPgFormat = "vlt-repository";
constexpr int kPgSchemaVersion = 1;

// `node` empty: as the URI's user (the administrator); else as the node's
// role with `password` (RVK_RC_AUTH_FAILURE when the server refuses it).
Rc openPgStore(const std::string& uri, int busyTimeoutMs, const std::string& node,
               const std::string& password, std::unique_ptr<Store>& out, std::string& err);

// Creates the schema in the existing, empty database the URI names.
Rc createPgStore(const std::string& uri, const ServerSettings& initial, std::string& err);

}  // namespace vlt

#endif
