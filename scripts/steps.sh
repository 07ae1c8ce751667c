# shellcheck shell=sh
# Sourced by the scripts beside it: step NAME COMMAND [ARGUMENT...] runs the command and reports its seconds,
# on standard output and in build/steps. A failure ends the script.

step() {
  step_name=$1
  shift
  echo "== $step_name"
  step_start=$(date +%s)
  "$@"
  mkdir -p build
  printf '== %4d s  %s\n' $(($(date +%s) - step_start)) "$step_name" | tee -a build/steps
}
