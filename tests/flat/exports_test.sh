#!/bin/sh
# What the shared library exports: every function of flat.h, members of the two classes that their headers declare, and
# nothing else.
# usage: exports_test.sh LIBRARY INCLUDE_DIRECTORY
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

failed=0
report() { # TEXT FILE: each line of FILE is a fault
    if [ -s "$2" ]; then
        echo "$library: $1:" >&2
        sed 's/^/  /' "$2" >&2
        failed=1
    fi
}

[ -s "$work/declared" ] || { echo "$headers/flat.h: no function found" >&2; exit 1; }
comm -23 "$work/declared" "$work/exported" > "$work/missing"
comm -13 "$work/declared" "$work/exported" > "$work/extra"
report "declared in flat.h but not exported" "$work/missing"
report "exported but not declared in flat.h" "$work/extra"

: > "$work/foreign"
: > "$work/undeclared"
while read -r symbol; do
    case $symbol in
    TarvixSDK::*) header=$headers/sdk.hpp ;;
    TarvixAsyncSDK::*) header=$headers/async_sdk.hpp ;;
    *::*)
        echo "$symbol" >> "$work/foreign"
        continue
        ;;
    *) # a function of its own
        grep -q "^TARVIX_API .* [*]*${symbol%%(*}(" "$headers/adapters.hpp" || echo "$symbol" >> "$work/foreign"
        continue
        ;;
    esac
    member=${symbol#*::}
    grep -q "[ ~]${member%%(*}(" "$header" || echo "$symbol" >> "$work/undeclared"
done < "$work/others"
report "exported but no part of the interface" "$work/foreign"
report "exported but not declared in its class's header" "$work/undeclared"
for class in TarvixSDK TarvixAsyncSDK; do
    grep -q "^$class::connect(" "$work/others" || echo "$class::connect" >> "$work/classes"
done
[ ! -e "$work/classes" ] || report "not exported" "$work/classes"
exit $failed
