# Sourced by ./demo and ./check: installs the Debian packages that are missing, and says so.

# need_packages PACKAGE...: returns 1, after saying what to do, when a package is missing and cannot be installed.
need_packages() {
    local missing=() package as_root=()
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "Missing packages; as root: apt-get install ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    echo "Installing what is missing: ${missing[*]}"
    "${as_root[@]}" apt-get update -qq &&
        DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -qq --no-install-recommends \
            "${missing[@]}" >/dev/null
}

# What building the programs, tests and benchmarks takes.
build_packages=(g++ cmake ninja-build pkg-config googletest libbenchmark-dev libevent-dev nlohmann-json3-dev libedit-dev
    libcrypt-dev libfuse3-dev libmnl-dev)

# What tests/system_kernel takes besides; the kernel itself exists for amd64 only.
system_packages=(kmod iproute2 iputils-ping mbpoll python3)
[ "$(dpkg --print-architecture)" != amd64 ] || system_packages+=(user-mode-linux)

# What the board's build, its tests and tests/arm_machine take besides.
arm_packages=(g++-arm-linux-gnueabihf qemu-user qemu-system-arm cpio kmod python3)

# Debian's packages for the board, which scripts/armhf-root unpacks: what its programs are linked with beside the C library.
armhf_packages=(libcrypt-dev libcrypt1 libfuse3-dev libfuse3-3 libmnl-dev libmnl0)
