#!/usr/bin/env bash
# The zebosync demonstration. Builds what it needs, installs the program, the
# client library and their files into a scratch folder, creates a VLT Server
# repository with a few thousand RMAN backup objects of three databases and a
# Recovery Catalog (for the SQL*Plus simulator) that no longer lists some of
# them, writes zebo.opt and rvk.opt, and starts `zebosync syncdb` in your
# terminal.
#
#   scripts/demo.sh                 interactive run in a new /tmp/zebosync-demo.*
#   scripts/demo.sh --batch         the same with piped answers; checks the
#                                   server after every run (exit status 0 = pass)
#
# Options:
#   --build-dir DIR   use this build tree as it is (default: build/, configured
#                     and brought up to date first)
#   --dir DIR         the scratch folder (must be missing or empty)
#   --days N          days of backups (default 150)
#   --keep            keep the scratch folder after a passing batch run
#   --server KIND     the VLT Server's repository: sqlite (a file, the default)
#                     or postgresql (a throwaway cluster in the scratch folder,
#                     started by testing/pgcluster.sh: a Unix socket only)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

batch=0
keep=0
build_dir=
scratch=
days=150
server=sqlite
while [ $# -gt 0 ]; do
    case $1 in
    --batch) batch=1 ;;
    --keep) keep=1 ;;
    --build-dir) build_dir=$(cd "${2:?--build-dir needs a folder}" && pwd); shift ;;
    --dir) scratch=${2:?--dir needs a folder}; shift ;;
    --days) days=${2:?--days needs a number}; shift ;;
    --server) server=${2:?--server needs sqlite or postgresql}; shift ;;
    -h | --help) sed -n '2,/^set -euo/p' "$0" | sed '$d; s/^# \{0,1\}//'; exit 0 ;;
    *) echo "demo.sh: unknown argument $1 (see --help)" >&2; exit 2 ;;
    esac
    shift
done

case $server in
sqlite | postgresql) ;;
*) echo "demo.sh: --server must be sqlite or postgresql" >&2; exit 2 ;;
esac

say() { printf '%s\n' "$*"; }
fail() {
    say "demo: FAILED: $*" >&2
    [ -n "${scratch:-}" ] && say "demo: everything is kept in $scratch" >&2
    exit 1
}

# The answers of the demonstration (also printed for the interactive run).
node=DBSRV01
node_pw=vlt4demo
other_node=DBSRV02
rcat_user=rman
rcat_pw=demo
rcat_connect=rcat
max_per_txn=100

# ---------------------------------------------------------------- build
if [ -z "$build_dir" ]; then
    # shellcheck source=scripts/packages.sh
    . "$root/scripts/packages.sh"
    zebo_need_packages
    build_dir=$root/build
    if [ ! -f "$build_dir/CMakeCache.txt" ]; then
        say "== configuring $build_dir"
        cmake -S "$root" -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
    fi
    say "== building what the demo needs in $build_dir"
    # Everything that is installed, and the two demo-only programs.
    cmake --build "$build_dir" -j"$(nproc 2>/dev/null || echo 2)" --target \
        zebosync zebopasswd vltapi vltadm zebo_catalogs zebo_manpages sqlplus demodata
fi
for f in bin/zebosync bin/zebopasswd bin/vltadm lib/libApiQZ.so testbin/sqlplus testbin/demodata; do
    [ -x "$build_dir/$f" ] || [ -f "$build_dir/$f" ] || fail "$build_dir/$f is missing: build it first"
done
cache_value() { sed -n "s/^$1:[A-Z]*=//p" "$build_dir/CMakeCache.txt"; }
agent_default=$(cache_value ZEBO_AGENT_DIR)
api_default=$(cache_value ZEBO_API_DIR)

# ---------------------------------------------------------------- scratch folder
if [ -z "$scratch" ]; then
    scratch=$(mktemp -d "${TMPDIR:-/tmp}/zebosync-demo.XXXXXX")
else
    mkdir -p "$scratch"
    [ -z "$(ls -A "$scratch")" ] || fail "$scratch is not empty"
    scratch=$(cd "$scratch" && pwd)
fi
S=$scratch
mkdir -p "$S/etc" "$S/server" "$S/rcat" "$S/data" "$S/log" "$S/tmp"

# A PostgreSQL server of its own, in the scratch folder; the batch run stops
# it at the end, the interactive one leaves it running for a look around.
repository=$S/server/vlt.db
if [ "$server" = postgresql ]; then
    # The server runs as the postgres user when we are root: it must be able
    # to pass through the scratch folder (not read it).
    chmod 711 "$S"
    "$root/testing/pgcluster.sh" start "$S/pg" >"$S/log/pgcluster.log" 2>&1 ||
        fail "the PostgreSQL server did not start (see $S/log/pgcluster.log)"
    [ "$batch" = 1 ] && trap '"$root/testing/pgcluster.sh" stop "$S/pg" >/dev/null 2>&1 || true' EXIT
    export PGPASSFILE=$S/pg/pgpass
    "$root/testing/pgcluster.sh" sql "$S/pg" postgres "CREATE DATABASE vltdemo" >/dev/null ||
        fail "cannot create the database vltdemo"
    repository="postgresql://vltadmin@/vltdemo?host=$S/pg/sock"
fi

# The installation: the build's own install rules into $S/root, so that the
# programs run from the layout an installation gives them.
DESTDIR=$S/root cmake --install "$build_dir" >"$S/log/install.log" 2>&1 ||
    fail "cmake --install failed (see $S/log/install.log)"
agent_dir=$S/root$agent_default
api_dir=$S/root$api_default
# With the standard directories zebo.opt is a link to /etc/zebosync/zebo.opt,
# which points out of the staged installation: the demo uses its own file.
for f in "$agent_dir/zebosync" "$agent_dir/zebopasswd" "$agent_dir/zebo.opt" \
    "$agent_dir/en_US/zebo.cat" "$api_dir/libApiQZ.so" "$api_dir/vltadm"; do
    [ -e "$f" ] || [ -L "$f" ] || fail "the installation lacks $f"
done

# Everything below runs the installed programs; only the SQL*Plus simulator
# and the data generator come from the build tree.
cat >"$S/env.sh" <<EOF
# Source this file to work with the demonstration by hand:  . $S/env.sh
export ZEBO_AGENT_DIR='$agent_dir'
export LD_LIBRARY_PATH='$api_dir'\${LD_LIBRARY_PATH:+:\$LD_LIBRARY_PATH}
export PATH='$agent_dir:$api_dir:$build_dir/testbin':\$PATH
export SQLPLUS_SIM_DIR='$S/rcat'
export TMPDIR='$S/tmp'
export ZEBO_OPTFILE='$S/etc/zebo.opt'
export RVKI_CONFIG='$S/etc/rvk.opt'
export PGPASSFILE='$S/pg/pgpass'
unset RVKI_DIR RVKI_LOG
EOF
# shellcheck disable=SC1091
. "$S/env.sh"
cd "$S"

cat >"$S/etc/rvk.opt" <<EOF
* Client options of the demonstration's VLT Server: its repository.
REPOSITORY      $repository
SERVERNAME      VLTDEMO
PASSWORDACCESS  PROMPT
EOF
cat >"$S/etc/zebo.opt" <<EOF
* zebo.opt of the zebosync demonstration.
RVKI_DIR          $api_dir
RVKI_LOG          $S/log
RVKI_ORC_DIR      $agent_dir
RVKI_ORC_CONFIG   $S/etc/rvk.opt
ZEBO_FS           /koruorc
ZEBO_NODE         $node
ZEBO_PSWDPATH     $S/etc
* Dates as yyyy-mm-dd.
ZEBO_DATE_FMT     3
ZEBO_TRACE_FILE   $S/log/zebosync.trace
ZEBO_TRACE_FLAGS  ORCLEVEL0 ORCLEVEL1 ORCLEVEL2
EOF

# ---------------------------------------------------------------- data
today=$(date +%F)
say "== generating $days days of RMAN backups up to $today"
demodata --out "$S/data" --today "$today" --days "$days" | tee "$S/data/summary.txt"

say "== creating the VLT Server repository $repository"
vltadm init >/dev/null || fail "vltadm init"
printf '%s\n' "$node_pw" | vltadm node add "$node" >/dev/null || fail "vltadm node add $node"
printf '%s\n' "${node_pw}2" | vltadm node add "$other_node" >/dev/null ||
    fail "vltadm node add $other_node"
vltadm set maxobjpertxn "$max_per_txn" >/dev/null || fail "vltadm set maxobjpertxn"
vltadm load "$node" <"$S/data/server-objects.tsv" >/dev/null || fail "vltadm load $node"
vltadm load "$other_node" <"$S/data/other-node-objects.tsv" >/dev/null ||
    fail "vltadm load $other_node"
say "   $(vltadm count "$node") objects of node $node, $(vltadm count "$other_node") of node $other_node"

say "== storing the password of node $node with zebopasswd"
printf '%s\n%s\n' "$node_pw" "$node_pw" | zebopasswd -ZEBO_OPTfile="$S/etc/zebo.opt" >/dev/null ||
    fail "zebopasswd"

say "== creating the Recovery Catalog '$rcat_connect' of the SQL*Plus simulator"
sqlplus --sim-create "$rcat_connect" "$rcat_user" "$rcat_pw" >/dev/null || fail "sqlplus --sim-create"
sqlplus --sim-load "$rcat_connect" <"$S/data/catalog-pieces.tsv" >/dev/null || fail "sqlplus --sim-load"

# ---------------------------------------------------------------- interactive
if [ "$batch" = 0 ]; then
    [ -t 0 ] && [ -t 1 ] || fail "the interactive demo needs a terminal; use --batch"
    cat <<EOF

zebosync is about to start. It asks for the Recovery Catalog's log-on; type:

    user name       $rcat_user
    password        $rcat_pw
    connect string  $rcat_connect

Then press Enter twice for the default dates (the whole period). The pick list
shows the $(wc -l <"$S/data/orphans.txt") objects that the catalog does not know. Try:

    D / U / B / T   page down, up, bottom, top      R / L   scroll right / left
    1:5+            mark entries 1 to 5             7       flip entry 7
    O               delete the marked entries (asks: answer y or n)
    Q               leave

EOF
    read -r -p "Press Enter to start zebosync (Ctrl-C to stop here) " _
    set +e
    zebosync syncdb -ZEBO_OPTfile="$S/etc/zebo.opt"
    status=$?
    set -e
    cat <<EOF

zebosync ended with exit status $status. The demonstration stays in $S:
    log/zebosync.trace   the trace (ORCLEVEL0-2: every object examined, every deletion)
    log/zeboerror.log    the error log (only when something failed)
    data/orphans.txt     the objects the catalog does not list
To look at the server or run zebosync again:
    . $S/env.sh
    vltadm count $node                  vltadm list $node | less
    zebosync syncdb
Remove it all with:  rm -rf $S
EOF
    [ "$server" = postgresql ] &&
        say "The PostgreSQL server keeps running; stop it first with: $root/testing/pgcluster.sh stop $S/pg"
    exit "$status"
fi

# ---------------------------------------------------------------- batch
export TERM=dumb LANG=C LC_ALL=C
total=$(wc -l <"$S/data/server-objects.tsv")
orphans=$(wc -l <"$S/data/orphans.txt")
other_total=$(wc -l <"$S/data/other-node-objects.tsv")

# run NAME ANSWERS...: one zebosync syncdb with the answers on standard
# input (catalog log-on first); its screen goes to log/NAME.out, its trace to
# log/NAME.trace. The output is capped in case a fault makes it loop.
run() {
    local name=$1
    shift
    local status
    set +e
    printf '%s\n' "$rcat_user" "$rcat_pw" "$rcat_connect" "$@" |
        timeout 180 zebosync syncdb -ZEBO_OPTfile="$S/etc/zebo.opt" 2>"$S/log/$name.err" |
        head -c 50000000 >"$S/log/$name.out"
    status=${PIPESTATUS[1]}
    set -e
    mv "$S/log/zebosync.trace" "$S/log/$name.trace" 2>/dev/null || true
    [ "$status" = 0 ] || fail "$name: zebosync ended with status $status (see $S/log/$name.out)"
}
# Server objects of a node as sorted full names.
server_names() { vltadm list "$1" | awk -F'\t' '{ print $2 $3 $4 }' | sort; }
# Entries of the pick list screens: "number name", every screen of the run.
entries() { awk '/^[ x] *[0-9]+ \| / { n = ($1 == "x") ? $2 : $1; print n, $NF }' "$S/log/$1.out"; }
deleted_in_trace() {
    sed -n "s/.*Deleted file '\\(.*\\)' from Vlt Server.*/\\1/p" "$S/log/$1.trace" | sort
}
expect_server() {
    local what=$1 expected=$2
    server_names "$node" >"$S/tmp/server.now"
    cmp -s "$S/tmp/server.now" "$expected" ||
        fail "$what: the server's objects differ from the expected ones ($(diff "$expected" "$S/tmp/server.now" | grep -c '^[<>]') lines; diff $expected $S/tmp/server.now)"
    [ "$(server_names "$other_node" | wc -l)" = "$other_total" ] ||
        fail "$what: objects of node $other_node changed"
}

awk -F'\t' '{ print $1 $2 $3 }' "$S/data/server-objects.tsv" | sort >"$S/tmp/all.names"
sort "$S/data/orphans.txt" >"$S/tmp/orphans.names"
server_names "$node" >"$S/tmp/server.now"
cmp -s "$S/tmp/server.now" "$S/tmp/all.names" || fail "the server does not hold the generated objects"

say "== run 1: mark entries 1 to 5, delete them"
run run1 "" "" "1:5+" "o" "y" "q"
entries run1 | awk '$1 <= 5 && !seen[$1]++ { print $2 }' | sort >"$S/tmp/picked1"
[ "$(wc -l <"$S/tmp/picked1")" = 5 ] || fail "run 1: the pick list did not show entries 1 to 5"
comm -23 "$S/tmp/picked1" "$S/tmp/orphans.names" | grep -q . &&
    fail "run 1: the pick list shows objects the catalog knows: $(comm -23 "$S/tmp/picked1" "$S/tmp/orphans.names" | head -3)"
comm -23 "$S/tmp/all.names" "$S/tmp/picked1" >"$S/tmp/expected1"
expect_server "run 1" "$S/tmp/expected1"
deleted_in_trace run1 | cmp -s - "$S/tmp/picked1" || fail "run 1: the trace does not name the 5 deletions"
say "   deleted exactly the 5 picked orphans; $((total - 5)) objects left"

say "== run 2: last 60 days only, go to the bottom, mark 3 and 4, answer no"
from=$(date -d "$today -60 days" +%F)
run run2 "+60" "" "b" "3,4" "o" "n" "q"
# Orphans still on the server and inserted on or after the from-date.
awk -F'\t' -v from="$from" 'substr($4, 1, 10) >= from { print $1 $2 $3 }' \
    "$S/data/server-objects.tsv" | sort | comm -12 - "$S/tmp/orphans.names" |
    comm -23 - "$S/tmp/picked1" >"$S/tmp/recent"
shown=$(entries run2 | awk '{ if ($1 > max) max = $1 } END { print max + 0 }')
[ "$shown" = "$(wc -l <"$S/tmp/recent")" ] ||
    fail "run 2: the pick list ends at entry $shown, expected $(wc -l <"$S/tmp/recent") orphans since $from"
entries run2 | awk '{ print $2 }' | sort -u | comm -23 - "$S/tmp/recent" | grep -q . &&
    fail "run 2: the pick list shows objects outside the expected orphans since $from"
expect_server "run 2" "$S/tmp/expected1"
[ -z "$(deleted_in_trace run2)" ] || fail "run 2: objects were deleted although the answer was no"
say "   $shown orphans since $from listed, nothing deleted"

say "== run 3: whole period, mark everything, delete in transactions of $max_per_txn"
run run3 "" "" "+" "o" "y" "q"
comm -23 "$S/tmp/all.names" "$S/tmp/orphans.names" >"$S/tmp/expected3"
expect_server "run 3" "$S/tmp/expected3"
comm -23 "$S/tmp/orphans.names" "$S/tmp/picked1" >"$S/tmp/deleted3"
deleted_in_trace run3 | cmp -s - "$S/tmp/deleted3" ||
    fail "run 3: the trace does not name the $((orphans - 5)) deletions"
grep -q "QEV2599" "$S/log/run3.out" || fail "run 3: no message that nothing is left to synchronise"
say "   all $orphans orphans gone; the $((total - orphans)) objects the catalog knows and node $other_node's $other_total are all there"

say "demo: PASSED"
if [ "$keep" = 1 ]; then
    say "demo: kept in $S"
else
    cd /
    [ "$server" = postgresql ] && "$root/testing/pgcluster.sh" stop "$S/pg" >/dev/null
    rm -rf "$S"
fi
