# Shared by the scripts: where the project is, and how they speak.
set -euo pipefail
project=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=${KELVORA_JOBS:-$(nproc)}

say() { printf '%s\n' "$*" >&2; }
die() { say "$(basename "$0"): $*"; exit 1; }

# step TITLE COMMAND...: runs a command quietly; its output is shown only when it fails.
step() {
  local title=$1 log started=$SECONDS
  shift
  log=$(mktemp)
  if [ -t 2 ]; then printf '%s …\r' "$title" >&2; fi
  if "$@" >"$log" 2>&1; then
    say "$title: ok ($((SECONDS - started)) s)"
    rm -f "$log"
  else
    say "$title: FAILED"
    cat "$log" >&2
    rm -f "$log"
    return 1
  fi
}

# build PRESET [TARGET...]: configures once, then builds what changed.
build() {
  local preset=$1
  shift
  local dir=$project/build/$preset
  if [ ! -f "$dir/build.ninja" ]; then
    (cd "$project" && cmake --preset "$preset") || return 1
  fi
  ninja -C "$dir" -j "$jobs" "$@"
}
