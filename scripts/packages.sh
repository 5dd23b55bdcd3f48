# Sourced by the other scripts.

# What quilmar-scan is built with.
scan_packages="libcli11-dev libeigen3-dev libhts-dev r-mathlib zlib1g-dev"

# What quilmar-plot and quilmar-table run with.
plot_packages="python3-matplotlib python3-scipy"

# Sees that Debian packages are there. Installs the missing ones where that is allowed, else names
# them and stops.
need_packages() {
    missing=""
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' ||
            missing="$missing $package"
    done
    [ -n "$missing" ] || return 0
    as_root=""
    if [ "$(id -u)" != 0 ]; then
        sudo -n true 2>/dev/null || { echo "Please install:$missing" >&2; exit 1; }
        as_root="sudo -n"
    fi
    # Another program that installs packages is waited for.
    apt="$as_root env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=300"
    $apt update
    $apt install -y --no-install-recommends $missing
}
