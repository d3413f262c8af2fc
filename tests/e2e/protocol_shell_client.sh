#!/bin/sh
# The shell client of PROTOCOL.md, taken from the document as it stands, run against the mail
# host over a sample store: it must print every message once, end by itself, leave its query
# cancelled in the host and no batch file behind. Runs under run_isolated.sh.
# Usage: protocol_shell_client.sh PROTOCOL.md MAILHOST BUNDLE TROVADEX
set -u
protocol=$1 mailhost=$2 bundle=$3 trovadex=$4
root=$TROVADEX_TEST_ROOT
library=$root/ShellLibrary
messages=900

fail() { echo "FAIL: $*" >&2; [ -f "$root/host.log" ] && tail -n 20 "$root/host.log" >&2; exit 1; }
command -v plistutil >/dev/null || fail "plistutil is missing (Debian package libplist-utils)"

awk '/^```sh$/ { inside = 1; next } /^```$/ { inside = 0 } inside' "$protocol" |
  sed -n '/^#!\/bin\/sh/,$p' > "$root/search.sh"
grep -q 'post Search' "$root/search.sh" || fail "no shell client found in $protocol"

"$mailhost" sample --library "$library" --messages $messages --seed 5 >/dev/null 2>&1 ||
  fail "sample store"
"$trovadex" install-desktop-entry >/dev/null || fail "desktop entry"
"$mailhost" run --library "$library" --bundle "$bundle" --alert-response 2 >"$root/host.log" 2>&1 &
host=$!
trap 'kill $host 2>/dev/null || true' EXIT

tries=0
until grep -q "Indexer: in step with the store" "$root/host.log"; do
  kill -0 $host 2>/dev/null || fail "the host exited"
  tries=$((tries + 1)); [ $tries -lt 600 ] || fail "the host did not index the store"
  sleep 0.2
done
"$trovadex" status --timeout 20 >/dev/null || fail "no plug-in answered"

timeout 120 sh "$root/search.sh" '' >"$root/paths" || fail "the shell client ended with status $?"
[ "$(wc -l <"$root/paths")" -eq $messages ] || fail "printed $(wc -l <"$root/paths") paths"
[ "$(sort -u "$root/paths" | wc -l)" -eq $messages ] || fail "printed a path twice"
while IFS= read -r path; do [ -f "$path" ] || fail "no such message file: $path"; done <"$root/paths"

kill $host && wait $host
grep -Eq " - sh-[0-9]+-1 - TDMailPlugin cancel query" "$root/host.log" ||
  fail "the shell client's query was never cancelled"
left=$(find "$XDG_RUNTIME_DIR/trovadex/pasteboards" -type f 2>/dev/null | wc -l)
[ "$left" -eq 0 ] || fail "$left batch files left behind"
echo "PASS: $messages paths, query cancelled, no batch left"
