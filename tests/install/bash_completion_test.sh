#!/usr/bin/env bash
# The bash completion completes the tool's commands, a command's options and
# the drive's variable names, each case with the exact reply bash would show.
#   bash_completion_test.sh <svodb> <completion script>
set -u
tool=$1
source "$2"

failures=0
# expect "WORDS BEFORE THE CURSOR|WORD AT THE CURSOR" "EXACT REPLY"
expect() {
  local before=${1%|*} current=${1#*|}
  read -r -a COMP_WORDS <<<"$tool $before"
  COMP_WORDS+=("$current")
  COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
  COMPREPLY=()
  _svodb "$tool" "$current" "${COMP_WORDS[COMP_CWORD - 1]}"
  if [[ "${COMPREPLY[*]}" != "$2" ]]; then
    echo "svodb $before $current<TAB>: got '${COMPREPLY[*]}', expected '$2'"
    failures=$((failures + 1))
  fi
}

expect "|in" "info"
expect "|--tr" "--transport"
expect "--port 3|se" "set serial serve"
expect "get|KV" "KVFF KVI KVP"
expect "--network 1,2 set|VerL" "VerLW"
expect "backup|--m" "--mfg"
expect "restore x.par|--dr" "--dry-run"
expect "--port|" ""

complete -p svodb >/dev/null || { echo "no completion registered for svodb"; failures=$((failures + 1)); }
exit $((failures > 0))
