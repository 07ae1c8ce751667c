# shellcheck shell=sh
# Sourced by the scripts beside it: step NAME COMMAND [ARGUMENT...] runs the command and prints how long it took. A
# failure ends the script.

step() {
  step_name=$1
  shift
  echo "== $step_name"
  step_start=$(date +%s)
  "$@"
  echo "== $step_name: $(($(date +%s) - step_start)) s"
}
