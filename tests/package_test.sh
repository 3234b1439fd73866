#!/usr/bin/env bash
# Installs the packages in a fresh Debian, builds the examples there with pkg-config and with CMake, runs them, and removes
# the packages without a trace. The Debian is kept in ROOT_FOLDER for the next time.
# usage: package_test.sh PACKAGE_FOLDER ROOT_FOLDER
set -euo pipefail
readonly needed=g++,cmake,ninja-build,pkg-config,libgtest-dev,python3-pytest,man-db
tree=$(cd -P "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.." && pwd)
packages=$(cd "$1" && pwd)
root=$2

say() {
    printf '%s\n' "$*"
}

inside() {
    chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C DEBIAN_FRONTEND=noninteractive "$@"
}

# What an installation may leave: lists and caches of the package manager.
files() {
    (cd "$root" && find . -xdev \( -path ./proc -o -path ./sys -o -path ./dev -o -path ./tmp -o -path ./stage -o -path ./made \
        -o -path ./var/lib/dpkg -o -path ./var/lib/apt -o -path ./var/cache -o -path ./var/log \) -prune -o -print | sort)
}

# What the packages depend on is installed with them the first time, and stays.
make_root() {
    say "a fresh Debian in $root"
    rm -rf "$root"
    # apt's own user may not be allowed into the folder.
    mmdebstrap --quiet --variant=minbase --aptopt='APT::Sandbox::User "root"' --include="$needed" bookworm "$root"
    stage
    inside apt-get update -q
    inside sh -c 'apt-get install -y -q --no-install-recommends /stage/*.deb' >"$root/stage/log" 2>&1 || {
        cat "$root/stage/log"
        return 1
    }
    remove
    printf '%s\n' "$needed" >"$root/made"
}

stage() {
    rm -rf "$root/stage"
    mkdir -p "$root/stage"
    cp -r "$tree/examples" "$tree/tests/abi/consumer" "$packages"/*.deb "$root/stage"
}

names() {
    for package in "$packages"/*.deb; do
        dpkg-deb -f "$package" Package
    done
}

remove() {
    # shellcheck disable=SC2046
    inside dpkg --purge $(names) >/dev/null 2>&1
}

[ "$(cat "$root/made" 2>/dev/null)" = "$needed" ] || make_root
mount --bind /proc "$root/proc"
trap 'umount "$root/proc"' EXIT
stage
remove # what a run that failed has left
files >"$root/stage/before"

say "installing $(names | tr '\n' ' ')"
inside sh -c 'dpkg -i /stage/*.deb >/stage/log 2>&1' || {
    # A package has a new dependency, which stays too.
    inside apt-get update -q
    inside apt-get install -y -q --no-install-recommends -f
    remove
    files >"$root/stage/before"
    inside sh -c 'dpkg -i /stage/*.deb >/stage/log 2>&1'
}

say 'building with pkg-config'
inside sh -ec '
    cd /stage
    mkdir by_hand
    platform=$(pkg-config --cflags --libs orva_host_platform)
    cc consumer/program.c -o by_hand/consumer_c $platform
    c++ consumer/program.cpp -o by_hand/consumer_cpp $platform
    cc examples/agent.c -o by_hand/agent $platform
    cc examples/manager.c -o by_hand/manager $platform
    c++ -std=c++20 examples/agent_test.cpp -o by_hand/agent_test $(pkg-config --cflags --libs orva_comm_testing) \
        -lgtest -lgtest_main
'
say 'building with CMake'
inside sh -ec '
    cd /stage
    for folder in consumer examples; do
        cmake -G Ninja -S $folder -B by_cmake/$folder >/dev/null
        cmake --build by_cmake/$folder >/dev/null
    done
'
say 'running the examples'
inside sh -ec '
    cd /stage
    for program in by_hand/consumer_c by_hand/consumer_cpp by_cmake/consumer/consumer_c by_cmake/consumer/consumer_cpp; do
        [ "$($program)" = "29b1 cbf43926" ]
    done
    for folder in by_hand by_cmake/examples; do
        $folder/agent_test >log 2>&1 || { cat log; exit 1; }
        orva-chassis run lost-board --agent $folder/agent >log 2>&1 || { cat log; exit 1; }
        orva-chassis boards --port 5300 --boards 2 >log 2>&1 &
        timeout 30 $folder/manager 5300 2 || { cat log; exit 1; }
        kill $!
        wait $! || true
    done
'
say 'running the programs'
inside sh -ec '
    cd /stage
    orva-chassis run demo --time virtual >log 2>&1 || { cat log; exit 1; }
    tail -1 log
    orva-inspect code 0x01DA0006
    orva-inspect describe --lua | cmp - "$(echo /usr/lib/*/wireshark/plugins/orva_comm.lua)"
    orva-board example >board.toml
    orva-board check board.toml
    orva-port-check >log 2>&1 || { cat log; exit 1; }
    python3 -m pytest -q -p no:cacheprovider examples/test_board.py >log 2>&1 || { cat log; exit 1; }
    tail -1 log
    for page in "1 orva-chassis" "1 orva-chassis-run" "1 orva-inspect-code" "3 orva_comm" "7 liborva_comm" "7 orva-python"; do
        man $page >/dev/null
    done
    for program in orva-board orva-chassis orva-inspect orva-port-check; do
        bash -ec ". /usr/share/bash-completion/completions/$program; complete -p $program" >/dev/null
        [ -e /usr/share/zsh/vendor-completions/_$program ]
    done
    rm -rf /root/.*cache /root/.pytest_cache
'
say 'removing them'
remove
files >"$root/stage/after"
if ! diff "$root/stage/before" "$root/stage/after"; then
    say 'the packages left files behind' >&2
    exit 1
fi
say 'installed, used and removed without a trace'
