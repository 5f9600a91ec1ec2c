#!/bin/sh
# What the shared library exports: every function of flat.h, members of the two classes that their headers declare, and
# nothing else. Each function has a manual page, which names it.
# usage: exports_test.sh LIBRARY INCLUDE_DIRECTORY [MANUAL_PAGES]
set -eu
library=$1
headers=$2/tarvixsdk
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export LC_ALL=C

tr '\n' ' ' < "$headers/flat.h" | grep -o 'TARVIX_API [^(;]*(' | sed 's/(//; s/.*[ *]//' | sort > "$work/declared"
nm -D --defined-only --no-demangle "$library" | awk '{print $3}' > "$work/all"
grep '^TarvixSDK_' "$work/all" | sort > "$work/exported" || true
grep -v '^TarvixSDK_' "$work/all" | c++filt | sed "s/\[abi:[a-z0-9]*\]//" | sort -u > "$work/others"

[ -s "$work/declared" ] || { echo "$headers/flat.h: no function found" >&2; exit 1; }
{
    comm -23 "$work/declared" "$work/exported" | sed 's/^/declared in flat.h but not exported: /'
    comm -13 "$work/declared" "$work/exported" | sed 's/^/exported but not declared in flat.h: /'
    [ -z "${3-}" ] || (
        cd "$3"
        grep -o '[^/]*$' TarvixSDK_*.3 | sed 's/\.3:/ /' | sort > "$work/links"
        grep '^\.SS TarvixSDK_' tarvixsdk-*.3 | sed 's/\(.*\):\.SS \(.*\)/\2 \1/' | sort > "$work/described"
        comm -12 "$work/links" "$work/described" | cut -d ' ' -f 1 | comm -13 - "$work/exported" |
            sed 's/^/no manual page describes /'
    )
    for class in TarvixSDK TarvixAsyncSDK; do
        grep -q "^$class::connect(" "$work/others" || echo "not exported: $class::connect"
    done
    while read -r symbol; do
        name=${symbol%%(*}
        case $symbol in
        TarvixSDK::*) pattern="[ ~]${name#*::}(" header=sdk.hpp ;;
        TarvixAsyncSDK::*) pattern="[ ~]${name#*::}(" header=async_sdk.hpp ;;
        *) pattern="^TARVIX_API .* [*]*$name(" header=adapters.hpp ;; # a function of its own
        esac
        grep -q "$pattern" "$headers/$header" || echo "exported but not declared in $header: $symbol"
    done < "$work/others"
} > "$work/faults"
sed "s|^|$library: |" "$work/faults" >&2
[ ! -s "$work/faults" ]
