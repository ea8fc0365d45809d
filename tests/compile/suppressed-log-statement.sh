#!/bin/bash
# Compiles a log statement with optimisation and checks what a suppressed one costs: a comparison of
# the channel's severity in memory, and a jump. Knows the assembly of x86-64.
#
# usage: suppressed-log-statement.sh SOURCE_DIRECTORY COMPILER...
set -euo pipefail

root=$1
shift
assembly=$("$@" -std=c++20 -O2 -DNDEBUG -S -o - -I "$root/src" \
    "$root/tests/compile/suppressed-log-statement.cpp")

# From the mark to the first jump, without directives, labels and comments.
cost=$(awk '/# the statement begins/ { inside = 1; next }
            inside && /^[[:space:]]+[a-z]/ { print }
            inside && /^[[:space:]]+j/ { exit }' <<<"$assembly")

printf 'A suppressed statement costs:\n%s\n' "$cost"
# The severity follows the name, a string of 32 bytes.
comparison='cmpl[[:space:]]+\$[56], (32\+_ZL7channel|_ZL7channel\+32)\(%rip\)'
jump='j(g|ge|l|le)[[:space:]]+\.L[A-Z0-9_]+'
[[ $cost =~ ^[[:space:]]+$comparison[[:space:]]+$jump$ ]]
