# The Debian packages the project needs to build, test and run its demo.
# Sourced by the test and demo scripts.
ZEBO_PACKAGES=(g++ cmake make pkg-config libgtest-dev libgmock-dev libbenchmark-dev
    libsqlite3-dev sqlite3 libpq-dev postgresql libssl-dev libargon2-dev locales tmux libc-bin file man-db bash-completion
    clang-tidy cppcheck clang libclang-rt-14-dev)
# What the package check needs besides: the package checker, and
# dpkg-shlibdeps, which computes the packages' library dependencies.
ZEBO_PACKAGE_CHECK_PACKAGES=(lintian dpkg-dev)

# zebo_need_packages [NAME...]: installs the missing ones of NAMEs (default:
# ZEBO_PACKAGES) as root; otherwise names them and exits.
zebo_need_packages() {
    local wanted=("$@") missing=()
    [ $# -gt 0 ] || wanted=("${ZEBO_PACKAGES[@]}")
    for p in "${wanted[@]}"; do
        dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    if [ "$(id -u)" -eq 0 ]; then
        echo "Installing missing packages: ${missing[*]}"
        apt-get update -qq
        DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}" >/dev/null
    else
        echo "Missing Debian packages: ${missing[*]}" >&2
        echo "Install them with: sudo apt-get install ${missing[*]}" >&2
        exit 1
    fi
}
