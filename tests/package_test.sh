#!/usr/bin/env bash
# Installs the packages in a fresh Debian, builds and runs the examples there with pkg-config and with CMake, and removes
# the packages without a trace.
# usage: package_test.sh PACKAGE_FOLDER ROOT_FOLDER
set -euo pipefail
root_of_tree=$(cd -P "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.." && pwd)
packages=$(cd "$1" && pwd)
root=$2

inside() {
    chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C "$@"
}

# What an installation may leave: lists and caches of the package manager and of the linker.
files() {
    (cd "$root" && find . -xdev \( -path ./proc -o -path ./sys -o -path ./dev -o -path ./tmp -o -path ./work \
        -o -path ./var/lib/dpkg -o -path ./var/lib/apt -o -path ./var/cache -o -path ./var/log \) -prune -o -print | sort)
}

if [ ! -e "$root/made" ]; then
    rm -rf "$root"
    mmdebstrap --quiet --variant=minbase --include=g++,cmake,ninja-build,pkg-config,libgtest-dev,libspdlog1.10,libarchive13 \
        bookworm "$root"
    touch "$root/made"
fi
rm -rf "$root/work"
mkdir -p "$root/work"
cp -r "$root_of_tree/examples" "$root_of_tree/tests/abi/consumer" "$root_of_tree/tests/abi/kit_consumer" "$packages"/*.deb \
    "$root/work"
files >"$root/work/before"

inside sh -c 'dpkg -i /work/*.deb' || {
    inside apt-get update
    inside sh -c 'DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends -f'
}
inside sh -ec '
    cd /work
    for source in program.c program.cpp; do
        compiler=cc
        [ "$source" = program.c ] || compiler=c++
        $compiler consumer/$source -o by_hand $(pkg-config --cflags --libs orva_host_platform)
        [ "$(./by_hand)" = "29b1 cbf43926" ]
    done
    cmake -G Ninja -S consumer -B consumer_build >/dev/null
    cmake --build consumer_build >/dev/null
    [ "$(consumer_build/consumer_c)" = "29b1 cbf43926" ]
    [ "$(consumer_build/consumer_cpp)" = "29b1 cbf43926" ]
    c++ -std=c++20 examples/agent_test.cpp -o agent_test $(pkg-config --cflags --libs orva_comm_testing) -lgtest -lgtest_main
    ./agent_test >agent_test.log || { cat agent_test.log; exit 1; }
    orva-inspect --version
    orva-inspect code 0
'
inside sh -c 'dpkg --purge orva-tools liborva-comm-doc liborva-comm-dev liborva-comm1 orva-host-platform'
files >"$root/work/after"
if ! diff "$root/work/before" "$root/work/after"; then
    echo 'the packages left files behind' >&2
    exit 1
fi
echo 'installed, used and removed without a trace'
