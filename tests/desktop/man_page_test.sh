#!/bin/sh
# The manual pages made from the help texts are well-formed roff (groff has nothing to warn
# about) and the page of trovadex has a section for every command its help lists.
# Usage: man_page_test.sh MAN_DIR TROVADEX. Skipped (77) where groff is not installed.
set -u
man_dir=$1 trovadex=$2
command -v groff >/dev/null 2>&1 || { echo "groff is not installed"; exit 77; }
status=0
for page in "$man_dir"/*.1.gz; do
    warnings=$(gzip -dc "$page" | groff -man -ww -z -Tutf8 2>&1)
    if [ -n "$warnings" ]; then
        echo "FAIL: $page: $warnings"
        status=1
    fi
done
commands=$("$trovadex" --help | sed -n '/^Commands:/,/^$/p' | awk 'NR > 1 && NF { print $1 }' |
    grep -v -e '^-' -e '^help$' | sort -u)
for command in $commands; do
    escaped=$(echo "$command" | sed 's/-/\\\\-/g')
    if ! gzip -dc "$man_dir/trovadex.1.gz" | grep -q "^\.SS $escaped\$"; then
        echo "FAIL: trovadex(1) has no section for $command"
        status=1
    fi
done
[ $status -eq 0 ] && echo "manual pages are well-formed and complete"
exit $status
