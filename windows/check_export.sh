#!/usr/bin/env bash
# Checks that a module for Windows exports OSMIRA_GetDriver, by that plain name, and nothing else.
# Usage: check_export.sh MODULE.dll
set -euo pipefail
names=$(objdump -p "$1" | awk '/^\[Ordinal\/Name Pointer\] Table/ { table = 1; next }
                              NF == 0 { table = 0 }
                              table { sub(/.*\] */, ""); sub(/^.* /, ""); print }')
[ "$names" = OSMIRA_GetDriver ] || {
    echo "check_export.sh: $1 exports other names than OSMIRA_GetDriver: ${names:-none}" >&2
    exit 1
}
echo "$1 exports $names"
