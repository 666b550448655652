#!/bin/sh
# exports.sh NM LIBRARY MAP: the library exports just the names that the map lists.
set -eu
exported=$("$1" -D --defined-only "$2" | sed 's/.* //' | sort)
listed=$(sed -n 's/^ *\([A-Za-z_]*\);.*/\1/p' "$3" | sort)
[ -n "$listed" ] && [ "$exported" = "$listed" ] && exit 0
printf 'exported by %s:\n%s\nlisted in %s:\n%s\n' "$2" "$exported" "$3" "$listed"
exit 1
