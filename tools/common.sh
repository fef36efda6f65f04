# What the scripts of tools/ share: messages, the cache folder, the cross compiler and how a long step is run.
# Sourced, never run. Thread safety: scripts that write into the cache hold its lock (see with_cache_lock).

set -euo pipefail

QXFL_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
QXFL_CACHE=${QXFL_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/qxfl}
QXFL_JOBS=${QXFL_JOBS:-$(nproc)}
mkdir -p "$QXFL_CACHE"

say() { printf '==> %s\n' "$*" >&2; }

die() {
  printf 'error: %s\n' "$*" >&2
  exit 1
}

# run_logged NAME COMMAND…: runs a long step with its output in a log, says how long it took, and on a failure
# shows the end of the log.
run_logged() {
  local name=$1 log status started=$SECONDS
  shift
  log=$QXFL_CACHE/logs/${name//[^A-Za-z0-9.-]/_}.log
  mkdir -p "$QXFL_CACHE/logs"
  say "$name …"
  # In a subshell of its own, so that the step ends at its first failing command.
  set +e
  (set -e; "$@") >"$log" 2>&1
  status=$?
  set -e
  if [ "$status" != 0 ]; then
    tail -n 30 "$log" >&2
    die "$name failed; the whole output is in $log"
  fi
  say "$name: $((SECONDS - started)) s"
}

# with_cache_lock COMMAND…: one writer at a time, so that two clones can be set up side by side.
with_cache_lock() {
  exec 9>"$QXFL_CACHE/lock"
  flock 9
  "$@"
  exec 9>&-
}

# The cross compiler's prefix: that of the C run-time which QXFL_CRT names (ucrt or msvcrt), or else the UCRT variant where
# it is installed, the msvcrt one otherwise.
cross_triple() {
  local triple triples="x86_64-w64-mingw32ucrt x86_64-w64-mingw32"
  case ${QXFL_CRT:-} in
    ucrt) triples=x86_64-w64-mingw32ucrt ;;
    msvcrt) triples=x86_64-w64-mingw32 ;;
  esac
  for triple in $triples; do
    if command -v "$triple-g++" >/dev/null 2>&1 || command -v "$triple-g++-posix" >/dev/null 2>&1; then
      printf '%s\n' "$triple"
      return
    fi
  done
  die "no cross compiler for 64-bit Windows; run ./dev setup"
}

# The program of a triple that knows the posix thread model, which std::mutex and std::thread need.
cross_program() {
  local triple=$1 tool=$2
  if command -v "$triple-$tool-posix" >/dev/null 2>&1; then
    printf '%s\n' "$triple-$tool-posix"
  else
    printf '%s\n' "$triple-$tool"
  fi
}
