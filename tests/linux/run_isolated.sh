#!/bin/sh
# Runs a test command on a private session bus with private XDG folders, so that no test ever
# touches the machine's own bus, Trash, defaults or pasteboards. Usage: run_isolated.sh BUS_CONF CMD...
set -u
conf=$1
shift
root=$(mktemp -d "${TMPDIR:-/tmp}/trovadex-test.XXXXXX") || exit 1
mkdir -m 700 "$root/runtime"
mkdir -p "$root/home" "$root/data/applications" "$root/config" "$root/cache"
env -u DBUS_SESSION_BUS_ADDRESS -u DBUS_STARTER_ADDRESS -u DBUS_STARTER_BUS_TYPE \
  HOME="$root/home" XDG_RUNTIME_DIR="$root/runtime" XDG_DATA_HOME="$root/data" \
  XDG_DATA_DIRS="$root/data" XDG_CONFIG_HOME="$root/config" XDG_CACHE_HOME="$root/cache" \
  TROVADEX_TEST_ROOT="$root" \
  dbus-run-session --config-file="$conf" -- "$@"
status=$?
rm -rf "$root"
exit $status
