#!/bin/bash
# The bash completions offer exactly the commands and options that the programs' own help texts
# document, so that neither can drift from the other; and they complete the values they know.
# Usage: completion_test.sh COMPLETION_DIR TROVADEX TROVADEX_MAILHOST
set -u
completions=$1 trovadex=$2 mailhost=$3
failures=0

# The words the completion function offers for a command line whose last word is being typed.
offered() {
    local file=$1 function=$2
    shift 2
    bash -c 'source "$1"; f=$2; shift 2; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); "$f"
             printf "%s\n" "${COMPREPLY[@]}"' _ "$file" "$function" "$@" | sed '/^$/d' | sort -u
}

# The --options a text mentions.
options_in() { grep -o -- '--[a-z][a-z-]*' | sort -u; }

expect_same() {
    local what=$1 expected=$2 actual=$3
    if [[ "$expected" != "$actual" ]]; then
        echo "FAIL: $what"
        diff <(echo "$expected") <(echo "$actual") | sed 's/^/    /'
        failures=$((failures + 1))
    fi
}

# trovadex: the commands of the overview, then each command's options.
commands=$("$trovadex" --help | sed -n '/^Commands:/,/^$/p' | awk 'NR > 1 && NF { print $1 }' |
    sort -u)
expect_same "trovadex commands" "$(printf '%s\n' $commands --help | sort -u)" \
    "$(offered "$completions/trovadex" _trovadex trovadex '')"
for command in $commands; do
    [[ $command == --* || $command == help ]] && continue
    expect_same "trovadex $command options" \
        "$( ("$trovadex" help "$command" | options_in; echo --help) | sort -u)" \
        "$(offered "$completions/trovadex" _trovadex trovadex "$command" --)"
done
expect_same "trovadex search --format values" "$(printf '%s\n' json paths table)" \
    "$(offered "$completions/trovadex" _trovadex trovadex search --format '')"

# trovadex-mailhost: each command's synopsis line names its options.
host_commands=$("$mailhost" --help | awk '$1 == "trovadex-mailhost" { print $2 }')
expect_same "trovadex-mailhost commands" "$(printf '%s\n' $host_commands help --help | sort -u)" \
    "$(offered "$completions/trovadex-mailhost" _trovadex_mailhost trovadex-mailhost '')"
for command in $host_commands; do
    expect_same "trovadex-mailhost $command options" \
        "$("$mailhost" --help | awk -v c="$command" '$1 == "trovadex-mailhost" && $2 == c' |
            options_in)" \
        "$(offered "$completions/trovadex-mailhost" _trovadex_mailhost trovadex-mailhost \
            "$command" --)"
done

if [[ $failures -gt 0 ]]; then
    echo "$failures completion check(s) failed"
    exit 1
fi
echo "completions agree with the help texts"
