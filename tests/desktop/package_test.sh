#!/bin/sh
# The Debian package made from the build tree: it installs (dpkg -x into a scratch root) the
# layout the desktop expects, every file that a service, provider or unit file names is in the
# package, systemd accepts the user unit, the programs run from it, its dependencies name the session bus and the libraries,
# and lintian (when installed, and for a build that installs under /usr, as Debian packages do)
# reports no error.
# Usage: package_test.sh BUILD_DIR PREFIX. Skipped (77) where dpkg-deb or cpack is missing.
set -u
build=$1 prefix=$2
command -v dpkg-deb >/dev/null 2>&1 || { echo "dpkg-deb is not installed"; exit 77; }
command -v cpack >/dev/null 2>&1 || { echo "cpack is not installed"; exit 77; }
scratch=$(mktemp -d "${TMPDIR:-/tmp}/trovadex-package.XXXXXX") || exit 1
trap 'rm -rf "$scratch"' EXIT
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

cpack -G DEB -B "$scratch/out" --config "$build/CPackConfig.cmake" >"$scratch/cpack.log" 2>&1 ||
    { cat "$scratch/cpack.log"; exit 1; }
deb=$(ls "$scratch"/out/*.deb 2>/dev/null | head -n 1)
[ -n "$deb" ] || { echo "cpack made no package"; cat "$scratch/cpack.log"; exit 1; }
root=$scratch/root
dpkg -x "$deb" "$root" || exit 1
p=$root$prefix

for file in \
    bin/trovadex bin/trovadex-mailhost libexec/trovadex-search-provider \
    lib/trovadex/libtrovadex_foundation.so lib/trovadex/libtrovadex_platform.so \
    lib/trovadex/TrovadexMailPlugin.mailbundle/Contents/Info.plist \
    lib/trovadex/TrovadexMailPlugin.mailbundle/Contents/Linux/TrovadexMailPlugin.so \
    lib/systemd/user/trovadex-mailhost.service \
    share/dbus-1/services/org.trovadex.MailHost.service \
    share/dbus-1/services/org.trovadex.SearchProvider.service \
    share/gnome-shell/search-providers/org.trovadex.SearchProvider.ini \
    share/applications/org.trovadex.MailSearch.desktop \
    share/applications/org.trovadex.Trovadex.desktop \
    share/man/man1/trovadex.1.gz share/man/man1/trovadex-mailhost.1.gz \
    share/bash-completion/completions/trovadex share/bash-completion/completions/trovadex-mailhost \
    share/doc/trovadex/copyright share/doc/trovadex/changelog.gz; do
    [ -f "$p/$file" ] || fail "the package has no $prefix/$file"
done
for program in bin/trovadex bin/trovadex-mailhost libexec/trovadex-search-provider; do
    [ -x "$p/$program" ] || fail "$prefix/$program is not executable"
done

# Each bus service starts a program of the package under the name the file is called by.
for name in org.trovadex.MailHost org.trovadex.SearchProvider; do
    service=$p/share/dbus-1/services/$name.service
    grep -qx "Name=$name" "$service" || fail "$name.service does not name $name"
    program=$(sed -n 's/^Exec=\([^ ]*\).*/\1/p' "$service")
    [ -x "$root$program" ] || fail "$name.service starts $program, which the package lacks"
done
grep -q '^SystemdService=trovadex-mailhost.service$' \
    "$p/share/dbus-1/services/org.trovadex.MailHost.service" ||
    fail "the host's bus service does not hand over to the user service"
unit=$p/lib/systemd/user/trovadex-mailhost.service
grep -q '^BusName=org.trovadex.MailHost$' "$unit" || fail "the unit waits for no bus name"
program=$(sed -n 's/^ExecStart=\([^ ]*\).*/\1/p' "$unit")
[ -x "$root$program" ] || fail "the unit starts $program, which the package lacks"
bundle=$(sed -n 's/^ExecStart=.*--bundle \([^ ]*\).*/\1/p' "$unit")
[ -f "$root$bundle/Contents/Info.plist" ] || fail "the unit loads $bundle, which the package lacks"
# systemd reads the unit as it stands (its program taken from the scratch root).
if command -v systemd-analyze >/dev/null 2>&1; then
    sed "s|^ExecStart=$program|ExecStart=$root$program|" "$unit" >"$scratch/trovadex-mailhost.service"
    # It exits 0 over lines it ignores, so anything it says is a fault.
    verified=$(systemd-analyze verify --man=no "$scratch/trovadex-mailhost.service" 2>&1)
    [ $? -eq 0 ] && [ -z "$verified" ] || fail "systemd-analyze verify: $verified"
else
    echo "systemd-analyze is not installed; the unit's check is left out"
fi
ini=$p/share/gnome-shell/search-providers/org.trovadex.SearchProvider.ini
desktop_id=$(sed -n 's/^DesktopId=//p' "$ini")
[ -f "$p/share/applications/$desktop_id" ] || fail "the provider's desktop entry $desktop_id is missing"
grep -qx 'BusName=org.trovadex.SearchProvider' "$ini" || fail "the provider file names another bus name"

# The stripped programs run from the package, finding the project's libraries.
version=$(LD_LIBRARY_PATH="$p/lib/trovadex" "$p/bin/trovadex" --version 2>&1)
[ "$version" = "trovadex $(dpkg-deb -f "$deb" Version)" ] || fail "trovadex --version says '$version'"
LD_LIBRARY_PATH="$p/lib/trovadex" "$p/bin/trovadex-mailhost" --help >/dev/null 2>&1 ||
    fail "trovadex-mailhost --help failed"
runpath=$(readelf -d "$p/bin/trovadex-mailhost" 2>/dev/null | sed -n 's/.*R[UN]*PATH.*\[\(.*\)\]/\1/p')
[ "$runpath" = "$prefix/lib/trovadex" ] || fail "trovadex-mailhost's run path is '$runpath'"

depends=$(dpkg-deb -f "$deb" Depends)
for needed in dbus-session-bus libglib2.0-0 libgmime-3.0-0 libsqlite3-0 libplist; do
    case $depends in *"$needed"*) ;; *) fail "Depends lacks $needed: $depends" ;; esac
done

if [ "$prefix" != /usr ]; then
    echo "the build installs under $prefix, not /usr: lintian's check is left out"
elif command -v lintian >/dev/null 2>&1; then
    errors=$(lintian "$deb" 2>/dev/null | grep '^E:')
    [ -z "$errors" ] || fail "lintian: $errors"
else
    echo "lintian is not installed; its check is left out"
fi

if [ $failures -gt 0 ]; then
    echo "$failures package check(s) failed"
    exit 1
fi
echo "the package installs the expected layout"
