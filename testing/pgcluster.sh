#!/usr/bin/env bash
# A throwaway PostgreSQL cluster for tests and the demo.
#
#   pgcluster.sh start DIR   initdb into DIR/data and start the server
#   pgcluster.sh stop DIR    stop it and remove DIR
#   pgcluster.sh restart DIR stop the server (ending every session as a
#                            server shut-down does) and start it again
#   pgcluster.sh sql DIR DB SQL   run SQL in database DB as the superuser
#
# The server listens on a Unix socket in DIR/sock only (no TCP port) and
# asks every connection for a password (SCRAM). Its superuser is "vltadmin";
# the password is in DIR/pgpass, a libpq password file (PGPASSFILE). The
# server refuses to run as root: run as root, it runs as the unprivileged
# "postgres" system user, which then owns DIR/data.
set -euo pipefail

cmd=${1:-}
dir=${2:-}
[ -n "$cmd" ] && [ -n "$dir" ] || {
    echo "usage: $0 start|stop|restart DIR, or $0 sql DIR DB SQL" >&2
    exit 2
}
bindir=${PG_BINDIR:-}
if [ -z "$bindir" ]; then
    for d in /usr/lib/postgresql/*/bin; do
        [ -x "$d/initdb" ] && bindir=$d
    done
fi
if [ -z "$bindir" ] || [ ! -x "$bindir/initdb" ]; then
    echo "pgcluster: no PostgreSQL server found (install the Debian package postgresql)" >&2
    exit 1
fi

# Runs a server program as the user that owns the data.
as_owner() {
    if [ "$(id -u)" -eq 0 ]; then
        runuser -u postgres -- "$@"
    else
        "$@"
    fi
}

# Where the data and the socket live: DIR itself, or (when the server's user
# cannot pass through DIR's parents, or a socket name there would be too
# long) a private folder under /tmp that DIR/data and DIR/sock link to.
pick_home() {
    home=$dir
    local reachable=1
    if [ "$(id -u)" -eq 0 ]; then
        runuser -u postgres -- test -x "$dir" 2>/dev/null || reachable=0
    fi
    if [ "$reachable" = 0 ] || [ ${#dir} -gt 80 ]; then
        home=$(mktemp -d /tmp/vltpg.XXXXXX)
        chmod 711 "$home"
        ln -s "$home/data" "$dir/data"
        ln -s "$home/sock" "$dir/sock"
    fi
}

case $cmd in
start)
    mkdir -p "$dir"
    dir=$(cd "$dir" && pwd)
    if [ -f "$dir/data/postmaster.pid" ]; then
        as_owner "$bindir/pg_ctl" -D "$(readlink -f "$dir/data")" stop -m immediate >/dev/null 2>&1 || true
    fi
    if [ -L "$dir/data" ]; then rm -rf "$(dirname "$(readlink -f "$dir/data")")"; fi
    rm -rf "$dir/data" "$dir/sock" "$dir/pgpass" "$dir/pwfile"
    pick_home
    mkdir -p "$home/data" "$home/sock"
    chmod 700 "$home/data"
    pw=$(head -c 18 /dev/urandom | base64 | tr -d '/+=')
    umask 077
    printf '%s\n' "$pw" >"$home/pwfile"
    printf '*:*:*:vltadmin:%s\n' "$pw" >"$dir/pgpass"
    if [ "$(id -u)" -eq 0 ]; then
        id postgres >/dev/null 2>&1 || {
            echo "pgcluster: running as root, but there is no 'postgres' user to run the server" >&2
            exit 1
        }
        chown postgres "$home/data" "$home/sock" "$home/pwfile"
        runuser -u postgres -- test -x "$home/sock" || {
            echo "pgcluster: the user postgres cannot reach $home (a parent folder is closed)" >&2
            exit 1
        }
    fi
    if ! as_owner "$bindir/initdb" -D "$home/data" -U vltadmin --pwfile="$home/pwfile" \
        --auth-local=scram-sha-256 --auth-host=reject -E UTF8 --locale=C --no-sync \
        >"$dir/initdb.log" 2>&1; then
        cat "$dir/initdb.log" >&2
        echo "pgcluster: initdb failed" >&2
        exit 1
    fi
    rm -f "$home/pwfile"
    # The cluster is thrown away after the tests: no need to flush to disk.
    if ! as_owner "$bindir/pg_ctl" -D "$home/data" -l "$home/data/server.log" -w -t 60 \
        -o "-c listen_addresses='' -k '$home/sock' -c fsync=off -c full_page_writes=off \
            -c max_connections=200" start >/dev/null; then
        cat "$home/data/server.log" >&2 || true
        echo "pgcluster: the server did not start" >&2
        exit 1
    fi
    echo "pgcluster: server running, socket in $dir/sock, password file $dir/pgpass"
    ;;
stop)
    [ -d "$dir" ] || exit 0
    data=$(readlink -f "$dir/data" || true)
    if [ -n "$data" ] && [ -f "$data/postmaster.pid" ]; then
        as_owner "$bindir/pg_ctl" -D "$data" stop -m fast -w >/dev/null
    fi
    if [ -L "$dir/data" ]; then rm -rf "$(dirname "$data")"; fi
    rm -rf "$dir"
    ;;
restart)
    data=$(readlink -f "$dir/data")
    [ -f "$data/postmaster.pid" ] || {
        echo "pgcluster: no server running in $dir" >&2
        exit 1
    }
    # pg_ctl starts the server again with the options it was started with.
    if ! as_owner "$bindir/pg_ctl" -D "$data" -l "$data/server.log" restart -m fast -w -t 60 \
        >/dev/null; then
        cat "$data/server.log" >&2 || true
        echo "pgcluster: the server did not start again" >&2
        exit 1
    fi
    ;;
sql)
    dir=$(cd "$dir" && pwd)
    PGPASSFILE=$dir/pgpass "$bindir/psql" -X -q -v ON_ERROR_STOP=1 \
        "host=$dir/sock user=vltadmin dbname=${3:?sql needs a database}" -c "${4:?sql needs SQL}"
    ;;
*)
    echo "usage: $0 start|stop|restart DIR, or $0 sql DIR DB SQL" >&2
    exit 2
    ;;
esac
