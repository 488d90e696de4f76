#!/usr/bin/env bash
# Loads the bash completion of zebosync, zebopasswd and vltadm the way bash
# does (bash-completion first) and completes command lines as readline would
# split them, checking what is offered.
#
#   completion_test.sh COMPLETION_DIR BIN_DIR
#
# BIN_DIR holds the built vltadm, which lists a scratch repository's nodes.
# Exit status 77 (skipped) without the bash-completion package.
set -u
completion_dir=$1
bin_dir=$2
framework=/usr/share/bash-completion/bash_completion
if [ ! -r "$framework" ]; then
    echo "SKIP: $framework is not installed"
    exit 77
fi
# shellcheck source=/dev/null
. "$framework"
# shellcheck source=doc/completion/zebosync
. "$completion_dir/zebosync"
# shellcheck source=doc/completion/vltadm
. "$completion_dir/vltadm"

# compopt works only while readline completes; here it records what the
# completion asked for.
nospace=0
compopt() { [[ ${1-} == -o && ${2-} == nospace ]] && nospace=1; }

work=$(mktemp -d "${TMPDIR:-/tmp}/zebo-completion.XXXXXX")
trap 'rm -rf "$work"' EXIT
failed=0
passed=0

# offered LINE: what completing at the end of LINE offers, sorted, one a
# line. The line is split into words at blanks and "=", as readline does
# with the default COMP_WORDBREAKS.
offered() {
    local line=$1 word
    COMP_LINE=$line
    COMP_POINT=${#line}
    COMP_WORDS=()
    for word in $line; do
        while [[ $word == *=* ]]; do
            [[ -n ${word%%=*} ]] && COMP_WORDS+=("${word%%=*}")
            COMP_WORDS+=("=")
            word=${word#*=}
        done
        [[ -n $word ]] && COMP_WORDS+=("$word")
    done
    [[ $line == *[\ =] ]] && [[ $line != *= ]] && COMP_WORDS+=("")
    [[ $line == *= ]] && COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    nospace=0
    local fn
    fn=$(complete -p "${COMP_WORDS[0]##*/}" 2>/dev/null | sed -n 's/.*-F \([^ ]*\) .*/\1/p')
    "$fn" "${COMP_WORDS[0]}" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]:-}"
    # An option that ends in "=" takes its value without a blank.
    { printf '%s\n' "${COMPREPLY[@]}"; [ "$nospace" = 0 ] || echo "(no space)"; } | sort
}

# expect LINE WORD...: completing LINE offers exactly the WORDs.
expect() {
    local line=$1 got want
    shift
    got=$(offered "$line")
    want=$(printf '%s\n' "$@" | sort)
    if [ "$got" = "$want" ]; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        printf 'FAILED: completing "%s"\n  offered: %s\n  expected: %s\n' "$line" \
            "${got//$'\n'/ }" "${want//$'\n'/ }"
    fi
}

# zebosync: commands in the case they were begun in, their shortest forms
# when nothing is typed, options after the command, file names as values.
expect "zebosync " SHOWENVironment SHOWCLIOPtions SHOWSESSOPtions SHOWSESSINFO SHOWVERsions \
    PASSWord SYNCdb HELP
expect "zebosync sy" syncdb
expect "zebosync SY" SYNCDB
expect "zebosync showses" showsessoptions showsessinfo
expect "zebosync bogus"
expect "zebosync syncdb -" -ZEBO_OPTfile= -OUTfile= "(no space)"
expect "zebosync SYNCdb -z" -zebo_optfile= "(no space)"
mkdir -p "$work/etc" && : >"$work/etc/zebo.opt" && : >"$work/etc/rvk.opt"
expect "zebosync syncdb -ZEBO_OPTfile=$work/etc/z" "$work/etc/zebo.opt"
expect "zebopasswd " -ZEBO_OPTfile= --help --version
expect "zebopasswd -Z" -ZEBO_OPTFILE= "(no space)"
expect "zebopasswd --v" --version
expect "zebopasswd -zebo_optfile=$work/etc/r" "$work/etc/rvk.opt"
expect "zebopasswd -ZEBO_OPTfile=x "

# vltadm: commands, their fixed words, and the nodes of the repository that
# -c names.
expect "vltadm " -c --help --version init show set node load list count actlog
expect "vltadm -c $work/etc/rv" "$work/etc/rvk.opt"
expect "vltadm node " add passwd set expire list
expect "vltadm set maxo" maxobjpertxn
expect "vltadm node set ORA1 " backdel archdel
expect "vltadm node set ORA1 backdel " yes no
printf 'REPOSITORY vlt.db\n' >"$work/rvk.opt"
PATH=$bin_dir:$PATH
if vltadm -c "$work/rvk.opt" init >/dev/null &&
    printf 'secret1\n' | vltadm -c "$work/rvk.opt" node add ORA1 >/dev/null &&
    printf 'secret2\n' | vltadm -c "$work/rvk.opt" node add ORA2 >/dev/null; then
    expect "vltadm -c $work/rvk.opt count " ORA1 ORA2
    expect "vltadm -c $work/rvk.opt node expire ORA" ORA1 ORA2
    expect "vltadm -c $work/rvk.opt node add "
else
    failed=$((failed + 1))
    echo "FAILED: the scratch repository could not be made with $bin_dir/vltadm"
fi
# Without a readable repository there are no nodes, and no message either.
expect "vltadm -c $work/none.opt count "

echo "$passed passed, $failed failed"
[ "$failed" = 0 ]
