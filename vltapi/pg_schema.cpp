// The schema of a PostgreSQL repository, made by `vltadm init` in an
// existing database that the connecting user owns.
//
// Every row of a node carries its node id, and the objects table is split
// into partitions by a hash of it: one node's objects stay together, and
// nodes spread evenly over the partitions. Row-level security keeps nodes
// apart: a node connects as its own login role, and the policies let that
// role see and change only rows whose node is the one whose role it is.
// The owner (the administrator) is not bound by the policies.
#include <string>

#include "rvkapi.h"
#include "vltapi/pg_conn.h"
#include "vltapi/pg_store.h"
#include "vltapi/store.h"
#include "vltapi/util.h"

namespace vlt {
namespace {

const char* const kTables = R"SQL(
CREATE TABLE repo_meta(key text PRIMARY KEY, value text NOT NULL);
CREATE TABLE settings(key text PRIMARY KEY, value text NOT NULL);
CREATE TABLE nodes(
    id bigserial PRIMARY KEY,
    name text COLLATE "C" NOT NULL UNIQUE,
    role name NOT NULL UNIQUE,
    pw_salt bytea NOT NULL,
    pw_hash bytea NOT NULL,
    pw_iter integer NOT NULL,
    pw_set bigint NOT NULL,
    back_del boolean NOT NULL,
    arch_del boolean NOT NULL);
CREATE TABLE filespaces(
    id bigserial PRIMARY KEY,
    node_id bigint NOT NULL REFERENCES nodes(id),
    name text COLLATE "C" NOT NULL,
    type text NOT NULL,
    info bytea NOT NULL,
    capacity bigint NOT NULL,
    occupancy bigint NOT NULL,
    reg_date bigint NOT NULL,
    back_start bigint NOT NULL,
    back_complete bigint NOT NULL,
    UNIQUE(node_id, name));
CREATE SEQUENCE object_ids;
CREATE TABLE objects(
    id bigint NOT NULL DEFAULT nextval('object_ids'),
    node_id bigint NOT NULL,
    fs_id bigint NOT NULL,
    hl text COLLATE "C" NOT NULL,
    ll text COLLATE "C" NOT NULL,
    type integer NOT NULL,
    owner text NOT NULL,
    mc text NOT NULL,
    ins_date bigint NOT NULL,
    deact_date bigint NOT NULL,
    size bigint NOT NULL,
    state integer NOT NULL,
    has_data boolean NOT NULL,
    info bytea NOT NULL,
    PRIMARY KEY(node_id, id)) PARTITION BY HASH (node_id);
CREATE TABLE objects_p0 PARTITION OF objects FOR VALUES WITH (MODULUS 4, REMAINDER 0);
CREATE TABLE objects_p1 PARTITION OF objects FOR VALUES WITH (MODULUS 4, REMAINDER 1);
CREATE TABLE objects_p2 PARTITION OF objects FOR VALUES WITH (MODULUS 4, REMAINDER 2);
CREATE TABLE objects_p3 PARTITION OF objects FOR VALUES WITH (MODULUS 4, REMAINDER 3);
CREATE INDEX objects_id ON objects(id);
CREATE INDEX objects_name ON objects(node_id, fs_id, hl, ll, id);
CREATE TABLE object_data(
    node_id bigint NOT NULL,
    obj_id bigint NOT NULL,
    seq integer NOT NULL,
    chunk bytea NOT NULL,
    PRIMARY KEY(obj_id, seq));
CREATE TABLE actlog(
    id bigserial PRIMARY KEY,
    date bigint NOT NULL,
    node text NOT NULL,
    severity integer NOT NULL,
    msg_id text NOT NULL,
    text text NOT NULL,
    obj_id bigint NOT NULL);

-- The node of the connected role; NULL for any other role.
CREATE FUNCTION vlt_node() RETURNS bigint LANGUAGE sql STABLE
    AS $$ SELECT id FROM nodes WHERE role = current_user $$;

ALTER TABLE nodes ENABLE ROW LEVEL SECURITY;
ALTER TABLE filespaces ENABLE ROW LEVEL SECURITY;
ALTER TABLE objects ENABLE ROW LEVEL SECURITY;
ALTER TABLE object_data ENABLE ROW LEVEL SECURITY;
ALTER TABLE actlog ENABLE ROW LEVEL SECURITY;
CREATE POLICY own_node ON nodes USING (role = current_user);
CREATE POLICY own_rows ON filespaces USING (node_id = vlt_node());
CREATE POLICY own_rows ON objects USING (node_id = vlt_node());
CREATE POLICY own_rows ON object_data USING (node_id = vlt_node());
CREATE POLICY own_rows ON actlog
    USING (node = (SELECT name FROM nodes WHERE role = current_user));
)SQL";

// The rights of every node's role, through the repository's group role
// (quoted into the text where GROUP stands).
const char* const kGrants = R"SQL(
REVOKE ALL ON ALL TABLES IN SCHEMA public FROM PUBLIC;
GRANT SELECT ON repo_meta, settings TO GROUP;
GRANT SELECT, UPDATE (pw_salt, pw_hash, pw_iter, pw_set) ON nodes TO GROUP;
GRANT SELECT, INSERT, UPDATE, DELETE ON filespaces, objects, object_data TO GROUP;
GRANT SELECT, INSERT ON actlog TO GROUP;
GRANT USAGE ON SEQUENCE filespaces_id_seq, object_ids, actlog_id_seq TO GROUP;
)SQL";

std::string replaceAll(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

// Makes the group role unless it exists (roles outlive a dropped database).
Rc makeGroupRole(PgConn& c, const std::string& group) {
    PgResult r;
    if (Rc rc =
            c.exec("SELECT 1 FROM pg_roles WHERE rolname = $1", {pgText(group)}, "find role", &r))
        return rc;
    if (PQntuples(r.get()) > 0) return RVK_RC_OK;
    return c.exec("CREATE ROLE " + c.quoteIdent(group) + " NOLOGIN", "create group role");
}

Rc createSchema(PgConn& c, const std::string& db, const ServerSettings& initial) {
    std::string group = pgGroupRole(db);
    if (Rc rc = c.exec("BEGIN", "begin")) return rc;
    if (Rc rc = c.exec(kTables, "create tables")) return rc;
    if (Rc rc = makeGroupRole(c, group)) return rc;
    if (Rc rc = c.exec(replaceAll(kGrants, "GROUP", c.quoteIdent(group)), "grant rights"))
        return rc;
    // Only the repository's nodes may connect to its database.
    std::string dbq = c.quoteIdent(db);
    if (Rc rc =
            c.exec("REVOKE ALL ON DATABASE " + dbq + " FROM PUBLIC; GRANT CONNECT ON DATABASE " +
                       dbq + " TO " + c.quoteIdent(group),
                   "limit connections"))
        return rc;
    if (Rc rc = c.exec("SELECT setval('object_ids', $1, false)",
                       {pgInt(static_cast<int64_t>(kFirstObjectId))}, "set first object id"))
        return rc;
    if (Rc rc = c.exec("INSERT INTO repo_meta VALUES('format', $1), ('version', $2)",
                       {pgText(kPgFormat), pgInt(kPgSchemaVersion)}, "write format"))
        return rc;
    ServerSettings settings = initial;
    if (settings.created == 0) settings.created = nowDate();
    for (auto& kv : settingsList(settings))
        if (Rc rc = c.exec("INSERT INTO settings VALUES($1, $2)",
                           {pgText(kv.first), pgText(kv.second)}, "write setting"))
            return rc;
    return c.exec("COMMIT", "commit");
}

}  // namespace

Rc createPgStore(const std::string& uri, const ServerSettings& initial, std::string& err) {
    std::string db = pgDatabaseName(uri, err);
    if (db.empty()) return RVK_RC_INVALID_ARGUMENT;
    std::unique_ptr<PgConn> c;
    if (Rc rc = PgConn::open(uri, "", "", c, err)) return rc;
    PgResult r;
    if (Rc rc = c->exec("SELECT 1 FROM pg_tables WHERE schemaname = 'public' AND tablename = "
                        "'repo_meta'",
                        {}, "look for a repository", &r)) {
        err = c->lastError();
        return rc;
    }
    if (PQntuples(r.get()) > 0) {
        err = "repository " + uri + " already exists";
        return RVK_RC_INVALID_ARGUMENT;
    }
    ServerSettings s = initial;
    if (s.serverType == ServerSettings().serverType) s.serverType = "VLT-PGSQL";
    if (Rc rc = createSchema(*c, db, s)) {
        err = "cannot create " + uri + ": " + c->lastError();
        return rc;
    }
    return RVK_RC_OK;
}

}  // namespace vlt
