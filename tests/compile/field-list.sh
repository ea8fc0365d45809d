#!/usr/bin/env bash
# A field list that names a member that is not there must not compile, and the compiler must say
# which one. Usage: field-list.sh SOURCE-DIRECTORY COMPILER
set -euo pipefail

compile() {
    "$2" -std=c++20 -fsyntax-only -I "$1/src" -isystem /usr/include/json-c "${@:3}" \
        "$1/tests/compile/field-list.cpp" 2>&1
}

compile "$1" "$2" || {
    echo "The correct record does not compile"
    exit 1
}
if message=$(compile "$1" "$2" -DFORGOTTEN_MEMBER); then
    echo "The field list with a forgotten member compiles"
    exit 1
fi
grep -q "error: .*height.* is not a member of .*Point\|no member named 'height' in 'Point'" \
    <<<"$message" || {
    echo "The message does not name the member:"
    echo "$message"
    exit 1
}
