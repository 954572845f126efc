#!/usr/bin/env bash
# The packaged files keep up with the programs: every subcommand that
# `kernova --help` lists has its section in kernova(1) and is offered by the
# bash and zsh completion; kernovad answers --help (and refuses other words);
# both programs print the same --version.
#   package_files_test.sh KERNOVA KERNOVAD SOURCE_DIR MAN_DIR
set -uo pipefail
kernova=$1 kernovad=$2 source=$3 man=$4
failures=0
fail() {
    echo "FAIL: $*"
    failures=$((failures + 1))
}

mapfile -t commands < <("$kernova" --help | sed -n 's/^  \([a-z]*\)  .*/\1/p')
((${#commands[@]} >= 5)) || fail "kernova --help lists ${#commands[@]} commands"

bash_offers=$(bash -c '
    _init_completion() { words=("${COMP_WORDS[@]}"); cword=$COMP_CWORD; cur=""; prev=${words[0]}; }
    source "$1"
    COMP_WORDS=(kernova ""); COMP_CWORD=1; _kernova; echo " ${COMPREPLY[*]} "' _ \
    "$source/data/completion/kernova.bash")
page=""
if [[ -f $man/kernova.1.gz ]]; then page=$(zcat "$man/kernova.1.gz"); fi
for c in "${commands[@]}"; do
    [[ $bash_offers == *" $c "* ]] || fail "bash completion lacks $c"
    grep -q "^        '$c:" "$source/data/completion/_kernova" || fail "zsh completion lacks $c"
    if [[ -n $page ]]; then grep -q "^\.SS $c\$" <<<"$page" || fail "kernova(1) lacks $c"; fi
done

"$kernovad" --help | grep -q "^usage: kernovad" || fail "kernovad --help"
"$kernovad" --no-such-option 2>/dev/null
(($? == 2)) || fail "kernovad with an unknown argument does not exit with status 2"

kv=$("$kernova" --version) dv=$("$kernovad" --version)
[[ $kv == "kernova "[0-9]* && ${dv#kernovad } == "${kv#kernova }" ]] || fail "--version: $kv, $dv"

echo "$((${#commands[@]} * 3 + 3 - failures)) passed, $failures failed"
((failures == 0))
