#!/usr/bin/env bash
# Measures the reader beside 4 meters of 20 registers: stripped size, resident memory, descriptors
# and processor time on this machine; stripped size and descriptors on armhf, under an emulator.
set -euo pipefail
cd "$(dirname "$0")/.."

stripped_size() {
    local copy
    copy=$(mktemp)
    "$1" --output-file "$copy" "$2"
    echo "stripped size: $(($(stat --format %s "$copy") / 1000)) kB"
    rm "$copy"
}

script/bootstrap
script/sysroot armhf
cmake --preset release
cmake --build --preset release --target modbus-reader footprint short-pauses
cmake --preset armhf
cmake --build --preset armhf --target modbus-reader

# From here on on one of the processors: those that wake each other scatter the times.
processors=$(taskset --cpu-list --pid $$)
taskset --cpu-list --pid "${processors##*[ ,-]}" $$ >/dev/null

echo
echo "$(uname --machine)"
stripped_size strip build/release/modbus-reader
tools/private-world -- build/release/footprint \
    build/release/modbus-reader build/release/tests/libshort-pauses.so
echo
echo "armhf, emulated"
stripped_size arm-linux-gnueabihf-strip build/armhf/modbus-reader
tools/private-world -- build/release/footprint build/armhf/tests/emulated/modbus-reader
