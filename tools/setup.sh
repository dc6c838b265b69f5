# SPDX-License-Identifier: Zlib
# Sourced by run-demo, run-tests and run-bench: installs missing Debian packages, configures and builds.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
self=$(basename "$0")

say() { echo "$self: $*"; }
die() {
    echo "$self: $*" >&2
    exit 1
}

build_packages=(g++ cmake ninja-build pkg-config libsdl1.2-dev libsdl-image1.2-dev libsdl-ttf2.0-dev
    fonts-freefont-ttf libhwy-dev libpng-dev libx11-dev libxtst-dev)
lint_packages=(clang-format-14 clang-tidy-14 git jq)
display_packages=(xvfb)
test_packages=(googletest)
document_packages=(doxygen python3 mandoc groff-base lowdown reuse abigail-tools)
compat_packages=(libsdl2-2.0-0)
package_packages=(dpkg-dev debhelper fakeroot lintian debootstrap autopkgtest)
cross_packages=(qemu-user dpkg-dev autotools-dev make patch xz-utils)
bench_packages=(libcli11-dev libfmt-dev nlohmann-json3-dev libsdl2-dev libpixman-1-dev
    libyuv-dev gnuplot-nox)

# need_packages NAME...: installs those that the machine does not have yet; asks sudo only when not root.
need_packages() {
    local present missing as_root=()
    present=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "$@" 2> /dev/null | sed -n 's/^installed //p' || true)
    missing=$(comm -23 <(printf '%s\n' "$@" | sort -u) <(sort -u <<< "$present") | tr '\n' ' ')
    [[ -z $missing ]] && return
    say "installing Debian packages: $missing"
    if [[ $(id -u) -ne 0 ]]; then
        as_root=(sudo)
    fi
    # shellcheck disable=SC2086
    "${as_root[@]}" apt-get -qq update &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq install -y --no-install-recommends $missing \
            > /dev/null || die "could not install: $missing"
}

# build PRESET [TARGET...]: configures build/PRESET when needed and builds what changed. Whatever packages came or went
# since then is looked for anew: tests depend on them.
build() {
    local preset=$1 log=$root/build/$1.log ninja=$root/build/$1/build.ninja
    shift
    mkdir -p "$root/build"
    if [[ ! -e $ninja || $root/CMakePresets.json -nt $ninja || /var/lib/dpkg/status -nt $ninja ]]; then
        say "configuring build/$preset"
        (cd "$root" && cmake --fresh --preset "$preset") > "$log" 2>&1 || {
            cat "$log" >&2
            die "could not configure build/$preset"
        }
    fi
    say "building build/$preset"
    cmake --build "$root/build/$preset" ${1:+--target "$@"} > "$log" 2>&1 || {
        tail -n 60 "$log" >&2
        die "could not build build/$preset; all of it is in build/$preset.log"
    }
}
