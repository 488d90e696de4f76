#!/usr/bin/env bash
# Checks the two ways of installing zebosync.
#
# 1. A scratch installation (build-scratch/): the agent and API directories
#    configured into build-scratch/stage, installed with `cmake --install`
#    and run from there without root, with LD_LIBRARY_PATH set to the API
#    directory.
# 2. The Debian packages (build-pkg/): `cpack -G DEB` builds "zebosync" and
#    "vltapi", first of an older version (the same sources with the version
#    "<version>~prev"), then of the current one. The current packages must
#    pass lintian with no error and no warning except the tags that the
#    fixed directories under /opt bring (see LINTIAN_PLACEMENT_TAGS). The
#    older packages are installed, the administrator's option file edited,
#    a repository created; the current ones are installed over them, which
#    must keep the edit, the key file and the repository. The installed
#    programs are run (usage from the installed catalogs, --help and
#    --version, vltadm, a short synchronisation with deletion, the manual
#    pages, the bash completion), then the packages are removed (only the
#    configuration files and the key file stay) and purged (nothing stays
#    but user data). This part installs software, so it needs root;
#    whatever happens, the system is left as it was found.
#
#   scripts/check-packages.sh [--skip-scratch] [--skip-packages] [--build-root DIR]
#                             [--pkg-build DIR]
#
# --build-root puts build-scratch/ and build-pkg/ into DIR instead of the
# repository. --pkg-build makes the packages from DIR, a build configured
# with the standard directories and already built (scripts/test.sh passes
# its normal build), instead of building build-pkg/; the older version is
# made there too, and the build is set back to the current one afterwards.
#
# Runs of zebosync use the SQL*Plus simulator of the build tree in place of
# SQL*Plus. Exit status 0 when every check passed.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
# shellcheck source=scripts/packages.sh
. "$root/scripts/packages.sh"

do_scratch=1
do_packages=1
build_root=$root
pkg_build=
while [ $# -gt 0 ]; do
    case $1 in
    --skip-scratch) do_scratch=0 ;;
    --skip-packages) do_packages=0 ;;
    --build-root) mkdir -p "${2:?--build-root needs a folder}"; build_root=$(cd "$2" && pwd); shift ;;
    --pkg-build) pkg_build=$(cd "${2:?--pkg-build needs a build folder}" && pwd); shift ;;
    -h | --help) sed -n '2,/^set -euo/p' "$0" | sed '$d; s/^# \{0,1\}//'; exit 0 ;;
    *) echo "check-packages.sh: unknown argument $1" >&2; exit 2 ;;
    esac
    shift
done

jobs=$(nproc 2>/dev/null || echo 2)
work=$(mktemp -d "${TMPDIR:-/tmp}/zebo-check.XXXXXX")
# The check's own files: removed after a pass, kept for a look after a failure.
drop_work() {
    if [ "$1" = 0 ]; then
        rm -rf "$work"
    else
        echo "check-packages: the check's files are kept in $work" >&2
    fi
}
trap 'drop_work $?' EXIT
say() { printf '%s\n' "$*"; }
fail() {
    say "check-packages: FAILED: $*" >&2
    exit 1
}

# build DIR CMAKE-ARGS...: a build of the programs without the tests.
build() {
    local dir=$1
    shift
    cmake -S "$root" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DZEBO_TESTS=OFF "$@" >/dev/null
    cmake --build "$dir" -j"$jobs" >"$work/build.log" 2>&1 || {
        tail -40 "$work/build.log" >&2
        fail "building $dir"
    }
}

# check_help: `zebosync help` from the PATH ends with status 0 and shows the
# usage, which comes from the installed message catalog.
check_help() {
    local out=$work/help.out status=0
    (cd "$work" && TERM=dumb LANG=C zebosync help) >"$out" 2>&1 </dev/null || status=$?
    [ "$status" = 0 ] || fail "zebosync help ended with status $status: $(head -c 600 "$out")"
    grep -q 'SYNCdb' "$out" && grep -q -- '-ZEBO_OPTfile' "$out" ||
        fail "zebosync help shows no usage: $(head -c 600 "$out")"
    say "   zebosync help: status 0, usage from the catalog"
}

# short_sync DIR [PSWDPATH]: a server with three objects of which the catalog
# lists one, the node's password stored with zebopasswd (in PSWDPATH, else
# in DIR), and a zebosync run that marks every orphan and deletes it. The
# server must keep exactly the cataloged object. Programs come from the PATH.
short_sync() {
    local t=$1 pswd=${2:-$1}
    mkdir -p "$t"
    cat >"$t/rvk.opt" <<EOF
REPOSITORY      $t/vlt.db
SERVERNAME      CHECK
PASSWORDACCESS  PROMPT
EOF
    cat >"$t/zebo.opt" <<EOF
RVKI_ORC_CONFIG  $t/rvk.opt
RVKI_LOG         $t
ZEBO_NODE        CHECKNODE
ZEBO_PSWDPATH    $pswd
ZEBO_DATE_FMT    3
EOF
    vltadm -c "$t/rvk.opt" init >/dev/null
    printf 'check4pw\n' | vltadm -c "$t/rvk.opt" node add CHECKNODE >/dev/null
    printf '/koruorc\t/ORCL\t/%s\t2026-03-0%d 22:00:00\t1048576\n' \
        ORCL_10_1_1187042400 1 ORCL_11_1_1187128800 2 c-1234567890-20260303-00 3 |
        vltadm -c "$t/rvk.opt" load CHECKNODE >/dev/null
    printf 'check4pw\ncheck4pw\n' | zebopasswd -ZEBO_OPTfile="$t/zebo.opt" >/dev/null ||
        fail "zebopasswd could not store the password"
    SQLPLUS_SIM_DIR=$t/rcat sqlplus --sim-create rcat rman demo >/dev/null
    printf 'ORCL_11_1_1187128800\t2026-03-02 22:00:05\n' |
        SQLPLUS_SIM_DIR=$t/rcat sqlplus --sim-load rcat >/dev/null
    local status=0
    printf '%s\n' rman demo rcat "" "" "+" "o" "y" "q" |
        (cd "$t" && SQLPLUS_SIM_DIR=$t/rcat TERM=dumb LANG=C TMPDIR=$t \
            timeout 60 zebosync syncdb -ZEBO_OPTfile="$t/zebo.opt") >"$t/sync.out" 2>&1 ||
        status=$?
    [ "$status" = 0 ] || fail "zebosync syncdb ended with status $status (see $t/sync.out)"
    local left
    left=$(vltadm -c "$t/rvk.opt" list CHECKNODE | cut -f4 | tr '\n' ' ')
    [ "$left" = "/ORCL_11_1_1187128800 " ] ||
        fail "after zebosync syncdb the server holds: $left (see $t/sync.out)"
    say "   zebosync syncdb: deleted the 2 orphans, kept the cataloged object"
}

# check_manpages FILE...: each page renders without a warning.
check_manpages() {
    local page
    for page in "$@"; do
        [ -f "$page" ] || fail "manual page $page is missing"
        MANWIDTH=80 man --warnings -l "$page" >"$work/man.out" 2>"$work/man.err" ||
            fail "man -l $page failed: $(cat "$work/man.err")"
        [ ! -s "$work/man.err" ] || fail "man -l $page warns: $(cat "$work/man.err")"
        grep -q NAME "$work/man.out" || fail "man -l $page shows no NAME section"
    done
    say "   manual pages render: $*"
}

# ---------------------------------------------------------------- scratch
if [ "$do_scratch" = 1 ]; then
    zebo_need_packages
    say "== scratch installation (build-scratch/)"
    stage=$build_root/build-scratch/stage
    build "$build_root/build-scratch" -DZEBO_AGENT_DIR="$stage/agent" -DZEBO_API_DIR="$stage/api" \
        -DCMAKE_INSTALL_PREFIX="$stage/usr"
    rm -rf "$stage"
    cmake --install "$build_root/build-scratch" >"$work/install.log" 2>&1 ||
        fail "cmake --install: $(tail -5 "$work/install.log")"
    for f in agent/zebosync agent/zebopasswd agent/zebo.opt agent/en_US/zebo.cat \
        agent/en_US/rvkclientV3.cat agent/de_DE/zebo.cat api/libApiQZ.so api/vltadm api/rvk.opt \
        usr/bin/zebosync usr/sbin/vltadm usr/share/man/man1/zebosync.1.gz \
        usr/share/man/man1/zebopasswd.1.gz usr/share/man/man8/vltadm.8.gz; do
        [ -e "$stage/$f" ] || fail "the scratch installation lacks $f"
    done
    grep -q '/etc/' "$work/install.log" && fail "the scratch installation wrote into /etc"
    say "   installed into $stage without root"
    (
        export PATH=$stage/usr/bin:$stage/usr/sbin:$build_root/build-scratch/testbin:$PATH
        export LD_LIBRARY_PATH=$stage/api
        unset ZEBO_AGENT_DIR ZEBO_OPTFILE RVKI_DIR RVKI_LOG RVKI_CONFIG
        check_help
        short_sync "$work/scratch"
        check_manpages "$stage"/usr/share/man/man1/*.gz "$stage"/usr/share/man/man8/*.gz
    )
fi

[ "$do_packages" = 1 ] || { say "check-packages: PASSED"; rm -rf "$work"; exit 0; }

# ---------------------------------------------------------------- packages
[ "$(id -u)" = 0 ] || fail "the package check installs packages: run it as root"
zebo_need_packages
zebo_need_packages "${ZEBO_PACKAGE_CHECK_PACKAGES[@]}"
for p in zebosync vltapi; do
    case $(dpkg-query -W -f='${db:Status-Abbrev}' "$p" 2>/dev/null || true) in
    "" | "un"* | "pn"*) ;;
    *) fail "package $p is already on this system; remove it first (dpkg --purge $p)" ;;
    esac
done

# Lintian tags that the program's fixed directories bring: its files live
# under /opt; the library there is found by its bare name only through an
# entry in /etc/ld.so.conf.d; and lintian, which knows only the standard
# library folders, takes the ldconfig trigger that refreshes the cache for
# that entry for an unnecessary one. Any other error or warning fails.
LINTIAN_PLACEMENT_TAGS=(dir-or-file-in-opt package-modifies-ld.so-search-path
    package-has-unnecessary-activation-of-ldconfig-trigger)

say "== Debian packages"
if [ -n "$pkg_build" ]; then
    pkg_dir=$pkg_build
else
    pkg_dir=$build_root/build-pkg
    build "$pkg_dir"
fi
cache_value() { sed -n "s/^$1:[A-Z]*=//p" "$pkg_dir/CMakeCache.txt"; }
agent_dir=$(cache_value ZEBO_AGENT_DIR)
api_dir=$(cache_value ZEBO_API_DIR)
[ "$(cache_value ZEBO_INSTALL_ETC)" = ON ] ||
    fail "$pkg_dir does not install into the standard directories (ZEBO_INSTALL_ETC is off)"
# The build goes back to the project's version whatever happens.
reset_version() { cmake -DZEBO_PACKAGE_VERSION= "$pkg_dir" >/dev/null 2>&1 || true; }

# make_packages VERSION DEST: the two packages of the build with VERSION
# (empty: the project's own) into the folder DEST.
make_packages() {
    cmake -DZEBO_PACKAGE_VERSION="$1" "$pkg_dir" >/dev/null
    cmake --build "$pkg_dir" -j"$jobs" >"$work/build.log" 2>&1 || {
        reset_version
        tail -40 "$work/build.log" >&2
        fail "building $pkg_dir"
    }
    rm -rf "$pkg_dir/packages"
    (cd "$pkg_dir" && cpack -G DEB >"$work/cpack.log" 2>&1) || {
        reset_version
        fail "cpack: $(tail -20 "$work/cpack.log")"
    }
    mkdir -p "$2"
    mv "$pkg_dir"/packages/*.deb "$2/"
}
old_version="$(cache_value CMAKE_PROJECT_VERSION)~prev"
make_packages "$old_version" "$work/old"
make_packages "" "$work/new"
agent_deb=$(ls "$work"/new/zebosync_*.deb)
api_deb=$(ls "$work"/new/vltapi_*.deb)
version=$(dpkg-deb -f "$agent_deb" Version)
dpkg --compare-versions "$old_version" lt "$version" ||
    fail "the older packages' version $old_version is not below $version"
say "   $(basename "$agent_deb"), $(basename "$api_deb"); older ones of version $old_version"

# Files and links of a package, as absolute paths.
deb_files() { dpkg-deb -c "$1" | awk '$1 !~ /^d/ { sub(/^\./, "", $6); print $6 }' | sort; }
deb_files "$agent_deb" >"$work/agent.files"
deb_files "$api_deb" >"$work/api.files"
completions=/usr/share/bash-completion/completions
for f in "$agent_dir"/zebosync "$agent_dir"/zebopasswd "$agent_dir"/zebo.opt /etc/zebosync/zebo.opt \
    "$agent_dir"/en_US/zebo.cat "$agent_dir"/en_US/rvkclientV3.cat "$agent_dir"/de_DE/zebo.cat \
    /usr/bin/zebosync /usr/bin/zebopasswd /usr/share/man/man1/zebosync.1.gz \
    /usr/share/man/man1/zebopasswd.1.gz $completions/zebosync $completions/zebopasswd \
    /usr/share/doc/zebosync/copyright /usr/share/doc/zebosync/changelog.gz; do
    grep -qx "$f" "$work/agent.files" || fail "package zebosync lacks $f"
done
for f in "$api_dir"/libApiQZ.so "$api_dir"/vltadm "$api_dir"/rvk.opt /etc/vltapi/rvk.opt \
    /usr/sbin/vltadm /etc/ld.so.conf.d/zebo-vltapi.conf /usr/share/man/man8/vltadm.8.gz \
    $completions/vltadm /usr/share/doc/vltapi/copyright /usr/share/doc/vltapi/changelog.gz; do
    grep -qx "$f" "$work/api.files" || fail "package vltapi lacks $f"
done
[ "$(dpkg-deb -I "$agent_deb" conffiles)" = /etc/zebosync/zebo.opt ] ||
    fail "package zebosync does not mark /etc/zebosync/zebo.opt (alone) as a configuration file"
[ "$(dpkg-deb -I "$api_deb" conffiles | sort | tr '\n' ' ')" = \
    "/etc/ld.so.conf.d/zebo-vltapi.conf /etc/vltapi/rvk.opt " ] ||
    fail "package vltapi does not mark its files in /etc (alone) as configuration files"
# Dependencies computed from the binaries carry the versions of the
# libraries' symbols; the program needs the library of its own version.
case $(dpkg-deb -f "$api_deb" Depends) in
*"libsqlite3-0 (>="*"libc6 (>="* | *"libc6 (>="*"libsqlite3-0 (>="*) ;;
*) fail "vltapi's dependencies are not computed from its binaries: $(dpkg-deb -f "$api_deb" Depends)" ;;
esac
case $(dpkg-deb -f "$agent_deb" Depends) in
*"vltapi (= $version)"*) ;;
*) fail "zebosync does not depend on vltapi $version: $(dpkg-deb -f "$agent_deb" Depends)" ;;
esac

lintian --fail-on none --tag-display-limit 0 "$agent_deb" "$api_deb" >"$work/lintian.out" \
    2>"$work/lintian.err" || fail "lintian could not check the packages: $(tail -5 "$work/lintian.err")"
placement="($(IFS='|' && echo "${LINTIAN_PLACEMENT_TAGS[*]}"))"
bad=$(grep -E '^[EW]: ' "$work/lintian.out" | grep -vE ": ${placement//./\\.}( |$)" || true)
[ -z "$bad" ] || fail "lintian reports:
$bad"
say "   lintian: no error or warning but $(grep -cE '^[EW]: ' "$work/lintian.out" || true) of the /opt placement:" \
    "${LINTIAN_PLACEMENT_TAGS[*]}"

# Every dependency of the packages (other than each other) must already be
# installed: the check installs nothing else.
for dep in $(dpkg-deb -f "$api_deb" Depends | tr ',' '\n' | sed 's/(.*//; s/|.*//'); do
    dpkg-query -W -f='${Status}' "$dep" 2>/dev/null | grep -q 'ok installed' ||
        fail "the packages need $dep, which is not installed"
done

# What the packages may touch, before anything is installed; compared with
# the state after the purge.
snapshot() {
    {
        find /opt /etc/ld.so.conf.d /etc/zebosync /etc/vltapi /usr/bin /usr/sbin /usr/share/man/man1 \
            /usr/share/man/man8 /usr/share/doc /usr/share/bash-completion -xdev 2>/dev/null || true
        ls /var/lib/dpkg/info/zebosync.* /var/lib/dpkg/info/vltapi.* 2>/dev/null || true
    } | sort
    # Only the linker cache's entries of the library: the rest of the cache
    # may be stale and is refreshed by any ldconfig.
    ldconfig -p | grep -F -e libApiQZ -e "$api_dir/" || true
}
snapshot >"$work/before"
user_file=$agent_dir/ZEBO.CHECKNODE
repository=$api_dir/vlt.db
key=$api_dir/vltapi.key
# The nearest existing ancestor of a folder: what was there before.
existing_ancestor() {
    local d=$1
    while [ ! -d "$d" ]; do d=$(dirname "$d"); done
    printf '%s\n' "$d"
}
agent_base=$(existing_ancestor "$agent_dir")
api_base=$(existing_ancestor "$api_dir")
# Removes the empty folders from DIR up to, not including, BASE.
remove_empty_dirs() {
    local d=$1 base=$2 prefix=${2%/}/
    while [ "$d" != "$base" ] && [ "${d#"$prefix"}" != "$d" ]; do
        rmdir "$d" 2>/dev/null || break
        d=$(dirname "$d")
    done
}

restore() {
    local status=$?
    dpkg --purge zebosync vltapi >/dev/null 2>&1 || true
    rm -f "$user_file" "$repository"
    remove_empty_dirs "$agent_dir" "$agent_base"
    remove_empty_dirs "$api_dir" "$api_base"
    reset_version
    drop_work "$status"
    exit "$status"
}
trap restore EXIT

# install_at VERSION DEB...: dpkg -i, and both packages installed at VERSION.
install_at() {
    local want=$1
    shift
    dpkg -i "$@" </dev/null >"$work/dpkg.log" 2>&1 || fail "dpkg -i: $(cat "$work/dpkg.log")"
    for p in zebosync vltapi; do
        [ "$(dpkg-query -W -f='${db:Status-Abbrev} ${Version}' "$p")" = "ii  $want" ] ||
            fail "package $p is not installed at version $want"
    done
}
export PATH=/usr/bin:/usr/sbin:/bin:/sbin:$pkg_dir/testbin
unset LD_LIBRARY_PATH ZEBO_AGENT_DIR ZEBO_OPTFILE RVKI_DIR RVKI_LOG RVKI_CONFIG

install_at "$old_version" "$work"/old/vltapi_*.deb "$work"/old/zebosync_*.deb
[ "$(stat -c '%a %s' "$key" 2>/dev/null)" = "600 32" ] ||
    fail "vltapi did not create the key file $key with mode 600 and 32 bytes"
cp "$key" "$work/key.before"
# The administrator's edit: a trace of every run, which also shows that the
# program reads the file through its fixed path in the agent directory.
printf 'ZEBO_TRACE_FILE   %s\nZEBO_TRACE_FLAGS  ORCLEVEL1\n' "$work/admin.trace" >>/etc/zebosync/zebo.opt
cp /etc/zebosync/zebo.opt "$work/zebo.opt.edited"
# The repository that the shipped rvk.opt names, next to it in the API
# directory.
vltadm init >/dev/null || fail "vltadm init with the installed rvk.opt failed"
[ -f "$repository" ] || fail "vltadm init with the installed rvk.opt did not create $repository"
say "   installed $old_version; zebo.opt edited, key file and repository there"

install_at "$version" "$api_deb" "$agent_deb"
cmp -s /etc/zebosync/zebo.opt "$work/zebo.opt.edited" || fail "the upgrade lost the edit of zebo.opt"
cmp -s "$key" "$work/key.before" || fail "the upgrade changed or removed the key file"
[ -f "$repository" ] || fail "the upgrade removed the repository $repository"
say "   upgraded to $version: the edit of zebo.opt, the key file and the repository kept"
ldconfig -p | grep -q "libApiQZ.so .*=> $api_dir/libApiQZ.so" ||
    fail "the linker cache does not know libApiQZ.so"
say "   libApiQZ.so is found by its bare name"

check_help
grep -q 'main: Exit - OK' "$work/admin.trace" 2>/dev/null ||
    fail "zebosync help did not follow the edited $agent_dir/zebo.opt (no trace in $work/admin.trace)"
for tool in vltadm zebopasswd; do
    [ "$($tool --version)" = "$tool $version" ] || fail "$tool --version does not show $tool $version"
    $tool --help | grep -q "^usage: $tool" || fail "$tool --help shows no usage"
done
say "   vltadm and zebopasswd: --help and --version"
# The password file goes where an administrator's would: the agent
# directory. It is user data that removing the packages must leave.
short_sync "$work/pkg" "$agent_dir"
[ -f "$user_file" ] || fail "zebopasswd did not write $user_file"
check_manpages /usr/share/man/man1/zebosync.1.gz /usr/share/man/man1/zebopasswd.1.gz \
    /usr/share/man/man8/vltadm.8.gz
man -w zebosync >/dev/null && man -w vltadm >/dev/null || fail "man does not find the pages"
# bash-completion loads a command's completion by the command's name.
# shellcheck disable=SC2016
bash -c '. /usr/share/bash-completion/bash_completion
    for c in zebosync zebopasswd vltadm; do _completion_loader "$c"; complete -p "$c"; done' \
    >"$work/complete.out" 2>&1 || fail "bash completion does not load: $(cat "$work/complete.out")"
[ "$(grep -c -e '-F _zebosync zebosync$' -e '-F _zebopasswd zebopasswd$' -e '-F _vltadm vltadm$' \
    "$work/complete.out")" = 3 ] || fail "bash completion is not set up: $(cat "$work/complete.out")"
say "   bash completion of zebosync, zebopasswd and vltadm"

# Removal: every file goes except the configuration files, the key file,
# the repository and the user's password file.
conffiles="/etc/zebosync/zebo.opt /etc/vltapi/rvk.opt /etc/ld.so.conf.d/zebo-vltapi.conf"
dpkg -r zebosync vltapi >"$work/dpkg.log" 2>&1 || fail "dpkg -r: $(cat "$work/dpkg.log")"
while read -r f; do
    case " $conffiles " in
    *" $f "*) [ -e "$f" ] || fail "dpkg -r removed the configuration file $f" ;;
    *) [ ! -e "$f" ] && [ ! -L "$f" ] || fail "dpkg -r left $f" ;;
    esac
done < <(cat "$work/agent.files" "$work/api.files")
for f in "$user_file" "$key" "$repository"; do
    [ -f "$f" ] || fail "dpkg -r removed $f"
done
say "   dpkg -r: program files gone; configuration, key, repository and password file kept"

dpkg --purge zebosync vltapi >"$work/dpkg.log" 2>&1 || fail "dpkg --purge: $(cat "$work/dpkg.log")"
while read -r f; do
    [ ! -e "$f" ] && [ ! -L "$f" ] || fail "dpkg --purge left $f"
done < <(cat "$work/agent.files" "$work/api.files")
leftover=$(find "$agent_dir" "$api_dir" /etc/zebosync /etc/vltapi -xdev \( -type f -o -type l \) \
    2>/dev/null | grep -vx -e "$user_file" -e "$repository" || true)
[ -z "$leftover" ] || fail "dpkg --purge left: $leftover"
say "   dpkg --purge: nothing left but the repository and the user's password file"

rm -f "$user_file" "$repository"
remove_empty_dirs "$agent_dir" "$agent_base"
remove_empty_dirs "$api_dir" "$api_base"
snapshot >"$work/after"
diff "$work/before" "$work/after" >"$work/diff" || fail "the system differs from before: $(head -20 "$work/diff")"
say "   the system is as it was before"
say "check-packages: PASSED"
