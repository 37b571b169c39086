#!/bin/sh
# A script gives back the paths rpl-toc prints: every path of `list`, given
# to `find`, finds that section, and `next` walked from the first path
# meets every section in the order `list` gives, where names hold a
# carriage return (also at their end), an escape sequence, a bell and a
# backslash that reads like an escaped byte. Standard output is a pipe
# here, so the paths come as they are.
#   paths_come_back.sh RPL_TOC
set -eu
rpl_toc=$1
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
report=$dir/names.json
printf '%s\n' '{"name": "names", "type": 3, "root": {"type": 1, "name": "R", "children": [
  {"type": 3, "name": "c\rd"},
  {"type": 3, "name": "c\\x0dd"},
  {"type": 1, "name": "E\u001b[31m", "children": [{"type": 4, "name": "t\u0007", "columns": 2}]},
  {"type": 3, "name": "end\r"}]}}' >"$report"
toc() { "$rpl_toc" --db-dir "$dir" "$@"; }
fail() { printf 'paths_come_back: %s\n' "$1" >&2; exit 1; }

listed=$(toc list "$report")
[ "$(printf '%s\n' "$listed" | wc -l)" -eq 4 ] || fail "list printed $(printf '%s\n' "$listed" | wc -l) lines, not 4"

printf '%s\n' "$listed" | while IFS= read -r path; do
    toc find "$report" "$path" >/dev/null || fail "find did not find a path list printed: $path"
done

walked=$(printf '%s\n' "$listed" | head -n 1)
path=$walked
while next=$(toc next "$report" "$path"); do
    walked=$(printf '%s\n%s' "$walked" "$next")
    path=$next
done
[ "$walked" = "$listed" ] || fail "next from the first path did not meet every section in list's order"
